#pragma once

#include <QHash>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <variant>

class AppState;

// The road from a run URL or an opened file to the one handler of a workflow.
class WorkflowRunner {
public:
    struct ran {
        QString workflowID;
        int fileCount = 0;
        bool operator==(const ran &) const = default;
    };
    struct unknownWorkflow {
        QString id;
        bool operator==(const unknownWorkflow &) const = default;
    };
    struct malformed {
        QString reason;
        bool operator==(const malformed &) const = default;
    };
    using Outcome = std::variant<ran, unknownWorkflow, malformed>;

    // A handler gets the selected paths (possibly none) and the state. It shows
    // any refusal itself, as a banner, and returns at once; long work runs in a
    // task of its own.
    using Handler = std::function<void(AppState &state, const QStringList &paths)>;

    explicit WorkflowRunner(AppState *state);

    // Chooses by scheme: "vantrel" runs, "file" opens. The text is taken as it
    // stands, since the host must match with case.
    Outcome handle(const QString &urlText);
    Outcome handleRun(const QString &urlText);
    Outcome handleFile(const QUrl &url);

    // Every URL id a Quick Action may carry, with its handler.
    static const QHash<QString, Handler> &urlTable();

    static QString describe(const Outcome &outcome);

private:
    QPointer<AppState> state;
};
