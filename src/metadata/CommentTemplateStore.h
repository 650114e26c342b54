#pragma once

#include "app/diagnostics/DiagnosticLog.h"
#include "metadata/CommentTemplate.h"

#include <QObject>
#include <QPointer>

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

    void add(const CommentTemplate &commentTemplate);
    // Removes every template with this id.
    void remove(const QUuid &id);

signals:
    void templatesChanged();

private:
    bool load();
    void save();

    QString folder;
    QList<CommentTemplate> library;
    QPointer<DiagnosticLog> diagnosticLog;
};
