#include "ui/widgets/FolderOrFilesPanel.h"
#include "platform/Packages.h"
#include "ui/widgets/PanelPlaces.h"

#include <QAction>
#include <QDir>
#include <QFileIconProvider>
#include <QFileInfo>
#include <QFileSystemModel>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QSplitter>
#include <QTreeView>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace {

// A package is one document to the person, so it looks like one.
class PackageIcons : public QFileIconProvider {
public:
    QIcon icon(const QFileInfo &info) const override
    {
        if (info.isDir() && Packages::isPackageName(info.fileName()))
            return QFileIconProvider::icon(QAbstractFileIconProvider::File);
        return QFileIconProvider::icon(info);
    }
    using QFileIconProvider::icon;
};

bool isPackage(const QFileInfo &info)
{
    return info.isDir() && Packages::isPackageName(info.fileName());
}

QString canonical(const QString &path)
{
    return QFileInfo(path).canonicalFilePath();
}

} // namespace

FolderOrFilesPanel::FolderOrFilesPanel(const PanelRequest &panelRequest, QWidget *parent)
    : QDialog(parent), request(panelRequest)
{
    setWindowTitle(request.title);
    setModal(true);

    message = new QLabel(request.message, this);
    message->setObjectName(QStringLiteral("messageLabel"));
    message->setWordWrap(true);
    message->setTextFormat(Qt::PlainText);
    message->setVisible(!request.message.isEmpty());

    locationEdit = new QLineEdit(this);
    locationEdit->setObjectName(QStringLiteral("locationField"));
    locationEdit->setPlaceholderText(QStringLiteral("Type a folder's path and press Enter"));

    places = new QListWidget(this);
    places->setObjectName(QStringLiteral("placesList"));
    for (const PanelPlaces::Place &place : PanelPlaces::all()) {
        auto *item = new QListWidgetItem(place.label, places);
        item->setData(Qt::UserRole, place.path);
        item->setToolTip(place.path);
    }
    connect(places, &QListWidget::itemClicked, this,
            [this](QListWidgetItem *item) { setLocation(item->data(Qt::UserRole).toString()); });
    connect(places, &QListWidget::itemActivated, this,
            [this](QListWidgetItem *item) { setLocation(item->data(Qt::UserRole).toString()); });

    model = new QFileSystemModel(this);
    icons = std::make_unique<PackageIcons>();
    model->setIconProvider(icons.get());
    // Writable so that a new folder's name can be edited in place; nothing else starts an edit.
    model->setReadOnly(false);
    model->setFilter(QDir::AllEntries | QDir::AllDirs | QDir::NoDotAndDotDot);

    list = new QTreeView(this);
    list->setObjectName(QStringLiteral("fileList"));
    list->setModel(model);
    list->setRootIsDecorated(false);
    list->setItemsExpandable(false);
    list->setUniformRowHeights(true);
    list->setSortingEnabled(true);
    list->sortByColumn(0, Qt::AscendingOrder);
    list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    list->setSelectionBehavior(QAbstractItemView::SelectRows);
    list->setSelectionMode(request.allowsMultipleSelection ? QAbstractItemView::ExtendedSelection
                                                           : QAbstractItemView::SingleSelection);
    list->header()->setStretchLastSection(false);
    list->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    list->setColumnHidden(2, true);
    connect(model, &QFileSystemModel::directoryLoaded, this, &FolderOrFilesPanel::folderLoaded);
    connect(list, &QTreeView::doubleClicked, this, &FolderOrFilesPanel::openItem);
    connect(list->selectionModel(), &QItemSelectionModel::selectionChanged, this, &FolderOrFilesPanel::refreshButtons);

    auto *split = new QSplitter(this);
    split->addWidget(places);
    split->addWidget(list);
    split->setStretchFactor(1, 1);
    split->setSizes({180, 560});

    hiddenFiles = new QAction(QStringLiteral("Show Hidden Files"), this);
    hiddenFiles->setCheckable(true);
    hiddenFiles->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_H));
    connect(hiddenFiles, &QAction::toggled, this, &FolderOrFilesPanel::setShowsHiddenFiles);
    addAction(hiddenFiles);

    newFolderPush = new QPushButton(QStringLiteral("New Folder"), this);
    newFolderPush->setObjectName(QStringLiteral("newFolderButton"));
    newFolderPush->setAutoDefault(false);
    connect(newFolderPush, &QPushButton::clicked, this, [this] { createFolder(); });
    auto *cancel = new QPushButton(QStringLiteral("Cancel"), this);
    cancel->setObjectName(QStringLiteral("cancelButton"));
    cancel->setAutoDefault(false);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    acceptPush = new QPushButton(request.prompt.isEmpty() ? QStringLiteral("Choose") : request.prompt, this);
    acceptPush->setObjectName(QStringLiteral("acceptButton"));
    acceptPush->setDefault(true);
    connect(acceptPush, &QPushButton::clicked, this, &FolderOrFilesPanel::accept);

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(newFolderPush);
    buttons->addStretch(1);
    buttons->addWidget(cancel);
    buttons->addWidget(acceptPush);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(message);
    layout->addWidget(locationEdit);
    layout->addWidget(split, 1);
    layout->addLayout(buttons);
    resize(780, 500);

    if (request.directory.isEmpty() || !QFileInfo(request.directory).isDir() || !setLocation(request.directory))
        setLocation(QDir::homePath());
}

