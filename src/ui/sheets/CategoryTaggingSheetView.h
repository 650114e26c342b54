#pragma once

#include "metadata/sheets/CategoryTaggingSheet.h"
#include "ui/sheets/SheetDialog.h"

#include <QPointer>

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
    explicit CategoryTaggingSheetView(CategoryTaggingSheet &model, QWidget *parent = nullptr);

    CategoryTaggingSheet *model() const { return sheet; }

protected:
    void cancelSheet() override;

private:
    void refresh();

    QPointer<CategoryTaggingSheet> sheet;
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
