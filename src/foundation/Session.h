#pragma once

#include "foundation/Concurrency.h"

#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <utility>

class SessionHost;

// The one contract of every sheet model and session: the files it was given, its fields by name,
// the primary action, cancelling, its phase and what a script is told about it. The window draws a
// session and calls its operations; `vantrel run` fills the same fields from `--set` and performs it.
class Session : public QObject {
    Q_OBJECT
public:
    // One field of the sheet, as a script sets it.
    struct Field {
        QString name;
        // The values it takes, as the refusal of an unknown value names them.
        QString accepts;
        // Sets the field from text. Returns why the value is refused; the field is then unchanged.
        std::function<std::optional<QString>(const QString &value)> set;
        // A field that says what the session writes into files. A run that changes files with none
        // of these set is refused: a sheet's starting values are what a person looks at before
        // pressing Apply, never what a script gets for leaving a field out.
        bool content = false;
    };
    // How far the session is; each session publishes its own phase with payload beside this.
    enum class PhaseKind { configuring, running, done, failed };

    Session(SessionHost &host, QStringList targets, QObject *parent = nullptr);
    ~Session() override;
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    const QStringList &targets() const { return sources; }
    // The sheet's title, which the messages about it name: "Comment Templates".
    virtual QString title() const = 0;
    virtual QList<Field> fields() = 0;
    // Why a script that set only the fields named in `set` can't perform: by default, a session
    // with content fields needs one of them.
    virtual std::optional<QString> missingFields(const QStringList &set);
    // The primary action. Returns why it can't be taken; a failure while it runs is a banner or a
    // failed phase instead.
    virtual std::optional<QString> perform() = 0;
    // What a dry run shows instead of performing: a session whose plan is worth seeing works it out here,
    // changing nothing. Returns why it can't.
    virtual std::optional<QString> planOnly() { return std::nullopt; }
    // Stops the running task; a sheet with nothing running closes.
    virtual void cancel();
    virtual PhaseKind phaseKind() const { return PhaseKind::configuring; }
    // Whether a run that reached its result failed for some of its files.
    virtual bool anyItemFailed() const { return false; }
    // The state as `vantrel run --json` prints it, and as text lines.
    virtual QJsonObject toJson() const;
    virtual QStringList describe() const { return {}; }

    bool isRunning() const { return activeTask && !activeTask->isFinished(); }
    bool isClosed() const { return done; }
    // Ends the session: whoever owns it lets it go once `closed` is out.
    void close();

signals:
    void changed();
    void closed();

protected:
    SessionHost *host() const { return sessionHost; }
    // Sets one of the sheet's values, saying so only when it changed.
    template <typename T, typename V> void setField(T &field, V &&value)
    {
        if (field == value)
            return;
        field = std::forward<V>(value);
        emit changed();
    }
    // A list field's value, "a, b,c": the pieces trimmed, the empty ones dropped.
    static QStringList listValue(const QString &value);

    // The session's one background task. What `work` returns reaches `finish` on the main thread,
    // the one way back, unless the session is gone by then; a new task replaces a finished one.
    template <typename Result>
    void runTask(std::function<Result(std::stop_token)> work, std::function<void(const Result &)> finish)
    {
        // The session outlives its task (destroying it joins the thread), so the task may post to it.
        activeTask = std::make_unique<BackgroundTask>(
            [this, work = std::move(work), finish = std::move(finish)](std::stop_token stop) {
                Result result = work(stop);
                post([finish, result = std::move(result)] { finish(result); });
            });
    }
    // Hands `call` to the main thread from the task; dropped when the session is gone by then.
    void post(std::function<void()> call);

private:
    SessionHost *sessionHost;
    QStringList sources;
    std::unique_ptr<BackgroundTask> activeTask;
    bool done = false;
};
