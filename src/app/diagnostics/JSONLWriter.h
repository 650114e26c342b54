#pragma once

#include "app/diagnostics/ActionReceipt.h"

#include <QString>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <stop_token>
#include <thread>

// Appends receipts to this run's session file, one compact JSON object and a
// line feed each, in the order of the calls. The writing happens on the
// writer's own serial thread (the queue "com.vantrel.diagnostic.writer"), so
// the main thread never waits for the disk. A line that can't be written is
// dropped in silence: the trail in memory goes on regardless.
class JSONLWriter {
public:
    static constexpr const char *queueLabel = "com.vantrel.diagnostic.writer";

    // Creates `folder` with its parents and a new "session-{UUID}.jsonl" in it
    // that only its owner may read (600), opened for appending. Nothing when the
    // folder or the file can't be made.
    static std::unique_ptr<JSONLWriter> open(const QString &folder);

    // Writes what is still queued, then closes the file.
    ~JSONLWriter();
    JSONLWriter(const JSONLWriter &) = delete;
    JSONLWriter &operator=(const JSONLWriter &) = delete;

    // The session file.
    QString url() const { return path; }
    // Queues one line; returns at once.
    void write(const ActionReceipt &receipt);
    // Waits until every line queued so far has been written (or dropped).
    void flush();

private:
    JSONLWriter(QString path, int descriptor);
    void drain(std::stop_token stop);
    void append(const ActionReceipt &receipt) const;

    const QString path;
    const int descriptor;
    std::mutex mutex;
    std::condition_variable_any queued;
    std::condition_variable idle;
    std::deque<ActionReceipt> pending;
    bool busy = false;
    // Last, so the queue it reads is built before the thread starts.
    std::jthread thread;
};
