#pragma once

#include "app/AppState.h"
#include "foundation/Defaults.h"
#include "foundation/ScriptedInteraction.h"

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QTemporaryDir>

#include <memory>
#include <optional>

// A temporary home for one test: HOME and the XDG folders point into it while
// the environment lives, and are put back afterwards. It hands out the defaults
// store, a scripted interaction and application states built on them.
class TestEnvironment {
public:
    TestEnvironment();
    ~TestEnvironment();
    TestEnvironment(const TestEnvironment &) = delete;
    TestEnvironment &operator=(const TestEnvironment &) = delete;

    QString home() const;
    QString path(const QString &relative) const;
    QString makeFile(const QString &relative, const QByteArray &content = {});
    QString makeFolder(const QString &relative);

    Defaults &defaults() { return *store; }
    ScriptedInteraction &interaction() { return scripted; }
    std::unique_ptr<AppState> makeAppState();

    // Processes the event loop until no task runs and no queued call waits.
    static bool runUntilIdle(int timeoutMs = 10000);

    // The built executable, for tests that drive it as a separate process.
    static QString executable(const QString &name);

private:
    QTemporaryDir root;
    QHash<QByteArray, std::optional<QByteArray>> saved;
    std::unique_ptr<Defaults> store;
    ScriptedInteraction scripted;
};
