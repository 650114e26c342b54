#include "metadata/CommentTemplateStore.h"

#include "platform/Paths.h"

#include <QJsonArray>
#include <QJsonDocument>

CommentTemplateStore::CommentTemplateStore(QString where, QObject *parent)
    : QObject(parent), folder(where.isEmpty() ? Paths::applicationSupport() : std::move(where)),
      file(new StoreFile(
          folder, QStringLiteral("comment-templates.json"), [this](const QByteArray &bytes) { return decode(bytes); },
          this))
{
    connect(file, &StoreFile::changedElsewhere, this, &CommentTemplateStore::templatesChanged);
    if (const auto error =
            file->loadOrStart([this] { library = CommentTemplate::defaults(); }, [this] { return encode(); }))
        qWarning().noquote() << "CommentTemplateStore: save failed:" << *error;
}

QString CommentTemplateStore::filePath() const
{
    return file->path();
}

void CommentTemplateStore::watch()
{
    file->watch();
}

bool CommentTemplateStore::decode(const QByteArray &bytes)
{
    const QJsonDocument document = QJsonDocument::fromJson(bytes);
    if (!document.isArray())
        return false;
    QList<CommentTemplate> loaded;
    for (const auto &value : document.array()) {
        const auto commentTemplate = CommentTemplate::fromJson(value);
        if (!commentTemplate)
            return false;
        loaded.append(*commentTemplate);
    }
    library = loaded;
    return true;
}

QByteArray CommentTemplateStore::encode() const
{
    QJsonArray array;
    for (const CommentTemplate &commentTemplate : library)
        array.append(commentTemplate.toJson());
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

std::optional<QString> CommentTemplateStore::change(const char *operation, const std::function<void()> &edit)
{
    const QList<CommentTemplate> shown = library;
    QList<CommentTemplate> beforeEdit = library;
    qsizetype written = 0;
    const auto error = file->update(
        [&](StoreFile::Loaded) {
            beforeEdit = library;
            edit();
            if (diagnosticLog)
                diagnosticLog->record(
                    ActionReceipt::Kind::cmd, QStringLiteral("CommentTemplateStore.") + QLatin1String(operation),
                    QStringLiteral("count=%1").arg(beforeEdit.size()), QStringLiteral("count=%1").arg(library.size()));
            return true;
        },
        [&] {
            QByteArray bytes = encode();
            written = bytes.size();
            return bytes;
        });
    if (error) {
        library = beforeEdit;
        qWarning().noquote() << "CommentTemplateStore: save failed:" << *error;
        if (diagnosticLog)
            diagnosticLog->record(ActionReceipt::Kind::errorSwallow, QStringLiteral("CommentTemplateStore.save"),
                                  std::nullopt, std::nullopt, error);
        if (library != shown)
            emit templatesChanged();
        return QStringLiteral("Couldn't save comment templates: %1").arg(*error);
    }
    if (diagnosticLog)
        diagnosticLog->record(ActionReceipt::Kind::persist, QStringLiteral("comment-templates.json"), std::nullopt,
                              QStringLiteral("bytes=%1").arg(written));
    if (library != shown)
        emit templatesChanged();
    return std::nullopt;
}

std::optional<QString> CommentTemplateStore::add(const CommentTemplate &commentTemplate)
{
    return change("add", [&] { library.append(commentTemplate); });
}

std::optional<QString> CommentTemplateStore::remove(const QUuid &id)
{
    return change("remove", [&] { library.removeIf([&](const CommentTemplate &t) { return t.id == id; }); });
}
