#include "ui/pages/WorkflowResultsView.h"

#include "foundation/Plural.h"
#include "ui/widgets/Typography.h"

#include "foundation/ByteCountFormatter.h"
#include "foundation/Interaction.h"
#include "platform/Paths.h"
#include "scan/ScanState.h"
#include "scan/TidyPlan.h"
#include "ui/widgets/Reveal.h"
#include "ui/widgets/Symbols.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHash>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

constexpr int itemIDRole = Qt::UserRole + 1;
constexpr int pathRole = Qt::UserRole + 2;

QString formatDate(const QDateTime &date)
{
    return QLocale().toString(date.toLocalTime(), QLocale::ShortFormat);
}

QTreeWidgetItem *rowFor(const ScanItem &item)
{
    auto *row = new QTreeWidgetItem({Paths::displayPath(item.url), ByteCountFormatter::format(item.size),
                                     item.modificationDate ? formatDate(*item.modificationDate) : QString(),
                                     item.badge.value_or(QString())});
    row->setData(0, itemIDRole, item.id);
    row->setData(0, pathRole, item.url);
    row->setToolTip(0, item.url);
    row->setTextAlignment(1, Qt::AlignRight | Qt::AlignVCenter);
    return row;
}

} // namespace

WorkflowResultsView::WorkflowResultsView(ScanState &state, Interaction &asker, QWidget *parent)
    : QDialog(parent), scans(&state), interaction(asker), icon(new QLabel(this)), title(new QLabel(this)),
      summary(new QLabel(this)), date(new QLabel(this)), counters(new QLabel(this)), thresholdLabel(new QLabel(this)),
      threshold(new QComboBox(this)), tree(new QTreeWidget(this)), emptyText(new QLabel(this)),
      reveal(new QPushButton(QStringLiteral("Reveal selected"), this)),
      copy(new QPushButton(QStringLiteral("Copy paths"), this)), move(new QPushButton(this))
{
    setObjectName(QStringLiteral("workflowResults"));
    resize(820, 560);
    auto *layout = new QVBoxLayout(this);

    auto *head = new QHBoxLayout;
    head->addWidget(icon, 0, Qt::AlignTop);
    auto *texts = new QVBoxLayout;
    Typography::makeHeading(title, 1.4);
    summary->setWordWrap(true);
    texts->addWidget(title);
    texts->addWidget(summary);
    texts->addWidget(date);
    head->addLayout(texts, 1);
    layout->addLayout(head);
    counters->setObjectName(QStringLiteral("counters"));
    layout->addWidget(counters);

    auto *thresholdRow = new QHBoxLayout;
    thresholdRow->addWidget(thresholdLabel);
    thresholdRow->addWidget(threshold);
    thresholdRow->addStretch(1);
    layout->addLayout(thresholdRow);

    tree->setHeaderLabels(
        {QStringLiteral("File"), QStringLiteral("Size"), QStringLiteral("Modified"), QStringLiteral("Result")});
    tree->setSelectionMode(QAbstractItemView::MultiSelection); // a click toggles a row
    tree->setRootIsDecorated(false);
    tree->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    layout->addWidget(tree, 1);
    emptyText->setWordWrap(true);
    emptyText->setAlignment(Qt::AlignCenter);
    layout->addWidget(emptyText, 1);

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(reveal);
    buttons->addWidget(copy);
    buttons->addWidget(move);
    buttons->addStretch(1);
    auto *done = new QPushButton(QStringLiteral("Done"), this);
    buttons->addWidget(done);
    layout->addLayout(buttons);

    connect(reveal, &QPushButton::clicked, this, &WorkflowResultsView::revealSelected);
    connect(copy, &QPushButton::clicked, this, &WorkflowResultsView::copyPaths);
    connect(move, &QPushButton::clicked, this, &WorkflowResultsView::confirmPlan);
    connect(done, &QPushButton::clicked, this, &QDialog::accept);
    connect(tree, &QTreeWidget::itemSelectionChanged, this, [this] {
        const bool any = !selectedItemIDs().isEmpty();
        reveal->setEnabled(any);
        copy->setEnabled(any);
    });
    connect(threshold, &QComboBox::activated, this, [this](int index) {
        if (!scans || !scans->activeReport())
            return;
        const int value = threshold->itemData(index).toInt();
        switch (scans->activeReport()->kind) {
        case ScanReport::Kind::stale:
            scans->setStaleThreshold(value);
            break;
        case ScanReport::Kind::large:
            scans->setLargeFileThreshold(value);
            break;
        case ScanReport::Kind::tidy:
            scans->setDownloadsTidyThreshold(value);
            break;
        default:
            break;
        }
    });
    // Closing the window dismisses the report.
    connect(this, &QDialog::finished, this, [this] {
        if (scans)
            scans->dismissReport();
    });
    connect(&state, &ScanState::activeReportChanged, this, &WorkflowResultsView::refresh);
    refresh();
}

