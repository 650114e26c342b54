#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QTemporaryDir>

#include <optional>

// A temporary home for one test: HOME and the XDG folders point into it while it lives, and are put
// back afterwards. Needs nothing of the application, so the platform's tests stand on it alone.
class TestHome {
public:
    TestHome();
    ~TestHome();
    TestHome(const TestHome &) = delete;
    TestHome &operator=(const TestHome &) = delete;

    QString home() const;
    QString path(const QString &relative) const;
    QString makeFile(const QString &relative, const QByteArray &content = {});
    QString makeFolder(const QString &relative);

    // The built executable, for tests that drive it as a separate process.
    static QString executable(const QString &name);

private:
    QTemporaryDir root;
    QHash<QByteArray, std::optional<QByteArray>> saved;
};
