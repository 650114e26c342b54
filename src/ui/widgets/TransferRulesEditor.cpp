#include "ui/widgets/TransferRulesEditor.h"

#include "foundation/Interaction.h"
#include "platform/Paths.h"
#include "ui/widgets/Typography.h"

#include <QComboBox>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpressionValidator>
#include <QToolButton>
#include <QVBoxLayout>

using namespace RuleEditing;

namespace {

QToolButton *toolButton(const QString &text, const QString &objectName, const QString &tip, QWidget *parent)
{
    auto *button = new QToolButton(parent);
    button->setText(text);
    button->setObjectName(objectName);
    button->setToolTip(tip);
    button->setAutoRaise(true);
    return button;
}

} // namespace

TransferRulesEditor::TransferRulesEditor(Interaction &interaction, QWidget *parent)
    : QWidget(parent), asker(interaction), headerLabel(new QLabel(this)), cardsLayout(new QVBoxLayout)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    headerLabel->setObjectName(QStringLiteral("rulesHeader"));
    Typography::makeHeading(headerLabel, 1.1);
    layout->addWidget(headerLabel);
    layout->addLayout(cardsLayout);
    auto *addRule = new QPushButton(QStringLiteral("Add Rule"), this);
    addRule->setObjectName(QStringLiteral("addRule"));
    layout->addWidget(addRule, 0, Qt::AlignLeft);
    // Extra height goes below the cards, so a short profile's cards keep their natural size.
    layout->addStretch(1);
    connect(addRule, &QPushButton::clicked, this,
            [this] { change([](TransferProfile &p) { p.rules.append(RuleEditing::newRule()); }, true); });
    rebuild();
}

void TransferRulesEditor::setProfile(const TransferProfile &profile)
{
    current = profile;
    joinings.clear();
    folders.clear();
    rebuild();
}

QList<QWidget *> TransferRulesEditor::ruleCards() const
{
    return cards ? cards->findChildren<QWidget *>(QStringLiteral("ruleCard"), Qt::FindDirectChildrenOnly)
                 : QList<QWidget *>();
}

void TransferRulesEditor::change(const std::function<void(TransferProfile &)> &edit, bool reshape)
{
    edit(current);
    if (reshape)
        rebuild();
    emit edited();
}

void TransferRulesEditor::editConditions(qsizetype rule, const std::function<void(Conditions &)> &edit, bool reshape)
{
    change(
        [this, rule, &edit](TransferProfile &p) {
            TransferRule &target = p.rules[rule];
            Conditions conditions = conditionsOf(target.match);
            if (conditions.list.size() < 2)
                conditions.joining = joinings.value(target.id, Joining::all);
            edit(conditions);
            if (conditions.list.size() > 1)
                joinings.insert(target.id, conditions.joining);
            target.match = matchOf(conditions);
        },
        reshape);
}

void TransferRulesEditor::rebuild()
{
    headerLabel->setText(rulesHeader(current.rules.size()));
    // The old cards may be what asked for this (a button inside them), so they go once it has returned.
    if (cards) {
        cards->hide();
        cards->setParent(nullptr);
        cards->deleteLater();
    }
    cards = new QWidget(this);
    auto *layout = new QVBoxLayout(cards);
    layout->setContentsMargins(0, 0, 0, 0);
    for (qsizetype index = 0; index < current.rules.size(); ++index)
        layout->addWidget(ruleCard(index, cards));
    cardsLayout->addWidget(cards);
}

