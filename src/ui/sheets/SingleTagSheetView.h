#pragma once

#include "metadata/sheets/TaggingSheets.h"
#include "ui/sheets/SheetDialog.h"

class QLabel;
class QLineEdit;
class QListWidget;
class QStackedWidget;

// The Single Tag Selector sheet: tags picked one by one from the whole library.
class SingleTagSheetView : public SheetDialog {
    Q_OBJECT
public:
    SingleTagSheetView(AppState &state, const SingleTagSelectorContext &context, QWidget *parent = nullptr);

    SingleTagSelectorSheet &model() { return sheet; }
    const SingleTagSelectorContext &context() const { return sheet.context(); }

protected:
    void cancelSheet() override;

private:
    void refresh();

    SingleTagSelectorSheet sheet;
    QLineEdit *filter;
    QStackedWidget *listOrEmpty;
    QListWidget *list;
    QLabel *empty;
    QLabel *count;
};
