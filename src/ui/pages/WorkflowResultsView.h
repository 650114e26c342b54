#pragma once

#include "scan/ScanReport.h"

#include <QDialog>
#include <QPointer>
#include <QSet>
#include <QUuid>

#include <functional>

class ScanState;
class Interaction;
class QComboBox;
class QLabel;
class QPushButton;
class QTreeWidget;

// The one results window of every scan: head, counters, the items (under their
// groups when there are groups), and what can be done with a selection. It
// never deletes: rows are revealed or copied, and the user acts in the file manager.
class WorkflowResultsView : public QDialog {
    Q_OBJECT
public:
    using ExecutePlan = std::function<void(const ScanReport &)>;

    WorkflowResultsView(ScanState &scans, Interaction &interaction, QWidget *parent = nullptr);

    // Runs the planned moves once the user confirms; without it no move button shows.
    void setOnExecutePlan(ExecutePlan execute);

    QTreeWidget *itemsTree() const { return tree; }
    QLabel *titleLabel() const { return title; }
    QLabel *summaryLabel() const { return summary; }
    QComboBox *thresholdPicker() const { return threshold; }
    QPushButton *moveButton() const { return move; }
    QSet<QUuid> selectedItemIDs() const;
    QStringList selectedPaths() const;
    QString counterText(const QString &name) const;

    void revealSelected();
    void copyPaths();

private:
    void refresh();
    void fillItems(const ScanReport &report);
    void fillThreshold(ScanReport::Kind kind);
    void confirmPlan();

    QPointer<ScanState> scans;
    Interaction &interaction;
    ExecutePlan onExecutePlan;
    QLabel *icon;
    QLabel *title;
    QLabel *summary;
    QLabel *date;
    QLabel *counters;
    QLabel *thresholdLabel;
    QComboBox *threshold;
    QTreeWidget *tree;
    QLabel *emptyText;
    QPushButton *reveal;
    QPushButton *copy;
    QPushButton *move;
};
