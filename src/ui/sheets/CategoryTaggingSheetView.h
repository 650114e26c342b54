#pragma once

#include "metadata/sheets/TaggingSheets.h"
#include "ui/sheets/SheetDialog.h"

class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QStackedWidget;

// The Category Tagging sheet: one category's tags onto the selected files, with
// an inline form for a category that doesn't exist yet.
class CategoryTaggingSheetView : public SheetDialog {
    Q_OBJECT
public:
    CategoryTaggingSheetView(AppState &state, const CategoryTaggingContext &context, QWidget *parent = nullptr);

    CategoryTaggingSheet &model() { return sheet; }
    const CategoryTaggingContext &context() const { return sheet.context(); }

protected:
    void cancelSheet() override;

private:
    void refresh();

    CategoryTaggingSheet sheet;
    QPushButton *newCategory;
    QWidget *form;
    QLineEdit *draftName;
    QLineEdit *draftTags;
    QLabel *draftRefusal;
    QPushButton *saveButton = nullptr;
    QStackedWidget *listOrEmpty;
    QListWidget *list;
    QLabel *summary;
};
