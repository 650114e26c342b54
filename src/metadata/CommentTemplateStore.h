#pragma once

#include "foundation/StoreFile.h"
#include "foundation/diagnostics/DiagnosticLog.h"
#include "metadata/CommentTemplate.h"

#include <QObject>
#include <QPointer>

#include <functional>
#include <optional>

// The saved comment templates, kept in comment-templates.json in the Application
// Support folder. Every change is recorded and saved at once.
class CommentTemplateStore : public QObject {
    Q_OBJECT
public:
    // Loads comment-templates.json; failing that starts from the defaults and
    // saves them. A file that doesn't decode is moved aside first.
    explicit CommentTemplateStore(QString folder = {}, QObject *parent = nullptr);

    void setDiagnosticLog(DiagnosticLog *log) { diagnosticLog = log; }
    const QList<CommentTemplate> &templates() const { return library; }
    QString filePath() const;

    // Each change returns the text to show when it couldn't be saved; the list then stays as on disk.
    [[nodiscard]] std::optional<QString> add(const CommentTemplate &commentTemplate);
    // Removes every template with this id.
    [[nodiscard]] std::optional<QString> remove(const QUuid &id);
    // Follows changes that other processes make to the file.
    void watch();

signals:
    void templatesChanged();

private:
    bool decode(const QByteArray &bytes);
    QByteArray encode() const;
    std::optional<QString> change(const char *operation, const std::function<void()> &edit);

    QString folder;
    QList<CommentTemplate> library;
    StoreFile *file;
    QPointer<DiagnosticLog> diagnosticLog;
};
