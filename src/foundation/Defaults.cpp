#include "foundation/Defaults.h"

#include <QMetaType>

// Keys with dots ("vantrel.diagnostics.enabled") are stored as they are; QSettings
// only treats "/" as a group separator.
Defaults::Defaults(const QString &filePath) : settings(std::make_unique<QSettings>(filePath, QSettings::IniFormat)) {}

bool Defaults::contains(const char *name) const
{
    return settings->contains(QString::fromLatin1(name));
}

void Defaults::remove(const char *name)
{
    settings->remove(QString::fromLatin1(name));
}

void Defaults::sync()
{
    settings->sync();
}

QString Defaults::filePath() const
{
    return settings->fileName();
}

QVariant Defaults::raw(const char *name) const
{
    return settings->value(QString::fromLatin1(name));
}

int Defaults::value(const DefaultsKey<int> &key) const
{
    const QVariant stored = raw(key.name);
    if (stored.typeId() == QMetaType::Int || stored.typeId() == QMetaType::LongLong)
        return stored.toInt();
    if (stored.typeId() != QMetaType::QString)
        return key.whenMissing;
    // INI keeps numbers as text; only a whole number counts as an integer.
    bool ok = false;
    const int number = stored.toString().trimmed().toInt(&ok);
    return ok ? number : key.whenMissing;
}

bool Defaults::value(const DefaultsKey<bool> &key) const
{
    const QVariant stored = raw(key.name);
    if (stored.typeId() == QMetaType::Bool)
        return stored.toBool();
    if (stored.typeId() != QMetaType::QString)
        return key.whenMissing;
    const QString text = stored.toString().trimmed();
    if (text == QLatin1String("true"))
        return true;
    if (text == QLatin1String("false"))
        return false;
    return key.whenMissing;
}

QString Defaults::value(const DefaultsKey<QString> &key) const
{
    const QVariant stored = raw(key.name);
    return stored.typeId() == QMetaType::QString ? stored.toString() : key.whenMissing;
}

QStringList Defaults::value(const DefaultsKey<QStringList> &key) const
{
    const QVariant stored = raw(key.name);
    if (stored.typeId() == QMetaType::QStringList)
        return stored.toStringList();
    // INI can't tell a one-element list from a plain string.
    if (stored.typeId() == QMetaType::QString)
        return {stored.toString()};
    if (stored.typeId() == QMetaType::QVariantList) {
        QStringList list;
        for (const QVariant &element : stored.toList()) {
            if (element.typeId() != QMetaType::QString)
                return key.whenMissing;
            list.append(element.toString());
        }
        return list;
    }
    return key.whenMissing;
}

void Defaults::setValue(const DefaultsKey<int> &key, int value)
{
    settings->setValue(QString::fromLatin1(key.name), value);
}

void Defaults::setValue(const DefaultsKey<bool> &key, bool value)
{
    settings->setValue(QString::fromLatin1(key.name), value);
}

void Defaults::setValue(const DefaultsKey<QString> &key, const QString &value)
{
    settings->setValue(QString::fromLatin1(key.name), value);
}

void Defaults::setValue(const DefaultsKey<QStringList> &key, const QStringList &value)
{
    settings->setValue(QString::fromLatin1(key.name), value);
}
