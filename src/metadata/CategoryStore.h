#pragma once

#include "app/diagnostics/DiagnosticLog.h"
#include "metadata/Category.h"

#include <QObject>
#include <QPointer>

#include <functional>
#include <optional>

// The library of categories, kept in categories.json in the Application Support
// folder. Every change is recorded and saved at once.
class CategoryStore : public QObject {
    Q_OBJECT
public:
    // Loads categories.json; failing that migrates the older tags.plist; failing
    // that starts from the seed. A library file that doesn't decode is moved aside.
    explicit CategoryStore(QString folder = {}, QObject *parent = nullptr);

    void setDiagnosticLog(DiagnosticLog *log) { diagnosticLog = log; }
    const QList<Category> &categories() const { return library; }
    QString filePath() const;

    void add(const Category &category);
    void update(const Category &category);
    void remove(const QUuid &id);
    void append(const QList<Category> &list);
    void replaceAll(const QList<Category> &list);
    void resetToSeeded();
    // Every tag once, sorted without regard to case.
    QStringList allTags() const;

signals:
    void categoriesChanged();

private:
    bool loadLibrary();
    bool migrateOlderList();
    void change(const char *operation, const std::function<void()> &edit);
    void save();
    void record(ActionReceipt::Kind kind, const QString &source, std::optional<QString> before,
                std::optional<QString> after, std::optional<QString> error = std::nullopt);

    QString folder;
    QList<Category> library;
    QPointer<DiagnosticLog> diagnosticLog;
};
