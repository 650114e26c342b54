#pragma once

#include "metadata/sheets/TextCommentToolsSheet.h"
#include "ui/sheets/SheetDialog.h"

#include <QPointer>

class QButtonGroup;
class QLabel;
class QLineEdit;
class QListWidget;

// The Text & Comment Tools sheet: pick one of six operations, fill in its text,
// check the first file's before and after, apply to all.
class TextCommentToolsSheetView : public SheetDialog {
    Q_OBJECT
public:
    explicit TextCommentToolsSheetView(TextCommentToolsSheet &model, QWidget *parent = nullptr);

    TextCommentToolsSheet *model() const { return sheet; }

protected:
    void cancelSheet() override;

private:
    void refresh();

    QPointer<TextCommentToolsSheet> sheet;
    QListWidget *actions;
    QLabel *help;
    QLabel *primaryLabel;
    QLineEdit *primary;
    QLabel *replacementLabel;
    QLineEdit *replacement;
    QWidget *separatorRow;
    QButtonGroup *separatorChoices;
    QLabel *separatorNote;
    QLabel *warning;
    // Why Apply is off: text or a resulting name that can't be a file name.
    QLabel *problem;
    QWidget *preview;
    QLabel *before;
    QLabel *after;
};
