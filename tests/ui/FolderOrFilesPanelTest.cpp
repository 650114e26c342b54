#include "ui/widgets/FolderOrFilesPanel.h"
#include "TestHome.h"
#include "WhenModal.h"
#include "ui/shell/WidgetInteraction.h"
#include "ui/widgets/PanelPlaces.h"

#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <QTreeView>
#include <QUrl>

namespace {

PanelRequest filesAndFolders(const QString &directory = {})
{
    PanelRequest request;
    request.title = QStringLiteral("Run Tag Audit");
    request.canChooseFiles = true;
    request.canChooseDirectories = true;
    request.allowsMultipleSelection = true;
    request.directory = directory;
    return request;
}

QString canonical(const QString &path)
{
    return QFileInfo(path).canonicalFilePath();
}

// The names the list shows for the current folder, top to bottom.
QStringList listedInOrder(const FolderOrFilesPanel &panel)
{
    const QTreeView *view = panel.fileList();
    QStringList names;
    for (int row = 0; row < view->model()->rowCount(view->rootIndex()); ++row)
        names.append(view->model()->index(row, 0, view->rootIndex()).data().toString());
    return names;
}

// The same, as a set: for folders the list is still filling.
QStringList listed(const FolderOrFilesPanel &panel)
{
    QStringList names = listedInOrder(panel);
    names.sort();
    return names;
}

QModelIndex itemNamed(const FolderOrFilesPanel &panel, const QString &name)
{
    const QTreeView *view = panel.fileList();
    for (int row = 0; row < view->model()->rowCount(view->rootIndex()); ++row) {
        const QModelIndex index = view->model()->index(row, 0, view->rootIndex());
        if (index.data().toString() == name)
            return index;
    }
    return {};
}

void clickItem(FolderOrFilesPanel &panel, const QString &name, Qt::KeyboardModifiers modifiers = {})
{
    QTreeView *view = panel.fileList();
    const QModelIndex index = itemNamed(panel, name);
    view->scrollTo(index);
    QTest::mouseClick(view->viewport(), Qt::LeftButton, modifiers, view->visualRect(index).center());
}

bool showActive(QWidget &window)
{
    window.show();
    window.activateWindow();
    return QTest::qWaitForWindowActive(&window);
}

QList<PanelPlaces::Place> placesOf(const FolderOrFilesPanel &panel)
{
    QList<PanelPlaces::Place> places;
    for (int row = 0; row < panel.placesList()->count(); ++row) {
        const QListWidgetItem *item = panel.placesList()->item(row);
        places.append({item->text(), item->data(Qt::UserRole).toString()});
    }
    return places;
}

} // namespace

