#pragma once

#include "transfer/rules/RuleEditing.h"
#include "transfer/rules/TransferProfile.h"

#include <QHash>
#include <QPointer>
#include <QUuid>
#include <QWidget>

#include <functional>

class Interaction;
class QLabel;
class QVBoxLayout;

// Edits the ordered rules of a profile: each rule's conditions and what becomes of a matching file. The
// Transfer Profiles screen and the one-off rules of Route by Config both use it; it changes only its own
// copy, and says so through `edited()`.
class TransferRulesEditor : public QWidget {
    Q_OBJECT
public:
    explicit TransferRulesEditor(Interaction &interaction, QWidget *parent = nullptr);

    void setProfile(const TransferProfile &profile);
    const TransferProfile &profile() const { return current; }

    QLabel *header() const { return headerLabel; }
    // The rule cards on show, in order; each holds its controls by object name.
    QList<QWidget *> ruleCards() const;

signals:
    void edited();

private:
    void rebuild();
    QWidget *ruleCard(qsizetype index, QWidget *parent);
    QWidget *conditionRow(qsizetype rule, qsizetype condition, qsizetype count, QWidget *parent);
    QWidget *actionRow(qsizetype rule, QWidget *parent);
    // Applies a change to the copy; a change of shape lays the cards out again, a keystroke doesn't, so
    // the field keeps its focus.
    void change(const std::function<void(TransferProfile &)> &edit, bool reshape);
    void editConditions(qsizetype rule, const std::function<void(RuleEditing::Conditions &)> &edit, bool reshape);
    void pickFolder(qsizetype rule);

    Interaction &asker;
    TransferProfile current;
    // The joining a rule had when it last held several conditions, and the folder it had before Skip, so
    // going back and forth loses nothing.
    QHash<QUuid, RuleEditing::Joining> joinings;
    QHash<QUuid, QString> folders;
    QLabel *headerLabel;
    QVBoxLayout *cardsLayout;
    QPointer<QWidget> cards;
};