FolderOrFilesPanel::~FolderOrFilesPanel()
{
    // Before the icon provider it asks goes.
    delete model;
}

bool FolderOrFilesPanel::setLocation(const QString &path)
{
    QString wanted = path.trimmed();
    if (wanted == QLatin1String("~") || wanted.startsWith(QLatin1String("~/")))
        wanted = QDir::homePath() + wanted.mid(1);
    if (QDir::isRelativePath(wanted) && !current.isEmpty())
        wanted = QDir(current).absoluteFilePath(wanted);
    const QFileInfo info(wanted);
    if (!info.exists())
        return false;
    const bool entered = info.isDir() && !isPackage(info);
    const QString folder = canonical(entered ? info.absoluteFilePath() : info.absolutePath());
    if (folder.isEmpty())
        return false;
    current = folder;
    list->setRootIndex(model->setRootPath(current));
    list->clearSelection();
    locationEdit->setText(QDir::toNativeSeparators(current));
    if (!entered)
        select({canonical(info.absoluteFilePath())});
    markPlace();
    refreshButtons();
    return true;
}

void FolderOrFilesPanel::select(const QStringList &paths)
{
    QItemSelectionModel *selection = list->selectionModel();
    selection->clearSelection();
    bool first = true;
    for (const QString &path : paths) {
        const QModelIndex index = model->index(canonical(path));
        if (!index.isValid() || index.parent() != list->rootIndex())
            continue;
        const auto flags = QItemSelectionModel::Select | QItemSelectionModel::Rows;
        if (first)
            selection->setCurrentIndex(index, flags);
        else
            selection->select(index, flags);
        list->scrollTo(index);
        first = false;
        if (!request.allowsMultipleSelection)
            break;
    }
    refreshButtons();
}

QStringList FolderOrFilesPanel::selectedPaths() const
{
    QModelIndexList rows = list->selectionModel()->selectedRows(0);
    std::sort(rows.begin(), rows.end(), [](const QModelIndex &a, const QModelIndex &b) { return a.row() < b.row(); });
    QStringList paths;
    for (const QModelIndex &row : rows) {
        const QString path = canonical(model->filePath(row));
        if (!path.isEmpty())
            paths.append(path);
    }
    return paths;
}

bool FolderOrFilesPanel::showsHiddenFiles() const
{
    return model->filter().testFlag(QDir::Hidden);
}

