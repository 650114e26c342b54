#pragma once

#include "foundation/StoreFile.h"
#include "foundation/diagnostics/DiagnosticLog.h"
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

    // Each change is made on the library as another process may have left it, and returns the text
    // to show when it couldn't be saved; the library then stays as it is on disk.
    [[nodiscard]] std::optional<QString> add(const Category &category);
    [[nodiscard]] std::optional<QString> update(const Category &category);
    [[nodiscard]] std::optional<QString> remove(const QUuid &id);
    [[nodiscard]] std::optional<QString> append(const QList<Category> &list);
    [[nodiscard]] std::optional<QString> replaceAll(const QList<Category> &list);
    [[nodiscard]] std::optional<QString> resetToSeeded();
    // Follows changes that other processes make to the library file.
    void watch();
    // Every tag once, sorted without regard to case.
    QStringList allTags() const;

signals:
    void categoriesChanged();

private:
    bool decodeLibrary(const QByteArray &bytes);
    bool migrateOlderList();
    // `edit` changes the library and says whether there is anything to save.
    std::optional<QString> change(const char *operation, const std::function<bool()> &edit,
                                  const std::function<void()> &recordCommand = {});
    QByteArray encode() const;
    void record(ActionReceipt::Kind kind, const QString &source, std::optional<QString> before,
                std::optional<QString> after, std::optional<QString> error = std::nullopt);

    QString folder;
    QList<Category> library;
    StoreFile *file;
    QPointer<DiagnosticLog> diagnosticLog;
};