QWidget *TransferRulesEditor::ruleCard(qsizetype index, QWidget *parent)
{
    const TransferRule &rule = current.rules[index];
    auto *card = new QFrame(parent);
    card->setObjectName(QStringLiteral("ruleCard"));
    card->setFrameShape(QFrame::StyledPanel);
    auto *layout = new QVBoxLayout(card);

    auto *top = new QHBoxLayout;
    top->addWidget(new QLabel(QStringLiteral("<b>Rule %1</b>").arg(index + 1), card));
    top->addStretch(1);
    auto *up = toolButton(QStringLiteral("↑"), QStringLiteral("moveRuleUp"), QStringLiteral("Move up"), card);
    auto *down = toolButton(QStringLiteral("↓"), QStringLiteral("moveRuleDown"), QStringLiteral("Move down"), card);
    auto *remove =
        toolButton(QStringLiteral("Remove"), QStringLiteral("removeRule"), QStringLiteral("Remove this rule"), card);
    up->setEnabled(index > 0);
    down->setEnabled(index + 1 < current.rules.size());
    for (QToolButton *button : {up, down, remove})
        top->addWidget(button);
    layout->addLayout(top);
    connect(up, &QToolButton::clicked, this,
            [this, index] { change([index](TransferProfile &p) { p.rules.swapItemsAt(index, index - 1); }, true); });
    connect(down, &QToolButton::clicked, this,
            [this, index] { change([index](TransferProfile &p) { p.rules.swapItemsAt(index, index + 1); }, true); });
    connect(remove, &QToolButton::clicked, this,
            [this, index] { change([index](TransferProfile &p) { p.rules.removeAt(index); }, true); });

    const Conditions conditions = conditionsOf(rule.match);
    const Joining joining = conditions.list.size() > 1 ? conditions.joining : joinings.value(rule.id, Joining::all);
    if (conditions.list.size() > 1) {
        auto *matchRow = new QHBoxLayout;
        matchRow->addWidget(new QLabel(QStringLiteral("Match"), card));
        auto *picker = new QComboBox(card);
        picker->setObjectName(QStringLiteral("joiningPicker"));
        picker->addItems({joiningLabel(Joining::any), joiningLabel(Joining::all)});
        picker->setCurrentIndex(joining == Joining::any ? 0 : 1);
        matchRow->addWidget(picker);
        matchRow->addWidget(new QLabel(QStringLiteral("of the following:"), card));
        matchRow->addStretch(1);
        layout->addLayout(matchRow);
        connect(picker, &QComboBox::currentIndexChanged, this, [this, index](int choice) {
            editConditions(
                index, [choice](Conditions &c) { c.joining = choice == 0 ? Joining::any : Joining::all; }, true);
        });
    }
    for (qsizetype condition = 0; condition < qsizetype(conditions.list.size()); ++condition)
        layout->addWidget(conditionRow(index, condition, qsizetype(conditions.list.size()), card));
    auto *addCondition = new QPushButton(addConditionLabel(joining), card);
    addCondition->setObjectName(QStringLiteral("addCondition"));
    layout->addWidget(addCondition, 0, Qt::AlignLeft);
    connect(addCondition, &QPushButton::clicked, this, [this, index] {
        editConditions(
            index, [](Conditions &c) { c.list.push_back(conditionFrom(ConditionKind::extensionEquals, {})); }, true);
    });
    layout->addWidget(actionRow(index, card));
    return card;
}

QWidget *TransferRulesEditor::conditionRow(qsizetype rule, qsizetype condition, qsizetype count, QWidget *parent)
{
    const RuleMatch match = conditionsOf(current.rules[rule].match).list[size_t(condition)];
    auto *row = new QWidget(parent);
    row->setObjectName(QStringLiteral("conditionRow"));
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    const std::optional<ConditionKind> kind = kindOf(match);
    if (kind) {
        const ConditionKindInfo &info = infoOf(*kind);
        auto *picker = new QComboBox(row);
        picker->setObjectName(QStringLiteral("conditionPicker"));
        for (const ConditionKindInfo &each : conditionKinds())
            picker->addItem(each.label);
        picker->setCurrentIndex(int(*kind));
        auto *field = new QLineEdit(textOf(match), row);
        field->setObjectName(QStringLiteral("conditionField"));
        field->setPlaceholderText(info.placeholder);
        // Sizes and days are whole numbers; anything else would be held as 0 without a word.
        if (*kind == ConditionKind::sizeGreaterThan || *kind == ConditionKind::modifiedOlderThanDays)
            field->setValidator(new QRegularExpressionValidator(QRegularExpression(QStringLiteral("\\d{0,9}")), field));
        layout->addWidget(picker);
        layout->addWidget(field, 1);
        if (!info.unit.isEmpty())
            layout->addWidget(new QLabel(info.unit, row));
        connect(picker, &QComboBox::currentIndexChanged, this, [this, rule, condition, field](int choice) {
            const QString text = field->text();
            editConditions(
                rule,
                [&](Conditions &c) {
                    RuleMatch &target = c.list[size_t(condition)];
                    target = conditionFrom(ConditionKind(choice), text, &target);
                },
                true);
        });
        connect(field, &QLineEdit::textChanged, this, [this, rule, condition, picker](const QString &text) {
            editConditions(
                rule,
                [&](Conditions &c) {
                    RuleMatch &target = c.list[size_t(condition)];
                    target = conditionFrom(ConditionKind(picker->currentIndex()), text, &target);
                },
                false);
        });
    } else {
        // A group inside the group comes only from a file; it is kept whole, and can be removed.
        const qsizetype inner = qsizetype(conditionsOf(match).list.size());
        auto *label = new QLabel(QStringLiteral("A group of %1 condition%2 from the imported file")
                                     .arg(inner)
                                     .arg(inner == 1 ? QString() : QStringLiteral("s")),
                                 row);
        label->setObjectName(QStringLiteral("conditionGroup"));
        layout->addWidget(label, 1);
    }
    auto *remove = toolButton(QStringLiteral("−"), QStringLiteral("removeCondition"),
                              QStringLiteral("Remove this condition"), row);
    // A rule keeps at least one condition: an empty one would match nothing and say nothing.
    remove->setEnabled(count > 1);
    layout->addWidget(remove);
    connect(remove, &QToolButton::clicked, this, [this, rule, condition] {
        editConditions(
            rule, [condition](Conditions &c) { c.list.erase(c.list.begin() + condition); }, true);
    });
    return row;
}

