#pragma once

#include "foundation/Interaction.h"

#include <QDialog>
#include <QSet>
#include <QStringList>

#include <memory>

class QAction;
class QAbstractFileIconProvider;
class QFileSystemModel;
class QLabel;
class QLineEdit;
class QListWidget;
class QModelIndex;
class QPushButton;
class QTreeView;

// An open panel that chooses files and folders together, which neither QFileDialog nor the desktop
// portal can. Places on the left, the current folder's items on the right; a package (a folder named
// like "Tool.app") is one item, chosen like a file and never entered.
class FolderOrFilesPanel : public QDialog {
    Q_OBJECT
public:
    explicit FolderOrFilesPanel(const PanelRequest &request, QWidget *parent = nullptr);
    ~FolderOrFilesPanel() override;

    // The folder shown, canonical.
    QString location() const { return current; }
    // Enters a folder; for a file or a package, enters its folder and selects it. False, and nothing
    // changes, when the path isn't there.
    bool setLocation(const QString &path);
    // Selects these items of the current folder in place of the selection; others are passed over.
    void select(const QStringList &paths);
    // The selected items, canonical, in the order they are listed.
    QStringList selectedPaths() const;
    // What the panel was accepted with; empty until then.
    QStringList chosenPaths() const { return chosen; }

    bool showsHiddenFiles() const;
    void setShowsHiddenFiles(bool shown);
    // Makes "untitled folder" (or the first free "untitled folder N") in the current folder, selects it
    // and starts editing its name, once the folder's listing has loaded. Returns its path, or nothing when
    // it couldn't be made.
    QString createFolder();

    QTreeView *fileList() const { return list; }
    QListWidget *placesList() const { return places; }
    QLineEdit *locationField() const { return locationEdit; }
    QLabel *messageLabel() const { return message; }
    QPushButton *acceptButton() const { return acceptPush; }
    QPushButton *newFolderButton() const { return newFolderPush; }

    void accept() override;

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    void openItem(const QModelIndex &index);
    void folderLoaded(const QString &folder);
    void editNewFolder();
    bool isAllowed(const QString &path) const;
    void refreshButtons();
    void markPlace();

    PanelRequest request;
    // The model doesn't own its icon provider, and its reading thread asks it until the model is gone.
    std::unique_ptr<QAbstractFileIconProvider> icons;
    QString current;
    QStringList chosen;
    QSet<QString> loadedFolders;
    QString newFolder;
    QFileSystemModel *model;
    QTreeView *list;
    QListWidget *places;
    QLineEdit *locationEdit;
    QLabel *message;
    QPushButton *acceptPush;
    QPushButton *newFolderPush;
    QAction *hiddenFiles;
};
