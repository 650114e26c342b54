#include "platform/ServicesRegistry.h"

#include "platform/PropertyList.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

const QString presentationModesKey = QStringLiteral("presentation_modes");

bool isDictionary(const QVariant &value)
{
    return value.typeId() == QMetaType::QVariantMap || value.typeId() == QMetaType::QVariantHash;
}

void storeOrWarn(ServicesRegistry &registry, const QVariantMap &status)
{
    // The file managers go on with what they had; the next install or removal stores again.
    if (const auto failed = registry.store(status))
        qWarning().noquote() << "ServicesRegistry: couldn't store the Quick Actions' status:" << *failed;
}

} // namespace

void ServicesRegistry::enable(const QStringList &menuNames)
{
    if (menuNames.isEmpty())
        return;
    QVariantMap status = load().value_or(QVariantMap());
    for (const QString &name : menuNames) {
        const QString entryKey = key(name);
        const QVariant existing = status.value(entryKey);
        // What the system or the user keeps beside the modes in an entry stays.
        QVariantMap entry = isDictionary(existing) ? existing.toMap() : QVariantMap();
        entry.insert(presentationModesKey, presentationModes());
        status.insert(entryKey, entry);
    }
    storeOrWarn(*this, status);
    refresh();
}

void ServicesRegistry::disable(const QStringList &menuNames)
{
    if (menuNames.isEmpty())
        return;
    std::optional<QVariantMap> status = load();
    if (status) {
        for (const QString &name : menuNames)
            status->remove(key(name));
        storeOrWarn(*this, *status);
    }
    refresh();
}

QString ServicesRegistry::key(const QString &menuName)
{
    return QStringLiteral("(null) - ") % menuName % QStringLiteral(" - runWorkflowAsService");
}

QVariantMap ServicesRegistry::presentationModes()
{
    return {
        {QStringLiteral("ContextMenu"), true},
        {QStringLiteral("FinderPreview"), true},
        {QStringLiteral("ServicesMenu"), true},
        {QStringLiteral("TouchBar"), false},
    };
}

QList<QStringList> ServicesRegistry::refreshCommands()
{
    return {
        {QStringLiteral("/System/Library/CoreServices/pbs"), QStringLiteral("-update")},
        {QStringLiteral("/usr/bin/killall"), QStringLiteral("-HUP"), QStringLiteral("pbs")},
    };
}

std::optional<QString> ServiceBundles::menuName(const QString &bundlePath)
{
    QFile file(bundlePath + QStringLiteral("/Contents/Info.plist"));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return std::nullopt;

    // A bundle whose Info.plist is damaged still shows under its file name, as the system shows it.
    const QString fallback = QFileInfo(QDir::cleanPath(bundlePath)).completeBaseName();
    const auto step = [](const QVariant &value, const QString &key) {
        return isDictionary(value) ? value.toMap().value(key) : QVariant();
    };
    QString name = fallback;
    const PropertyList::ReadResult read = PropertyList::parse(bytes);
    if (read.ok()) {
        const QVariant services = step(read.value, QStringLiteral("NSServices"));
        if (services.typeId() == QMetaType::QVariantList && !services.toList().isEmpty()) {
            const QVariant title =
                step(step(services.toList().constFirst(), QStringLiteral("NSMenuItem")), QStringLiteral("default"));
            if (title.typeId() == QMetaType::QString)
                name = title.toString();
        }
    }
    if (name.isEmpty())
        return std::nullopt;
    return name;
}
