#pragma once

#include "foundation/ItemFailure.h"

#include <QJsonValue>
#include <QList>
#include <QString>

class DiagnosticLog;
class Interaction;

// What a sheet or session may ask of the application: the questions, the banner and the log. A
// session reaches the application only through this, so it can live below it and be tested
// without it.
class SessionHost {
public:
    virtual Interaction &interaction() const = 0;
    virtual DiagnosticLog &diagnosticLog() = 0;
    // The banner, with each file that failed and the system's reason.
    virtual void showFailure(const QString &message, const QList<ItemFailure> &failures) = 0;
    virtual void showSuccess(const QString &message) = 0;
    // What a run worked out or did beyond its report and banner (a transfer's plan), under a key of its
    // own, for a script's --json to carry.
    virtual void recordDetail(const QString &key, const QJsonValue &value) = 0;
    // Whether anyone reads the details: a plan of a hundred thousand files is not written out for nothing.
    virtual bool keepsDetails() const = 0;

protected:
    SessionHost() = default;
    ~SessionHost() = default;
    SessionHost(const SessionHost &) = default;
    SessionHost &operator=(const SessionHost &) = default;
};
