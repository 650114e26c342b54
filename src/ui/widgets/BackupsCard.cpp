#include "ui/widgets/BackupsCard.h"

#include "app/AppState.h"
#include "foundation/ByteCountFormatter.h"
#include "platform/NativeNames.h"
#include "quickactions/QuickActionBackupStore.h"
#include "ui/widgets/Reveal.h"

#include <QDir>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QVBoxLayout>

BackupsCard::BackupsCard(AppState &appState, QWidget *parent)
    : QGroupBox(parent), state(&appState), empty(new QLabel(QStringLiteral("No backups yet."), this)),
      rows(new QWidget(this)), rowsLayout(new QVBoxLayout(rows))
{
    setObjectName(QStringLiteral("backupsCard"));
    auto *layout = new QVBoxLayout(this);
    auto *description = new QLabel(QuickActionBackupStore::cardDescription(), this);
    description->setWordWrap(true);
    layout->addWidget(description);
    auto *show = new QPushButton(QStringLiteral("Show in Finder"), this);
    layout->addWidget(show, 0, Qt::AlignLeft);
    rowsLayout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(empty);
    layout->addWidget(rows);
    connect(show, &QPushButton::clicked, this, [] {
        const QString folder = QuickActionBackupStore::folder();
        QDir().mkpath(folder);
        Reveal::showItems({folder});
    });
    connect(&appState, &AppState::workflowsChanged, this, &BackupsCard::refresh);
    refresh();
}

void BackupsCard::refresh()
{
    const QList<QuickActionBackupStore::Backup> backups = QuickActionBackupStore::list();
    setTitle(QuickActionBackupStore::cardTitle(backups.size()));
    empty->setVisible(backups.isEmpty());
    while (QLayoutItem *item = rowsLayout->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    for (const QuickActionBackupStore::Backup &backup : backups) {
        auto *row = new QWidget(rows);
        auto *line = new QHBoxLayout(row);
        line->setContentsMargins(0, 0, 0, 0);
        line->addWidget(new QLabel(QStringLiteral("%1 · %2 · %3")
                                       .arg(NativeNames::display(backup.workflowName),
                                            QLocale().toString(backup.createdAt, QLocale::ShortFormat),
                                            ByteCountFormatter::format(quint64(backup.sizeBytes))),
                                   row),
                        1);
        auto *restore = new QPushButton(QStringLiteral("Restore"), row);
        auto *remove = new QPushButton(QStringLiteral("Delete"), row);
        line->addWidget(restore);
        line->addWidget(remove);
        rowsLayout->addWidget(row);
        // Each ends in the banner; the list and the rows' states follow what is on disk now.
        connect(restore, &QPushButton::clicked, this, [this, backup] {
            if (!state)
                return;
            try {
                QuickActionBackupStore::restore(backup);
                state->showSuccess(QuickActionBackupStore::restoredMessage(NativeNames::display(backup.workflowName)));
            } catch (const QuickActionBackupStore::BackupError &error) {
                state->showFailure(error.message());
            }
            state->refreshStatuses();
            refresh();
        });
        connect(remove, &QPushButton::clicked, this, [this, backup] {
            if (!state)
                return;
            try {
                QuickActionBackupStore::remove(backup);
                state->showSuccess(QStringLiteral("Moved “%1” to the Trash.")
                                       .arg(NativeNames::display(backup.url.section(QLatin1Char('/'), -1))));
            } catch (const QuickActionBackupStore::BackupError &error) {
                state->showFailure(error.message());
            }
            refresh();
        });
    }
}
