#include "foundation/Concurrency.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QMetaObject>
#include <QThread>

std::atomic<int> WorkTracker::count{0};

int WorkTracker::pending()
{
    return count.load();
}

WorkTracker::Token::Token()
{
    ++count;
}

WorkTracker::Token::~Token()
{
    --count;
}

void postToMain(QObject *context, std::function<void()> call)
{
    // The token lives inside the functor: whether the call runs or is dropped with
    // its context, destroying the functor releases it.
    auto token = std::make_shared<WorkTracker::Token>();
    QMetaObject::invokeMethod(
        context, [token, call = std::move(call)] { call(); }, Qt::QueuedConnection);
}

BackgroundTask::BackgroundTask(Work work)
{
    auto token = std::make_shared<WorkTracker::Token>();
    thread = std::jthread([token, finishedFlag = finished, work = std::move(work)](std::stop_token stop) mutable {
        work(stop);
        finishedFlag->store(true);
    });
}

BackgroundTask::~BackgroundTask()
{
    thread.request_stop();
    if (thread.joinable())
        thread.join();
}

void BackgroundTask::cancel()
{
    thread.request_stop();
}

bool BackgroundTask::isCancelled() const
{
    return thread.get_stop_token().stop_requested();
}

bool BackgroundTask::isFinished() const
{
    return finished->load();
}

bool runUntilIdle(int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!deadline.hasExpired()) {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        if (WorkTracker::isIdle()) {
            // One more pass: a call queued by the last finishing task may still wait.
            QCoreApplication::sendPostedEvents();
            QCoreApplication::processEvents();
            if (WorkTracker::isIdle())
                return true;
        }
        if (!WorkTracker::isIdle())
            QThread::msleep(1);
    }
    return false;
}
