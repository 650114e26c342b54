#include "ui/shell/WidgetInteraction.h"
#include "ui/widgets/AccessoryAlert.h"
#include "ui/widgets/FolderOrFilesPanel.h"

#include <QDir>
#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>

int WidgetInteraction::alert(const AlertRequest &request)
{
    // A confirmation must be answered before the flow goes on, so this one waits.
    QMessageBox box(parent);
    box.setIcon(request.style == AlertRequest::Style::warning ? QMessageBox::Warning : QMessageBox::Information);
    box.setText(request.message);
    box.setInformativeText(request.informativeText);
    QList<QAbstractButton *> buttons;
    for (qsizetype i = 0; i < request.buttons.size(); ++i) {
        const bool isLast = i + 1 == request.buttons.size() && request.buttons.size() > 1;
        buttons.append(box.addButton(request.buttons[i], isLast ? QMessageBox::RejectRole : QMessageBox::AcceptRole));
    }
    if (!buttons.isEmpty())
        box.setDefaultButton(qobject_cast<QPushButton *>(buttons.first()));
    box.exec();
    const qsizetype index = buttons.indexOf(box.clickedButton());
    return index >= 0 ? int(index) : int(buttons.size()) - 1;
}

AlertAnswer WidgetInteraction::alertWithValues(const AlertRequest &request)
{
    if (!request.accessory)
        return Interaction::alertWithValues(request);
    AccessoryAlert box(request, parent);
    box.exec();
    return box.answer();
}

QStringList WidgetInteraction::panel(const PanelRequest &request)
{
    if (request.choosesFilesAndFolders()) {
        // QFileDialog picks files or folders, never both at once.
        FolderOrFilesPanel chooser(request, parent);
        return chooser.exec() == QDialog::Accepted ? chooser.chosenPaths() : QStringList();
    }
    // Started from a file manager, the working folder is anywhere; the home folder is where people look.
    QFileDialog dialog(parent, request.title, request.directory.isEmpty() ? QDir::homePath() : request.directory);
    dialog.setLabelText(QFileDialog::Accept, request.prompt.isEmpty() ? QStringLiteral("Choose") : request.prompt);
    if (request.mode == PanelRequest::Mode::save) {
        dialog.setAcceptMode(QFileDialog::AcceptSave);
        dialog.selectFile(request.suggestedName);
    } else if (request.choosesFoldersOnly()) {
        dialog.setFileMode(QFileDialog::Directory);
        dialog.setOption(QFileDialog::ShowDirsOnly);
    } else {
        dialog.setFileMode(request.allowsMultipleSelection ? QFileDialog::ExistingFiles : QFileDialog::ExistingFile);
    }
    if (!request.message.isEmpty())
        dialog.setWindowTitle(request.title + QStringLiteral(" — ") + request.message);
    if (dialog.exec() != QDialog::Accepted)
        return {};
    return dialog.selectedFiles();
}
