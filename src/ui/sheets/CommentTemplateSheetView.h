#pragma once

#include "metadata/sheets/CommentTemplatePickerSheet.h"
#include "ui/sheets/SheetDialog.h"

#include <QPointer>

class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QRadioButton;
class QVBoxLayout;

// The Comment Templates sheet: ticked templates make the text, which is edited
// freely and then written to every selected file, replacing or appending.
class CommentTemplateSheetView : public SheetDialog {
    Q_OBJECT
public:
    explicit CommentTemplateSheetView(CommentTemplatePickerSheet &model, QWidget *parent = nullptr);

    CommentTemplatePickerSheet *model() const { return sheet; }

protected:
    void cancelSheet() override;

private:
    void refresh();
    void rebuildRows();

    QPointer<CommentTemplatePickerSheet> sheet;
    QList<CommentTemplate> shownTemplates;
    QWidget *rows;
    QVBoxLayout *rowsLayout;
    QPushButton *newTemplate;
    QWidget *form;
    QLineEdit *newName;
    QPlainTextEdit *newBody;
    QPushButton *saveButton = nullptr;
    QPlainTextEdit *body;
    QRadioButton *replace;
    QRadioButton *append;
    QLabel *explanation;
};
