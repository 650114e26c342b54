#include "TestEnvironment.h"

#include "foundation/Concurrency.h"
#include "platform/Paths.h"

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

TestEnvironment::TestEnvironment() : root(QDir::tempPath() + QStringLiteral("/vt-XXXXXX"))
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
    store = std::make_unique<Defaults>(Paths::defaultsFile());
}

TestEnvironment::~TestEnvironment()
{
    store.reset();
    for (auto it = saved.cbegin(); it != saved.cend(); ++it) {
        if (it.value())
            qputenv(it.key().constData(), *it.value());
        else
            qunsetenv(it.key().constData());
    }
}

QString TestEnvironment::home() const
{
    return root.path();
}

QString TestEnvironment::path(const QString &relative) const
{
    return root.path() + QLatin1Char('/') + relative;
}

QString TestEnvironment::makeFile(const QString &relative, const QByteArray &content)
{
    const QString full = path(relative);
    QDir().mkpath(QFileInfo(full).path());
    QFile file(full);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("TestEnvironment couldn't write %s", qPrintable(full));
    return full;
}

QString TestEnvironment::makeFolder(const QString &relative)
{
    const QString full = path(relative);
    QDir().mkpath(full);
    return full;
}

std::unique_ptr<AppState> TestEnvironment::makeAppState()
{
    return std::make_unique<AppState>(*store, scripted);
}

bool TestEnvironment::runUntilIdle(int timeoutMs)
{
    return ::runUntilIdle(timeoutMs);
}

QString TestEnvironment::executable(const QString &name)
{
    return QStringLiteral(VANTREL_BINARY_DIR) + QStringLiteral("/bin/") + name;
}
