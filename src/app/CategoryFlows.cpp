// The category library's export, import and reset, as the user runs them.
#include "app/AppState.h"

#include "foundation/Interaction.h"
#include "metadata/CategoryExportEnvelope.h"
#include "metadata/CategoryImport.h"
#include "platform/AtomicFile.h"

#include <QDate>
#include <QDir>
#include <QFileInfo>

namespace {

const QString exportSource = QStringLiteral("AppState.exportCategoriesToDisk");
const QString importSource = QStringLiteral("AppState.importCategoriesFromDisk");

} // namespace

void AppState::exportCategoriesToDisk()
{
    PanelRequest panel;
    panel.mode = PanelRequest::Mode::save;
    panel.title = QStringLiteral("Export Categories");
    panel.message = QStringLiteral("Save a copy of your current categories. The file is plain JSON — open it in any "
                                   "text editor to inspect or hand-edit.");
    panel.suggestedName = CategoryExportEnvelope::defaultFileName(QDate::currentDate());
    const QStringList chosen = asker.panel(panel);
    if (chosen.isEmpty())
        return;
    QString path = chosen.first();
    if (QFileInfo(path).suffix().toLower() != QLatin1String("vantrelcategories"))
        path += QStringLiteral(".vantrelcategories");

    // Nothing is replaced unasked, and an older export is replaced only once the new one is complete.
    const QFileInfo chosenFile(path);
    if (chosenFile.exists() &&
        asker.alert({QStringLiteral("“%1” already exists.").arg(chosenFile.fileName()),
                     QStringLiteral("Replacing it overwrites its current contents once the new file is complete."),
                     {QStringLiteral("Replace"), QStringLiteral("Cancel")}}) != 0)
        return;

    CategoryExportEnvelope envelope;
    envelope.exportedAt = QDateTime::currentDateTime();
    envelope.appVersion = QStringLiteral(VANTREL_VERSION);
    envelope.categories = categoryList;
    const QByteArray bytes = envelope.encode();
    if (const auto failed = AtomicFile::writeWhole(path, bytes)) {
        const QString &error = *failed;
        showFailure(QStringLiteral("Couldn't export categories: %1").arg(error));
        log->record(ActionReceipt::Kind::errorSwallow, exportSource, std::nullopt, std::nullopt, error);
        return;
    }
    const QFileInfo info(path);
    showSuccess(QStringLiteral("Exported %1 to %2/%3.")
                    .arg(CategoryImport::countOf(categoryList.size()), info.dir().dirName(), info.fileName()));
    log->record(ActionReceipt::Kind::cmd, exportSource, std::nullopt,
                QStringLiteral("ok count=%1 path=%2").arg(categoryList.size()).arg(path));
}

void AppState::importCategoriesFromDisk()
{
    PanelRequest panel;
    panel.title = QStringLiteral("Import Categories");
    panel.message = QStringLiteral("Choose a .vantrelcategories file.");
    const QStringList chosen = asker.panel(panel);
    if (chosen.isEmpty())
        return;

    const auto read = CategoryExportEnvelope::read(chosen.first());
    if (const auto *error = std::get_if<CategoryExportEnvelope::ImportError>(&read)) {
        const QString text = error->message();
        showFailure(text.isEmpty() ? QStringLiteral("Import failed") : text);
        log->record(ActionReceipt::Kind::errorSwallow, importSource, std::nullopt,
                    text.isEmpty() ? QStringLiteral("unknown") : text);
        return;
    }
    const CategoryExportEnvelope &envelope = std::get<CategoryExportEnvelope>(read);

    const QString question = QStringLiteral("Import %1?").arg(CategoryImport::countOf(envelope.categories.size()));
    const bool emptyLibrary = categoryList.isEmpty();
    const AlertRequest alert =
        emptyLibrary
            ? AlertRequest{question,
                           QStringLiteral("You don't have any categories yet. The imported set will become your "
                                          "library."),
                           {QStringLiteral("Import"), QStringLiteral("Cancel")}}
            : AlertRequest{question,
                           QStringLiteral("You currently have %1. Merge keeps your existing ones and adds the "
                                          "imported set; Replace wipes yours first.")
                               .arg(CategoryImport::countOf(categoryList.size())),
                           {QStringLiteral("Merge"), QStringLiteral("Replace"), QStringLiteral("Cancel")}};
    const int answer = asker.alert(alert);
    const bool replace = !emptyLibrary && answer == 1;
    if (answer == int(alert.buttons.size()) - 1)
        return;

    const CategoryImport::Cleaned cleaned = CategoryImport::clean(envelope.categories);
    if (replace) {
        const qsizetype previous = categoryList.size();
        if (const auto error = categoryLibrary->replaceAll(cleaned.categories)) {
            showFailure(*error);
            return;
        }
        showSuccess(CategoryImport::replaceBanner(cleaned.categories.size(), cleaned.dropped));
        log->record(ActionReceipt::Kind::cmd, importSource, std::nullopt,
                    CategoryImport::replaceReceipt(cleaned.categories.size(), previous, cleaned.dropped));
        return;
    }
    const CategoryImport::Merge merge = CategoryImport::merge(categoryList, cleaned.categories);
    if (const auto error = categoryLibrary->append(merge.appended)) {
        showFailure(*error);
        return;
    }
    showSuccess(CategoryImport::mergeBanner(merge, cleaned.dropped));
    log->record(ActionReceipt::Kind::cmd, importSource, std::nullopt,
                CategoryImport::mergeReceipt(merge, cleaned.dropped, envelope.categories.size()));
}

void AppState::resetCategoriesConfirmed()
{
    const qsizetype previous = categoryList.size();
    const QString detail = previous > 0
                               ? QStringLiteral("This deletes your %1 current categor%2 and restores Vantrel's bundled "
                                                "defaults. Cannot be undone.")
                                     .arg(previous)
                                     .arg(previous == 1 ? QStringLiteral("y") : QStringLiteral("ies"))
                               : QStringLiteral("Restores Vantrel's bundled default categories. Cannot be undone.");
    // The action first and Cancel last, so an unanswered alert never resets.
    if (asker.alert({QStringLiteral("Reset categories to the default seed?"),
                     detail,
                     {QStringLiteral("Reset"), QStringLiteral("Cancel")}}) != 0)
        return;
    if (const auto error = categoryLibrary->resetToSeeded()) {
        showFailure(*error);
        return;
    }
    showSuccess(QStringLiteral("Categories reset to the default seed."));
    log->record(ActionReceipt::Kind::cmd, QStringLiteral("AppState.resetCategoriesConfirmed"), std::nullopt,
                QStringLiteral("reset prev=%1 now=%2").arg(previous).arg(categoryList.size()));
}
