#include "TestHome.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

const QList<QPair<QByteArray, QString>> &variables()
{
    static const QList<QPair<QByteArray, QString>> list{
        {"HOME", QString()},
        {"XDG_DATA_HOME", QStringLiteral("/.local/share")},
        {"XDG_CONFIG_HOME", QStringLiteral("/.config")},
        {"XDG_CACHE_HOME", QStringLiteral("/.cache")},
        {"XDG_STATE_HOME", QStringLiteral("/.local/state")},
        {"XDG_RUNTIME_DIR", QStringLiteral("/run")},
    };
    return list;
}

} // namespace

TestHome::TestHome() : root(QDir::tempPath() + QStringLiteral("/vt-XXXXXX"))
{
    for (const auto &[name, below] : variables()) {
        saved.insert(name, qEnvironmentVariableIsSet(name.constData()) ? std::optional(qgetenv(name.constData()))
                                                                       : std::nullopt);
        const QString folder = root.path() + below;
        QDir().mkpath(folder);
        qputenv(name.constData(), QFile::encodeName(folder));
    }
    QFile::setPermissions(root.path() + QStringLiteral("/run"),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}

TestHome::~TestHome()
{
    for (auto it = saved.cbegin(); it != saved.cend(); ++it) {
        if (it.value())
            qputenv(it.key().constData(), *it.value());
        else
            qunsetenv(it.key().constData());
    }
}

QString TestHome::home() const
{
    return root.path();
}

QString TestHome::path(const QString &relative) const
{
    return root.path() + QLatin1Char('/') + relative;
}

QString TestHome::makeFile(const QString &relative, const QByteArray &content)
{
    const QString full = path(relative);
    QDir().mkpath(QFileInfo(full).path());
    QFile file(full);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("TestHome couldn't write %s", qPrintable(full));
    return full;
}

QString TestHome::makeFolder(const QString &relative)
{
    const QString full = path(relative);
    QDir().mkpath(full);
    return full;
}

QString TestHome::executable(const QString &name)
{
    return QStringLiteral(VANTREL_BINARY_DIR) + QStringLiteral("/bin/") + name;
}
