#pragma once

#include <QObject>
#include <QPointer>

#include <atomic>
#include <functional>
#include <memory>
#include <stop_token>
#include <thread>

// Counts the background tasks still running and the calls still queued for the
// main thread, so a test or the headless runner can wait until all is quiet.
class WorkTracker {
public:
    static int pending();
    static bool isIdle() { return pending() == 0; }

    // Held while a piece of work is outstanding; the count drops when the last copy goes.
    class Token {
    public:
        Token();
        ~Token();
        Token(const Token &) = delete;
        Token &operator=(const Token &) = delete;
    };

private:
    static std::atomic<int> count;
};

// Runs `call` on the thread of `context` through its event queue. The call is
// dropped if `context` is destroyed first, so a late result never reaches a
// closed sheet.
void postToMain(QObject *context, std::function<void()> call);

// One piece of background work on its own thread. Cancelling asks the work to
// stop through its stop token; destroying the task cancels it and waits for the
// thread, so no thread outlives its owner.
class BackgroundTask {
public:
    using Work = std::function<void(std::stop_token)>;

    explicit BackgroundTask(Work work);
    ~BackgroundTask();
    BackgroundTask(const BackgroundTask &) = delete;
    BackgroundTask &operator=(const BackgroundTask &) = delete;

    void cancel();
    bool isCancelled() const;
    bool isFinished() const;

private:
    std::shared_ptr<std::atomic<bool>> finished = std::make_shared<std::atomic<bool>>(false);
    std::jthread thread;
};

// Processes the event loop until no background task runs and no queued call
// waits, or until `timeoutMs` passes. Returns whether everything settled.
bool runUntilIdle(int timeoutMs = 30000);
