#pragma once

#include "foundation/diagnostics/ActionReceipt.h"

#include <QByteArray>
#include <QString>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

// Appends receipts to this run's log file, one JSON line each, on one serial
// writer thread ("com.vantrel.diagnostic.writer"), so the main thread never
// waits for the disk. Failures drop the line in silence.
class JSONLWriter {
public:
    // Creates the folder and a new "session-{UUID}.jsonl" readable by its owner
    // alone. Nothing when either can't be made.
    static std::unique_ptr<JSONLWriter> open(const QString &folder);
    ~JSONLWriter();
    JSONLWriter(const JSONLWriter &) = delete;
    JSONLWriter &operator=(const JSONLWriter &) = delete;

    QString url() const { return file; }
    void write(const ActionReceipt &receipt);
    // Waits until every queued line is written.
    void flush();

private:
    JSONLWriter(QString path, int descriptor);
    void run(std::stop_token stop);

    QString file;
    int fd;
    std::mutex mutex;
    std::condition_variable_any wake;
    std::condition_variable drained;
    std::deque<QByteArray> queue;
    bool writing = false;
    std::jthread thread;
};
