#include "foundation/diagnostics/JSONLWriter.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QUuid>

#include <fcntl.h>
#include <unistd.h>

std::unique_ptr<JSONLWriter> JSONLWriter::open(const QString &folder)
{
    if (!QDir().mkpath(folder))
        return nullptr;
    const QString path = folder + QStringLiteral("/session-") +
                         QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper() + QStringLiteral(".jsonl");
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (descriptor < 0)
        return nullptr;
    return std::unique_ptr<JSONLWriter>(new JSONLWriter(path, descriptor));
}

JSONLWriter::JSONLWriter(QString path, int descriptor)
    : file(std::move(path)), fd(descriptor), thread([this](std::stop_token stop) { run(stop); })
{
}

JSONLWriter::~JSONLWriter()
{
    flush();
    thread.request_stop();
    wake.notify_all();
    thread.join();
    ::close(fd);
}

void JSONLWriter::write(const ActionReceipt &receipt)
{
    QByteArray line = QJsonDocument(receipt.toJson()).toJson(QJsonDocument::Compact);
    line.append('\n');
    {
        std::lock_guard lock(mutex);
        queue.push_back(std::move(line));
    }
    wake.notify_one();
}

void JSONLWriter::flush()
{
    std::unique_lock lock(mutex);
    drained.wait(lock, [this] { return queue.empty() && !writing; });
}

void JSONLWriter::run(std::stop_token stop)
{
    std::unique_lock lock(mutex);
    while (true) {
        wake.wait(lock, stop, [this] { return !queue.empty(); });
        if (queue.empty()) {
            if (stop.stop_requested())
                return;
            continue;
        }
        QByteArray line = std::move(queue.front());
        queue.pop_front();
        writing = true;
        lock.unlock();
        const char *data = line.constData();
        qsizetype left = line.size();
        while (left > 0) {
            const ssize_t written = ::write(fd, data, size_t(left));
            if (written <= 0)
                break; // the line is dropped; recording goes on in memory
            data += written;
            left -= written;
        }
        lock.lock();
        writing = false;
        if (queue.empty())
            drained.notify_all();
    }
}