void WorkflowResultsView::setOnExecutePlan(ExecutePlan execute)
{
    onExecutePlan = std::move(execute);
    refresh();
}

void WorkflowResultsView::refresh()
{
    if (!scans || !scans->activeReport())
        return;
    const ScanReport &report = *scans->activeReport();
    setWindowTitle(report.title);
    icon->setPixmap(Symbols::icon(ScanReport::symbol(report.kind)).pixmap(40, 40));
    title->setText(report.items.isEmpty() ? QStringLiteral("Nothing to report") : report.title);
    summary->setText(report.summary);
    date->setText(formatDate(report.generatedAt));

    QStringList parts{QStringLiteral("Items: %1").arg(report.items.size()),
                      QStringLiteral("Total size: %1").arg(ByteCountFormatter::format(report.totalSize()))};
    if (report.groups)
        parts.append(QStringLiteral("Groups: %1").arg(report.groups->size()));
    if (report.plannedMoves)
        parts.append(QStringLiteral("Planned moves: %1").arg(report.plannedMoves->size()));
    counters->setText(parts.join(QStringLiteral("   ·   ")));

    fillThreshold(report.kind);
    fillItems(report);

    const bool empty = report.items.isEmpty() && !(report.plannedMoves && !report.plannedMoves->isEmpty());
    tree->setVisible(!empty);
    emptyText->setVisible(empty);
    if (report.kind == ScanReport::Kind::tidy && report.plannedMoves)
        emptyText->setText(
            QStringLiteral("Nothing in this selection is old enough to archive. Try a shorter threshold, "
                           "or run on a folder rather than individual files.\n\nLooks at: PDFs, images, "
                           "archives, installers, audio, video, and docs."));
    else
        emptyText->setText(QStringLiteral("The scan completed and found nothing matching the criteria."));

    const qsizetype moves = report.plannedMoves ? report.plannedMoves->size() : 0;
    move->setVisible(report.plannedMoves.has_value() && onExecutePlan && moves > 0);
    move->setText(QStringLiteral("Move %1 file%2").arg(moves).arg(pluralSuffix(moves)));
    reveal->setEnabled(false);
    copy->setEnabled(false);
}

void WorkflowResultsView::fillThreshold(ScanReport::Kind kind)
{
    QList<ScanThresholds::Preset> presets;
    int current = 0;
    switch (kind) {
    case ScanReport::Kind::stale:
        thresholdLabel->setText(QStringLiteral("Show files older than"));
        presets = ScanThresholds::stalePresets();
        current = scans->staleThresholdDays();
        break;
    case ScanReport::Kind::large:
        thresholdLabel->setText(QStringLiteral("Show files larger than"));
        presets = ScanThresholds::largePresets();
        current = scans->largeFileThresholdMB();
        break;
    case ScanReport::Kind::tidy:
        thresholdLabel->setText(QStringLiteral("Archive files older than"));
        presets = ScanThresholds::tidyPresets();
        current = scans->downloadsTidyThresholdDays();
        break;
    default:
        break;
    }
    // Reports of the tidy kind that carry no planned moves (comment cleanup, refresh) have no threshold.
    const bool shown = !presets.isEmpty() && !(kind == ScanReport::Kind::tidy && !scans->activeReport()->plannedMoves);
    thresholdLabel->setVisible(shown);
    threshold->setVisible(shown);
    threshold->clear();
    for (const auto &preset : presets)
        threshold->addItem(preset.label, preset.value);
    threshold->setCurrentIndex(threshold->findData(current));
}

