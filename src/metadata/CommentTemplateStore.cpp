#include "metadata/CommentTemplateStore.h"

#include "metadata/StoreFile.h"
#include "platform/Paths.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

namespace {

const QString fileName = QStringLiteral("comment-templates.json");

} // namespace

CommentTemplateStore::CommentTemplateStore(QString where, QObject *parent)
    : QObject(parent), folder(where.isEmpty() ? Paths::applicationSupport() : std::move(where))
{
    if (load())
        return;
    library = CommentTemplate::defaults();
    save();
}

QString CommentTemplateStore::filePath() const
{
    return folder + QLatin1Char('/') + fileName;
}

bool CommentTemplateStore::load()
{
    QFile file(filePath());
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    file.close();
    QList<CommentTemplate> loaded;
    bool decoded = document.isArray();
    for (const auto &value : document.array()) {
        const auto commentTemplate = CommentTemplate::fromJson(value);
        decoded = decoded && commentTemplate.has_value();
        if (commentTemplate)
            loaded.append(*commentTemplate);
    }
    if (decoded) {
        library = loaded;
        return true;
    }
    StoreFile::moveAside(filePath());
    return false;
}

void CommentTemplateStore::add(const CommentTemplate &commentTemplate)
{
    const QString before = QStringLiteral("count=%1").arg(library.size());
    library.append(commentTemplate);
    if (diagnosticLog)
        diagnosticLog->record(ActionReceipt::Kind::cmd, QStringLiteral("CommentTemplateStore.add"), before,
                              QStringLiteral("count=%1").arg(library.size()));
    emit templatesChanged();
    save();
}

void CommentTemplateStore::remove(const QUuid &id)
{
    const QString before = QStringLiteral("count=%1").arg(library.size());
    library.removeIf([&](const CommentTemplate &t) { return t.id == id; });
    if (diagnosticLog)
        diagnosticLog->record(ActionReceipt::Kind::cmd, QStringLiteral("CommentTemplateStore.remove"), before,
                              QStringLiteral("count=%1").arg(library.size()));
    emit templatesChanged();
    save();
}

void CommentTemplateStore::save()
{
    QJsonArray array;
    for (const CommentTemplate &commentTemplate : library)
        array.append(commentTemplate.toJson());
    const QByteArray bytes = QJsonDocument(array).toJson(QJsonDocument::Compact);
    const std::optional<QString> error = StoreFile::write(folder, fileName, bytes);
    if (!error) {
        if (diagnosticLog)
            diagnosticLog->record(ActionReceipt::Kind::persist, fileName, std::nullopt,
                                  QStringLiteral("bytes=%1").arg(bytes.size()));
        return;
    }
    qWarning().noquote() << "CommentTemplateStore: save failed:" << *error;
    if (diagnosticLog)
        diagnosticLog->record(ActionReceipt::Kind::errorSwallow, QStringLiteral("CommentTemplateStore.save"),
                              std::nullopt, std::nullopt, error);
}
