#pragma once

#include "foundation/SessionHost.h"
#include "foundation/diagnostics/DiagnosticLog.h"

#include <QJsonObject>
#include <QList>

#include <optional>

class Defaults;

// The application as a session sees it, for tests: questions go to the given interaction, and each
// banner is kept in order.
class RecordingSessionHost : public SessionHost {
public:
    struct Banner {
        bool failure = false;
        QString message;
        QList<ItemFailure> failures;
        bool operator==(const Banner &) const = default;
    };

    RecordingSessionHost(Defaults &defaults, Interaction &interaction);

    Interaction &interaction() const override { return *asker; }
    DiagnosticLog &diagnosticLog() override { return log; }
    void showFailure(const QString &message, const QList<ItemFailure> &failures) override;
    void showSuccess(const QString &message) override;
    void recordDetail(const QString &key, const QJsonValue &value) override { recorded.insert(key, value); }
    bool keepsDetails() const override { return true; }
    const QJsonObject &details() const { return recorded; }

    const QList<Banner> &banners() const { return shown; }
    // The banner on show: the last one.
    std::optional<Banner> banner() const;

private:
    Interaction *asker;
    DiagnosticLog log;
    QList<Banner> shown;
    QJsonObject recorded;
};