QWidget *TransferRulesEditor::actionRow(qsizetype rule, QWidget *parent)
{
    const RuleAction &action = current.rules[rule].action;
    auto *row = new QWidget(parent);
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    auto *picker = new QComboBox(row);
    picker->setObjectName(QStringLiteral("actionPicker"));
    for (ActionKind kind : {ActionKind::moveTo, ActionKind::copyTo, ActionKind::skip})
        picker->addItem(actionLabel(kind));
    picker->setCurrentIndex(int(kindOf(action)));
    layout->addWidget(picker);
    auto *path = new QLineEdit(pathOf(action), row);
    path->setObjectName(QStringLiteral("actionPath"));
    path->setPlaceholderText(QStringLiteral("~/Documents"));
    auto *choose = new QPushButton(QStringLiteral("Choose…"), row);
    choose->setObjectName(QStringLiteral("chooseFolder"));
    const bool hasFolder = kindOf(action) != ActionKind::skip;
    path->setVisible(hasFolder);
    choose->setVisible(hasFolder);
    layout->addWidget(path, 1);
    layout->addWidget(choose);
    if (!hasFolder)
        layout->addStretch(1);

    connect(picker, &QComboBox::currentIndexChanged, this, [this, rule](int choice) {
        change(
            [this, rule, choice](TransferProfile &p) {
                TransferRule &target = p.rules[rule];
                if (kindOf(target.action) != ActionKind::skip)
                    folders.insert(target.id, pathOf(target.action));
                target.action = actionFrom(ActionKind(choice), folders.value(target.id));
            },
            true);
    });
    connect(path, &QLineEdit::textChanged, this, [this, rule](const QString &text) {
        change(
            [rule, &text](TransferProfile &p) {
                TransferRule &target = p.rules[rule];
                target.action = actionFrom(kindOf(target.action), text);
            },
            false);
    });
    connect(choose, &QPushButton::clicked, this, [this, rule] { pickFolder(rule); });
    return row;
}

void TransferRulesEditor::pickFolder(qsizetype rule)
{
    PanelRequest panel;
    panel.title = QStringLiteral("Pick a destination folder");
    panel.message = QStringLiteral("Files matching this rule will land here.");
    panel.prompt = QStringLiteral("Use Folder");
    panel.canChooseFiles = false;
    panel.canChooseDirectories = true;
    panel.canCreateDirectories = true;
    QString shown = pathOf(current.rules[rule].action);
    if (shown.startsWith(QLatin1Char('~')))
        shown = Paths::home() + shown.mid(1);
    panel.directory = shown;
    const QStringList chosen = asker.panel(panel);
    if (chosen.isEmpty())
        return;
    const QString typed = folderAsTyped(chosen.first(), Paths::home());
    change(
        [rule, &typed](TransferProfile &p) {
            TransferRule &target = p.rules[rule];
            target.action = actionFrom(kindOf(target.action), typed);
        },
        true);
}