void WorkflowResultsView::fillItems(const ScanReport &report)
{
    tree->clear();
    // A planned move is shown on the row of the file it moves: where it goes and why.
    QHash<QString, PlannedMove> moveOf;
    for (const PlannedMove &planned : report.plannedMoves.value_or(QList<PlannedMove>()))
        moveOf.insert(planned.source, planned);
    const auto row = [&moveOf](const ScanItem &item) {
        QTreeWidgetItem *shown = rowFor(item);
        if (const auto found = moveOf.constFind(item.url); found != moveOf.constEnd()) {
            shown->setText(3, QStringLiteral("→ %1").arg(Paths::displayPath(QFileInfo(found->destination).path())));
            shown->setToolTip(3, QStringLiteral("%1, %2").arg(Paths::displayPath(found->destination), found->reason));
        }
        return shown;
    };
    // A report may carry an empty group list (a transfer's); its rows then stand on their own.
    if (report.groups && !report.groups->isEmpty()) {
        tree->setRootIsDecorated(true);
        for (const ScanGroup &group : *report.groups) {
            auto *header = new QTreeWidgetItem({group.label});
            header->setFlags(Qt::ItemIsEnabled);
            QFont bold = header->font(0);
            bold.setBold(true);
            header->setFont(0, bold);
            for (const ScanItem &item : report.items) {
                if (item.groupID == group.id)
                    header->addChild(row(item));
            }
            tree->addTopLevelItem(header);
            header->setExpanded(true);
        }
    } else {
        tree->setRootIsDecorated(false);
        for (const ScanItem &item : report.items)
            tree->addTopLevelItem(row(item));
    }
    tree->resizeColumnToContents(1);
    tree->resizeColumnToContents(2);
}

QSet<QUuid> WorkflowResultsView::selectedItemIDs() const
{
    QSet<QUuid> ids;
    for (const QTreeWidgetItem *row : tree->selectedItems()) {
        if (const QVariant id = row->data(0, itemIDRole); id.isValid())
            ids.insert(id.toUuid());
    }
    return ids;
}

QStringList WorkflowResultsView::selectedPaths() const
{
    // In the report's order, whatever order the rows were clicked in.
    QStringList paths;
    if (!scans || !scans->activeReport())
        return paths;
    const QSet<QUuid> selected = selectedItemIDs();
    for (const ScanItem &item : scans->activeReport()->items) {
        if (selected.contains(item.id))
            paths.append(item.url);
    }
    return paths;
}

QString WorkflowResultsView::counterText(const QString &name) const
{
    for (const QString &part : counters->text().split(QStringLiteral("   ·   "))) {
        if (part.startsWith(name + QStringLiteral(": ")))
            return part.mid(name.size() + 2);
    }
    return {};
}

void WorkflowResultsView::revealSelected()
{
    Reveal::showItems(selectedPaths());
}

void WorkflowResultsView::copyPaths()
{
    QApplication::clipboard()->setText(selectedPaths().join(QLatin1Char('\n')));
}

void WorkflowResultsView::confirmPlan()
{
    if (!scans || !scans->activeReport() || !scans->activeReport()->plannedMoves || !onExecutePlan)
        return;
    const ScanReport report = *scans->activeReport();
    if (interaction.alert(TidyPlan::confirmation(report)) == 0)
        onExecutePlan(report);
}
