#include "ui/widgets/Symbols.h"

#include <QApplication>
#include <QHash>
#include <QPainter>
#include <QStyle>

namespace {

struct Mapping {
    const char *themeName;
    QStyle::StandardPixmap fallback;
};

const QHash<QString, Mapping> &table()
{
    static const QHash<QString, Mapping> mappings{
        {QStringLiteral("square.grid.2x2"), {"view-grid", QStyle::SP_FileDialogListView}},
        {QStringLiteral("bolt"), {"system-run", QStyle::SP_MediaPlay}},
        {QStringLiteral("tag"), {"tag", QStyle::SP_FileDialogDetailedView}},
        {QStringLiteral("tag.fill"), {"tag", QStyle::SP_FileDialogDetailedView}},
        {QStringLiteral("tag.circle.fill"), {"tag", QStyle::SP_FileDialogDetailedView}},
        {QStringLiteral("shippingbox"), {"package-x-generic", QStyle::SP_DriveHDIcon}},
        {QStringLiteral("shippingbox.fill"), {"package-x-generic", QStyle::SP_DriveHDIcon}},
        {QStringLiteral("arrow.triangle.branch"), {"vcs-branch", QStyle::SP_ArrowRight}},
        {QStringLiteral("gearshape"), {"preferences-system", QStyle::SP_ComputerIcon}},
        {QStringLiteral("macwindow"), {"window-new", QStyle::SP_TitleBarNormalButton}},
        {QStringLiteral("power"), {"application-exit", QStyle::SP_DialogCloseButton}},
        {QStringLiteral("character.cursor.ibeam"), {"format-text-bold", QStyle::SP_FileIcon}},
        {QStringLiteral("doc.on.doc.fill"), {"edit-copy", QStyle::SP_FileIcon}},
        {QStringLiteral("magnifyingglass"), {"edit-find", QStyle::SP_FileDialogContentsView}},
        {QStringLiteral("text.badge.minus"), {"edit-clear", QStyle::SP_DialogResetButton}},
        {QStringLiteral("square.stack.3d.down.right.fill"), {"image-x-generic", QStyle::SP_FileIcon}},
        {QStringLiteral("calendar.badge.clock"), {"x-office-calendar", QStyle::SP_FileDialogInfoView}},
        {QStringLiteral("scalemass"), {"drive-harddisk", QStyle::SP_DriveHDIcon}},
        {QStringLiteral("tray.2.fill"), {"folder-download", QStyle::SP_DirIcon}},
        {QStringLiteral("square.and.arrow.up.on.square.fill"), {"document-export", QStyle::SP_ArrowUp}},
        {QStringLiteral("square.and.arrow.down.on.square.fill"), {"document-import", QStyle::SP_ArrowDown}},
        {QStringLiteral("text.bubble.fill"), {"mail-message", QStyle::SP_MessageBoxInformation}},
        {QStringLiteral("arrow.up.forward.app.fill"), {"go-next", QStyle::SP_ArrowForward}},
        {QStringLiteral("icloud.and.arrow.up.fill"), {"folder-cloud", QStyle::SP_DriveNetIcon}},
        {QStringLiteral("doc.zipper"), {"package-x-generic", QStyle::SP_DriveHDIcon}},
        {QStringLiteral("shippingbox.and.arrow.backward.fill"), {"document-save", QStyle::SP_DialogSaveButton}},
        {QStringLiteral("scope"), {"edit-find", QStyle::SP_FileDialogContentsView}},
        {QStringLiteral("tray.and.arrow.down.fill"), {"document-import", QStyle::SP_ArrowDown}},
        {QStringLiteral("tray.and.arrow.down"), {"document-import", QStyle::SP_ArrowDown}},
        {QStringLiteral("plus.app.fill"), {"list-add", QStyle::SP_FileDialogNewFolder}},
        {QStringLiteral("wand.and.stars"), {"tools-wizard", QStyle::SP_CommandLink}},
        {QStringLiteral("xmark"), {"window-close", QStyle::SP_TitleBarCloseButton}},
        {QStringLiteral("folder.fill"), {"folder", QStyle::SP_DirIcon}},
        {QStringLiteral("person.2.fill"), {"system-users", QStyle::SP_DirHomeIcon}},
        {QStringLiteral("checkmark.circle.fill"), {"emblem-default", QStyle::SP_DialogApplyButton}},
        {QStringLiteral("photo.fill"), {"image-x-generic", QStyle::SP_FileIcon}},
        {QStringLiteral("doc.fill"), {"text-x-generic", QStyle::SP_FileIcon}},
        {QStringLiteral("books.vertical.fill"), {"accessories-dictionary", QStyle::SP_FileDialogDetailedView}},
        {QStringLiteral("tray.full.fill"), {"mail-inbox", QStyle::SP_DriveHDIcon}},
        {QStringLiteral("text.insert"), {"insert-text", QStyle::SP_ArrowLeft}},
        {QStringLiteral("text.append"), {"format-justify-left", QStyle::SP_ArrowRight}},
        {QStringLiteral("arrow.triangle.2.circlepath"), {"view-refresh", QStyle::SP_BrowserReload}},
        {QStringLiteral("text.badge.plus"), {"list-add", QStyle::SP_FileDialogNewFolder}},
        {QStringLiteral("trash.fill"), {"user-trash", QStyle::SP_TrashIcon}},
    };
    return mappings;
}

} // namespace

QIcon Symbols::icon(const QString &symbolName)
{
    const auto found = table().constFind(symbolName);
    const Mapping mapping = found != table().constEnd() ? found.value() : Mapping{"", QStyle::SP_FileIcon};
    QIcon fallback = QApplication::style()->standardIcon(mapping.fallback);
    if (*mapping.themeName == '\0')
        return fallback;
    return QIcon::fromTheme(QString::fromLatin1(mapping.themeName), fallback);
}

QIcon Symbols::tinted(const QString &symbolName, const QColor &color, int size)
{
    QPixmap pixmap = icon(symbolName).pixmap(size, size);
    if (!color.isValid() || pixmap.isNull())
        return QIcon(pixmap);
    QPainter painter(&pixmap);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(pixmap.rect(), color);
    painter.end();
    return QIcon(pixmap);
}
