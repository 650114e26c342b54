#include "app/diagnostics/JSONLWriter.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QUuid>

#include <cerrno>

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

std::unique_ptr<JSONLWriter> JSONLWriter::open(const QString &folder)
{
    if (folder.isEmpty() || !QDir().mkpath(folder))
        return nullptr;
    const QString file = folder + QStringLiteral("/session-") +
                         QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper() + QStringLiteral(".jsonl");
    const QByteArray name = QFile::encodeName(file);
    const int fd = ::open(name.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (fd < 0)
        return nullptr;
    // The umask can only take bits away from 600, but a file that was already there keeps its own mode.
    ::fchmod(fd, S_IRUSR | S_IWUSR);
    if (::lseek(fd, 0, SEEK_END) < 0) {
        ::close(fd);
        return nullptr;
    }
    return std::unique_ptr<JSONLWriter>(new JSONLWriter(file, fd));
}

JSONLWriter::JSONLWriter(QString file, int fd)
    : path(std::move(file)), descriptor(fd), thread([this](std::stop_token stop) { drain(stop); })
{
}

JSONLWriter::~JSONLWriter()
{
    // The thread empties the queue before it notices the stop.
    thread.request_stop();
    thread.join();
    ::close(descriptor);
}

void JSONLWriter::write(const ActionReceipt &receipt)
{
    {
        std::lock_guard lock(mutex);
        pending.push_back(receipt);
    }
    queued.notify_one();
}

void JSONLWriter::flush()
{
    std::unique_lock lock(mutex);
    idle.wait(lock, [this] { return pending.empty() && !busy; });
}

void JSONLWriter::drain(std::stop_token stop)
{
    // Only 15 characters fit in a Linux thread name; the queue's full label is queueLabel.
    ::pthread_setname_np(::pthread_self(), "vantrel.diaglog");
    std::unique_lock lock(mutex);
    while (true) {
        // Wakes for a new line or for the stop; returns false only when stopped with nothing queued.
        if (!queued.wait(lock, stop, [this] { return !pending.empty(); }))
            break;
        const ActionReceipt receipt = std::move(pending.front());
        pending.pop_front();
        busy = true;
        lock.unlock();
        append(receipt);
        lock.lock();
        busy = false;
        if (pending.empty())
            idle.notify_all();
    }
}

void JSONLWriter::append(const ActionReceipt &receipt) const
{
    // Encoded here rather than in write(), so the caller's thread does no more than copy the receipt.
    QByteArray line = QJsonDocument(receipt.toJson()).toJson(QJsonDocument::Compact);
    line.append('\n');
    const char *data = line.constData();
    qsizetype left = line.size();
    while (left > 0) {
        const ssize_t written = ::write(descriptor, data, size_t(left));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return; // the rest of this line is lost; the next one is tried all the same
        data += written;
        left -= written;
    }
}