void FolderOrFilesPanel::setShowsHiddenFiles(bool shown)
{
    if (shown != hiddenFiles->isChecked())
        hiddenFiles->setChecked(shown); // comes back here through toggled
    else if (shown != showsHiddenFiles())
        model->setFilter(shown ? model->filter() | QDir::Hidden : model->filter() & ~QDir::Hidden);
}

QString FolderOrFilesPanel::createFolder()
{
    const QDir folder(current);
    const QString base = QStringLiteral("untitled folder");
    QString name = base;
    for (int number = 2; folder.exists(name); ++number)
        name = base + QStringLiteral(" %1").arg(number);
    if (!folder.mkdir(name)) {
        QMessageBox::warning(this, QStringLiteral("New Folder"),
                             QStringLiteral("Couldn't make a folder in %1.").arg(QDir::toNativeSeparators(current)));
        return {};
    }
    newFolder = canonical(folder.filePath(name));
    // A listing still being read would drop the folder from the list and close its name's editor with it.
    if (loadedFolders.contains(current))
        editNewFolder();
    return newFolder;
}

void FolderOrFilesPanel::folderLoaded(const QString &folder)
{
    loadedFolders.insert(canonical(folder));
    if (!newFolder.isEmpty() && loadedFolders.contains(current))
        editNewFolder();
}

void FolderOrFilesPanel::editNewFolder()
{
    const QString path = std::exchange(newFolder, QString());
    const QModelIndex index = model->index(path);
    if (!index.isValid() || index.parent() != list->rootIndex())
        return;
    select({path});
    list->setFocus();
    list->edit(index);
}

void FolderOrFilesPanel::accept()
{
    QStringList paths = selectedPaths();
    if (paths.isEmpty()) {
        // Choosing with nothing selected chooses the folder shown, where a folder may be chosen.
        if (!request.canChooseDirectories)
            return;
        paths = {current};
    }
    if (!std::all_of(paths.cbegin(), paths.cend(), [this](const QString &path) { return isAllowed(path); }))
        return;
    chosen = paths;
    QDialog::accept();
}

void FolderOrFilesPanel::keyPressEvent(QKeyEvent *event)
{
    // Enter in the location field goes there; it doesn't choose.
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    // Nor does Enter that ends naming a new folder: the name's editor lets it pass on to here.
    QWidget *focus = focusWidget();
    if (isReturn && focus && focus != list && list->isAncestorOf(focus)) {
        event->accept();
        return;
    }
    if (isReturn && locationEdit->hasFocus()) {
        if (!setLocation(locationEdit->text()))
            locationEdit->selectAll();
        event->accept();
        return;
    }
    QDialog::keyPressEvent(event);
}

void FolderOrFilesPanel::openItem(const QModelIndex &index)
{
    const QFileInfo info = model->fileInfo(index);
    if (info.isDir() && !isPackage(info)) {
        setLocation(info.absoluteFilePath());
        return;
    }
    // A file or a package is chosen by double-clicking it, as a document is opened.
    select({info.absoluteFilePath()});
    accept();
}

bool FolderOrFilesPanel::isAllowed(const QString &path) const
{
    const QFileInfo info(path);
    const bool asFolder = info.isDir() && !isPackage(info);
    return asFolder ? request.canChooseDirectories : request.canChooseFiles;
}

void FolderOrFilesPanel::refreshButtons()
{
    const QStringList paths = selectedPaths();
    const bool allowed =
        std::all_of(paths.cbegin(), paths.cend(), [this](const QString &path) { return isAllowed(path); });
    acceptPush->setEnabled(paths.isEmpty() ? request.canChooseDirectories : allowed);
    // Offered in every folder-or-files panel, where making the folder to choose is part of choosing.
    newFolderPush->setEnabled(QFileInfo(current).isWritable());
}

void FolderOrFilesPanel::markPlace()
{
    const QSignalBlocker quiet(places);
    places->clearSelection();
    for (int row = 0; row < places->count(); ++row) {
        if (places->item(row)->data(Qt::UserRole).toString() == current) {
            places->setCurrentRow(row);
            return;
        }
    }
}