class FolderOrFilesPanelTest : public QObject {
    Q_OBJECT
private slots:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral("^(?!This plugin does not support ).*"))); }

    void aFolderAndTwoFilesAreChosenTogether()
    {
        TestHome home;
        const QString work = home.makeFolder(QStringLiteral("Work"));
        const QString photos = home.makeFolder(QStringLiteral("Work/Photos"));
        const QString a = home.makeFile(QStringLiteral("Work/a.txt"));
        home.makeFile(QStringLiteral("Work/b.txt"));
        const QString c = home.makeFile(QStringLiteral("Work/c.txt"));
        QStringList location;
        bool listing = false;
        bool exposed = false;
        auto met = whenModal<FolderOrFilesPanel>([&](FolderOrFilesPanel *panel) {
            location.append(panel->location());
            // No QTRY here: a failure would return with the panel still open.
            exposed = QTest::qWaitForWindowExposed(panel);
            // Folders first, then files, by name: the order the chosen paths come back in.
            listing = QTest::qWaitFor([&] {
                return listedInOrder(*panel) == QStringList{"Photos", "a.txt", "b.txt", "c.txt"};
            });
            clickItem(*panel, QStringLiteral("Photos"));
            clickItem(*panel, QStringLiteral("a.txt"), Qt::ControlModifier);
            clickItem(*panel, QStringLiteral("c.txt"), Qt::ControlModifier);
            QTest::mouseClick(panel->acceptButton(), Qt::LeftButton);
        });
        WidgetInteraction interaction;
        const QStringList chosen = interaction.panel(filesAndFolders(work));
        QVERIFY(*met);
        QCOMPARE(location, QStringList{canonical(work)});
        QVERIFY(exposed);
        QVERIFY(listing);
        QCOMPARE(chosen, (QStringList{canonical(photos), canonical(a), canonical(c)}));
    }

    void onlyAFilesAndFoldersRequestGetsThePanel_data()
    {
        QTest::addColumn<bool>("files");
        QTest::addColumn<bool>("folders");
        QTest::addColumn<bool>("ours");
        QTest::newRow("files and folders") << true << true << true;
        QTest::newRow("files only") << true << false << false;
        QTest::newRow("folders only") << false << true << false;
    }

    void onlyAFilesAndFoldersRequestGetsThePanel()
    {
        QFETCH(bool, files);
        QFETCH(bool, folders);
        QFETCH(bool, ours);
        TestHome home;
        PanelRequest request = filesAndFolders(home.home());
        request.canChooseFiles = files;
        request.canChooseDirectories = folders;
        bool panelShown = false;
        bool fileDialogShown = false;
        auto met = whenModal<QDialog>([&](QDialog *dialog) {
            panelShown = qobject_cast<FolderOrFilesPanel *>(dialog);
            fileDialogShown = qobject_cast<QFileDialog *>(dialog);
            dialog->reject();
        });
        WidgetInteraction interaction;
        QCOMPARE(interaction.panel(request), QStringList());
        QVERIFY(*met);
        QCOMPARE(panelShown, ours);
        QCOMPARE(fileDialogShown, !ours);
    }

    void hiddenFilesShowOnlyAfterControlH()
    {
        TestHome home;
        const QString work = home.makeFolder(QStringLiteral("Work"));
        home.makeFile(QStringLiteral("Work/notes.txt"));
        home.makeFile(QStringLiteral("Work/.secret"));
        home.makeFolder(QStringLiteral("Work/.cache"));
        FolderOrFilesPanel panel(filesAndFolders(work));
        QVERIFY(showActive(panel));
        QTRY_COMPARE(listed(panel), QStringList{"notes.txt"});
        QVERIFY(!panel.showsHiddenFiles());

        QTest::keyClick(panel.fileList(), Qt::Key_H, Qt::ControlModifier);
        QVERIFY(panel.showsHiddenFiles());
        QTRY_COMPARE(listed(panel), (QStringList{".cache", ".secret", "notes.txt"}));

        QTest::keyClick(panel.fileList(), Qt::Key_H, Qt::ControlModifier);
        QVERIFY(!panel.showsHiddenFiles());
        QTRY_COMPARE(listed(panel), QStringList{"notes.txt"});
    }

    void newFolderTakesTheFirstFreeUntitledName_data()
    {
        QTest::addColumn<QStringList>("takenFolders");
        QTest::addColumn<QStringList>("takenFiles");
        QTest::addColumn<QStringList>("made");
        QTest::newRow("an empty folder") << QStringList() << QStringList()
                                         << QStringList{"untitled folder", "untitled folder 2"};
        QTest::newRow("the plain name taken")
            << QStringList{"untitled folder"} << QStringList() << QStringList{"untitled folder 2", "untitled folder 3"};
        QTest::newRow("a file holds the name")
            << QStringList() << QStringList{"untitled folder"} << QStringList{"untitled folder 2", "untitled folder 3"};
        QTest::newRow("a gap is filled first") << QStringList{"untitled folder", "untitled folder 3"} << QStringList()
                                               << QStringList{"untitled folder 2", "untitled folder 4"};
    }

    void newFolderTakesTheFirstFreeUntitledName()
    {
        QFETCH(QStringList, takenFolders);
        QFETCH(QStringList, takenFiles);
        QFETCH(QStringList, made);
        TestHome home;
        const QString work = home.makeFolder(QStringLiteral("Work"));
        for (const QString &name : takenFolders)
            home.makeFolder(QStringLiteral("Work/") + name);
        for (const QString &name : takenFiles)
            home.makeFile(QStringLiteral("Work/") + name);
        FolderOrFilesPanel panel(filesAndFolders(work));
        QVERIFY(showActive(panel));
        QVERIFY(panel.newFolderButton()->isVisible());
        QVERIFY(panel.newFolderButton()->isEnabled());

        for (const QString &name : made) {
            QTest::mouseClick(panel.newFolderButton(), Qt::LeftButton);
            QVERIFY(QFileInfo(work + QLatin1Char('/') + name).isDir());
            // Its name is being edited, once the folder has been read.
            QTRY_VERIFY(qobject_cast<QLineEdit *>(QApplication::focusWidget()));
            auto *editor = qobject_cast<QLineEdit *>(QApplication::focusWidget());
            QCOMPARE(panel.selectedPaths(), QStringList{canonical(work + QLatin1Char('/') + name)});
            QVERIFY(panel.fileList()->viewport()->isAncestorOf(editor));
            QCOMPARE(editor->text(), name);
            QTest::keyClick(editor, Qt::Key_Escape);
            QVERIFY(panel.isVisible());
        }
    }

    void aNewFolderIsNamedWithoutChoosing()
    {
        TestHome home;
        const QString work = home.makeFolder(QStringLiteral("Work"));
        FolderOrFilesPanel panel(filesAndFolders(work));
        QVERIFY(showActive(panel));
        QTest::mouseClick(panel.newFolderButton(), Qt::LeftButton);
        QTRY_VERIFY(qobject_cast<QLineEdit *>(QApplication::focusWidget()));
        auto *editor = qobject_cast<QLineEdit *>(QApplication::focusWidget());
        editor->selectAll();
        QTest::keyClicks(editor, QStringLiteral("Trips"));
        QTest::keyClick(editor, Qt::Key_Return);
        QTRY_VERIFY(QFileInfo(work + QStringLiteral("/Trips")).isDir());
        QVERIFY(!QFileInfo::exists(work + QStringLiteral("/untitled folder")));
        QVERIFY(panel.isVisible());
        QCOMPARE(panel.result(), int(QDialog::Rejected));
    }

    void doubleClickEntersAFolderButChoosesAPackage_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("entered");
        QTest::newRow("a folder") << "Photos" << true;
        QTest::newRow("an application") << "Tool.app" << false;
        QTest::newRow("a package named in capitals") << "Notes.RTFD" << false;
    }

    void doubleClickEntersAFolderButChoosesAPackage()
    {
        QFETCH(QString, name);
        QFETCH(bool, entered);
        TestHome home;
        const QString work = home.makeFolder(QStringLiteral("Work"));
        const QString item = home.makeFolder(QStringLiteral("Work/") + name);
        home.makeFile(QStringLiteral("Work/%1/Contents/Info.plist").arg(name));
        FolderOrFilesPanel panel(filesAndFolders(work));
        QVERIFY(showActive(panel));
        QTRY_COMPARE(listed(panel), QStringList{name});

        clickItem(panel, name);
        QCOMPARE(panel.selectedPaths(), QStringList{canonical(item)});
        const QModelIndex index = itemNamed(panel, name);
        QTest::mouseDClick(panel.fileList()->viewport(), Qt::LeftButton, {},
                           panel.fileList()->visualRect(index).center());
        if (entered) {
            QCOMPARE(panel.location(), canonical(item));
            QVERIFY(panel.isVisible());
            QTRY_COMPARE(listed(panel), QStringList{"Contents"});
        } else {
            QCOMPARE(panel.location(), canonical(work));
            QCOMPARE(panel.result(), int(QDialog::Accepted));
            QCOMPARE(panel.chosenPaths(), QStringList{canonical(item)});
        }
    }

    void gtkBookmarksArePlaces_data()
    {
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QString>("label");
        QTest::newRow("percent-encoded, with a label")
            << "My Trips" << QByteArray("file://$HOME/My%20Trips Holidays 2024") << "Holidays 2024";
        QTest::newRow("without a label") << "Projects" << QByteArray("file://$HOME/Projects") << "Projects";
        QTest::newRow("non-ASCII, trailing slash")
            << QStringLiteral("Été") << QByteArray("file://$HOME/%C3%89t%C3%A9/") << QStringLiteral("Été");
        QTest::newRow("another scheme is passed over")
            << "Share" << QByteArray("sftp://server/Share Server") << QString();
        QTest::newRow("a folder that is gone is passed over")
            << "Present" << QByteArray("file://$HOME/Absent Away") << QString();
        QTest::newRow("no bookmarks file") << "Projects" << QByteArray() << QString();
    }

    void gtkBookmarksArePlaces()
    {
        QFETCH(QString, folder);
        QFETCH(QByteArray, line);
        QFETCH(QString, label);
        TestHome home;
        const QString path = home.makeFolder(folder);
        if (!line.isNull()) {
            line.replace("$HOME", QUrl::fromLocalFile(home.home()).toEncoded().mid(7));
            home.makeFile(QStringLiteral(".config/gtk-3.0/bookmarks"), "\n" + line + "\n");
        }
        QCOMPARE(PanelPlaces::gtkBookmarksFile(), home.path(QStringLiteral(".config/gtk-3.0/bookmarks")));

        FolderOrFilesPanel panel(filesAndFolders(home.home()));
        const QList<PanelPlaces::Place> places = placesOf(panel);
        QVERIFY(!places.isEmpty());
        QCOMPARE(places.first(), (PanelPlaces::Place{QStringLiteral("Home"), canonical(home.home())}));
        const auto isBookmark = [&](const PanelPlaces::Place &place) { return place.path == canonical(path); };
        QCOMPARE(int(std::count_if(places.cbegin(), places.cend(), isBookmark)), label.isEmpty() ? 0 : 1);
        if (!label.isEmpty()) {
            QCOMPARE(std::find_if(places.cbegin(), places.cend(), isBookmark)->label, label);
            // A place is somewhere to go.
            QListWidgetItem *item = panel.placesList()->findItems(label, Qt::MatchExactly).value(0);
            QVERIFY(item);
            QVERIFY(showActive(panel));
            QTest::mouseClick(panel.placesList()->viewport(), Qt::LeftButton, {},
                              panel.placesList()->visualItemRect(item).center());
            QCOMPARE(panel.location(), canonical(path));
        }
    }

    void userFoldersThatExistArePlaces()
    {
        TestHome home;
        const QString documents = home.makeFolder(QStringLiteral("Documents"));
        const QString pictures = home.makeFolder(QStringLiteral("Pictures"));
        FolderOrFilesPanel panel(filesAndFolders());
        const QList<PanelPlaces::Place> places = placesOf(panel);
        QCOMPARE(places.value(0).path, canonical(home.home()));
        QCOMPARE(places.value(1), (PanelPlaces::Place{QStringLiteral("Documents"), canonical(documents)}));
        QCOMPARE(places.value(2), (PanelPlaces::Place{QStringLiteral("Pictures"), canonical(pictures)}));
        // No Music folder, so no Music place; and with no directory asked for, the panel starts at home.
        QVERIFY(std::none_of(places.cbegin(), places.cend(),
                             [](const PanelPlaces::Place &place) { return place.label == QLatin1String("Music"); }));
        QCOMPARE(panel.location(), canonical(home.home()));
    }

    void personalVolumes_data()
    {
        QTest::addColumn<QString>("mountPoint");
        QTest::addColumn<QString>("type");
        QTest::addColumn<bool>("personal");
        QTest::newRow("a USB stick") << "/run/media/ana/STICK"
                                     << "vfat" << true;
        QTest::newRow("a second disk") << "/mnt/data"
                                       << "ext4" << true;
        QTest::newRow("a network share") << "/media/share"
                                         << "nfs4" << true;
        QTest::newRow("proc") << "/proc"
                              << "proc" << false;
        QTest::newRow("the runtime folder") << "/run/user/1000"
                                            << "tmpfs" << false;
        QTest::newRow("a tmpfs anywhere") << "/mnt/scratch"
                                          << "tmpfs" << false;
        QTest::newRow("the boot partition") << "/boot/efi"
                                            << "vfat" << false;
        QTest::newRow("a snap") << "/snap/core/1"
                                << "squashfs" << false;
        QTest::newRow("a file bound into a container") << "/etc/hosts"
                                                       << "ext4" << false;
    }

    void personalVolumes()
    {
        QFETCH(QString, mountPoint);
        QFETCH(QString, type);
        QFETCH(bool, personal);
        QCOMPARE(PanelPlaces::isPersonalVolume(mountPoint, type), personal);
    }

    void promptMessageAndTitleShow_data()
    {
        QTest::addColumn<QString>("prompt");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("button");
        QTest::newRow("a prompt and a message") << "Run"
                                                << "Choose the files and folders to audit."
                                                << "Run";
        QTest::newRow("no prompt, no message") << QString() << QString() << "Choose";
    }

    void promptMessageAndTitleShow()
    {
        QFETCH(QString, prompt);
        QFETCH(QString, message);
        QFETCH(QString, button);
        TestHome home;
        PanelRequest request = filesAndFolders(home.home());
        request.prompt = prompt;
        request.message = message;
        FolderOrFilesPanel panel(request);
        QVERIFY(showActive(panel));
        QCOMPARE(panel.windowTitle(), QStringLiteral("Run Tag Audit"));
        QCOMPARE(panel.acceptButton()->text(), button);
        QVERIFY(panel.acceptButton()->isDefault());
        QCOMPARE(panel.messageLabel()->isVisible(), !message.isEmpty());
        if (!message.isEmpty()) {
            QCOMPARE(panel.messageLabel()->text(), message);
            const int labelBottom = panel.messageLabel()->mapTo(&panel, QPoint(0, panel.messageLabel()->height())).y();
            QVERIFY(labelBottom <= panel.fileList()->mapTo(&panel, QPoint(0, 0)).y());
        }
    }

    void choosingWithNothingSelected_data()
    {
        QTest::addColumn<bool>("folders");
        QTest::addColumn<bool>("cancel");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("chooses the folder shown") << true << false << true;
        QTest::newRow("cancel chooses nothing") << true << true << false;
        QTest::newRow("without folders, nothing to choose") << false << false << false;
    }

    void choosingWithNothingSelected()
    {
        QFETCH(bool, folders);
        QFETCH(bool, cancel);
        QFETCH(bool, accepted);
        TestHome home;
        const QString work = home.makeFolder(QStringLiteral("Work"));
        home.makeFile(QStringLiteral("Work/a.txt"));
        PanelRequest request = filesAndFolders(work);
        request.canChooseDirectories = folders;
        FolderOrFilesPanel panel(request);
        panel.open();
        QVERIFY(QTest::qWaitForWindowExposed(&panel));
        QCOMPARE(panel.acceptButton()->isEnabled(), folders);
        if (cancel)
            QTest::mouseClick(panel.findChild<QPushButton *>(QStringLiteral("cancelButton")), Qt::LeftButton);
        else
            panel.accept();
        QCOMPARE(panel.result() == QDialog::Accepted, accepted);
        QCOMPARE(panel.chosenPaths(), accepted ? QStringList{canonical(work)} : QStringList());
        QCOMPARE(panel.isVisible(), !accepted && !cancel);
    }

    void singleSelectionKeepsOneItem_data()
    {
        QTest::addColumn<bool>("multiple");
        QTest::addColumn<int>("selected");
        QTest::newRow("multiple") << true << 2;
        QTest::newRow("single") << false << 1;
    }

    void singleSelectionKeepsOneItem()
    {
        QFETCH(bool, multiple);
        QFETCH(int, selected);
        TestHome home;
        const QString work = home.makeFolder(QStringLiteral("Work"));
        home.makeFile(QStringLiteral("Work/a.txt"));
        home.makeFile(QStringLiteral("Work/b.txt"));
        PanelRequest request = filesAndFolders(work);
        request.allowsMultipleSelection = multiple;
        FolderOrFilesPanel panel(request);
        QVERIFY(showActive(panel));
        QTRY_COMPARE(listedInOrder(panel), (QStringList{"a.txt", "b.txt"}));
        clickItem(panel, QStringLiteral("a.txt"));
        clickItem(panel, QStringLiteral("b.txt"), Qt::ControlModifier);
        QCOMPARE(panel.selectedPaths().size(), selected);
        QCOMPARE(panel.selectedPaths().last(), canonical(work + QStringLiteral("/b.txt")));
    }

    void theLocationFieldGoesWhereItSays_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("location");
        QTest::addColumn<QStringList>("selected");
        QTest::newRow("a folder") << "$HOME/Work/Photos"
                                  << "Work/Photos" << QStringList();
        QTest::newRow("a folder from home") << "~/Work"
                                            << "Work" << QStringList();
        QTest::newRow("a file selects it") << "$HOME/Work/a.txt"
                                           << "Work" << QStringList{"Work/a.txt"};
        QTest::newRow("nowhere stays") << "$HOME/Nowhere"
                                       << "" << QStringList();
    }

    void theLocationFieldGoesWhereItSays()
    {
        QFETCH(QString, typed);
        QFETCH(QString, location);
        QFETCH(QStringList, selected);
        TestHome home;
        home.makeFolder(QStringLiteral("Work/Photos"));
        home.makeFile(QStringLiteral("Work/a.txt"));
        FolderOrFilesPanel panel(filesAndFolders());
        QVERIFY(showActive(panel));
        QLineEdit *field = panel.locationField();
        field->setFocus();
        field->selectAll();
        QTest::keyClicks(field, typed.replace(QStringLiteral("$HOME"), home.home()));
        QTest::keyClick(field, Qt::Key_Return);
        QVERIFY(panel.isVisible());
        QCOMPARE(panel.location(), canonical(home.path(location)));
        QStringList expected;
        for (const QString &relative : selected)
            expected.append(canonical(home.path(relative)));
        QCOMPARE(panel.selectedPaths(), expected);
    }
};

QTEST_MAIN(FolderOrFilesPanelTest)
#include "FolderOrFilesPanelTest.moc"
