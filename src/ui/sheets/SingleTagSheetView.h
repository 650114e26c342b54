#pragma once

#include "metadata/sheets/SingleTagSelectorSheet.h"
#include "ui/sheets/SheetDialog.h"

#include <QPointer>

class QLabel;
class QLineEdit;
class QListWidget;
class QStackedWidget;

// The Single Tag Selector sheet: tags picked one by one from the whole library.
class SingleTagSheetView : public SheetDialog {
    Q_OBJECT
public:
    explicit SingleTagSheetView(SingleTagSelectorSheet &model, QWidget *parent = nullptr);

    SingleTagSelectorSheet *model() const { return sheet; }

protected:
    void cancelSheet() override;

private:
    void refresh();

    QPointer<SingleTagSelectorSheet> sheet;
    QLineEdit *filter;
    QStackedWidget *listOrEmpty;
    QListWidget *list;
    QLabel *empty;
    QLabel *count;
};
