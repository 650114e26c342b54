#include "ui/pages/TransferProfilesPage.h"

#include "app/AppState.h"
#include "transfer/rules/RuleEditing.h"
#include "transfer/rules/TransferProfileStore.h"
#include "ui/widgets/DiagTracked.h"
#include "ui/widgets/TransferRulesEditor.h"
#include "ui/widgets/Typography.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScrollArea>
#include <QStackedWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace {

using PolicyName = ProfileDefaults::ConflictPolicyName;
const QList<PolicyName> policies{PolicyName::renameWithSuffix, PolicyName::skip, PolicyName::overwrite};

QPushButton *trackedButton(const QString &text, const QString &source, AppState &state, QWidget *parent)
{
    auto *button = new QPushButton(text, parent);
    button->setObjectName(source);
    DiagTracked::track(button, state.diagnosticLog(), source);
    return button;
}

QLabel *wrapped(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignCenter);
    return label;
}

} // namespace

TransferProfilesPage::TransferProfilesPage(AppState &appState, QWidget *parent)
    : QWidget(parent), state(&appState), list(new QListWidget(this)), empty(new QWidget(this)),
      editor(new QStackedWidget(this)), nameEdit(new QLineEdit(this)), summaryEdit(new QLineEdit(this)),
      rules(new TransferRulesEditor(appState.interaction(), this)), conflict(new QComboBox(this)),
      suffix(new QLineEdit(this)), annotate(new QCheckBox(QStringLiteral("Annotate source comments"), this)),
      saveButton(
          trackedButton(QStringLiteral("Save"), QStringLiteral("TransferProfileEditor.saveButton"), appState, this)),
      revertButton(
          trackedButton(QStringLiteral("Revert"), QStringLiteral("TransferProfileEditor.revertButton"), appState, this))
{
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(Typography::heading(QStringLiteral("Transfer Profiles"), this));

    // The library: the list (or its empty state) and the buttons under it.
    auto *library = new QWidget(this);
    auto *libraryLayout = new QVBoxLayout(library);
    libraryLayout->setContentsMargins(0, 0, 0, 0);
    auto *emptyLayout = new QVBoxLayout(empty);
    emptyLayout->addStretch(1);
    auto *noProfiles = Typography::heading(QStringLiteral("No profiles yet."), empty, 1.2);
    noProfiles->setObjectName(QStringLiteral("emptyTitle"));
    noProfiles->setAlignment(Qt::AlignCenter);
    emptyLayout->addWidget(noProfiles);
    auto *hint = wrapped(QStringLiteral("Click + below to author your first routing profile, or drag a "
                                        ".vantreltransfer file onto Vantrel to import one."),
                         empty);
    hint->setObjectName(QStringLiteral("emptyText"));
    emptyLayout->addWidget(hint);
    emptyLayout->addStretch(1);
    libraryLayout->addWidget(list, 1);
    libraryLayout->addWidget(empty, 1);
    auto *libraryButtons = new QHBoxLayout;
    auto *add = trackedButton(QStringLiteral("+"), QStringLiteral("TransferProfilesView.addButton"), appState, library);
    add->setToolTip(QStringLiteral("New profile"));
    auto *duplicate = trackedButton(QStringLiteral("Duplicate"), QStringLiteral("TransferProfilesView.duplicateButton"),
                                    appState, library);
    auto *remove = trackedButton(QStringLiteral("Delete…"), QStringLiteral("TransferProfilesView.deleteButton"),
                                 appState, library);
    auto *import = trackedButton(QStringLiteral("Import…"), QStringLiteral("TransferProfilesView.importButton"),
                                 appState, library);
    auto *exportButton = trackedButton(QStringLiteral("Export…"), QStringLiteral("TransferProfilesView.exportButton"),
                                       appState, library);
    for (QPushButton *button : {add, duplicate, remove, import, exportButton})
        libraryButtons->addWidget(button);
    libraryButtons->addStretch(1);
    libraryLayout->addLayout(libraryButtons);

    // The editor: nothing selected, or the working copy.
    auto *none = new QWidget(editor);
    auto *noneLayout = new QVBoxLayout(none);
    noneLayout->addStretch(1);
    noneLayout->addWidget(wrapped(QStringLiteral("Pick a profile on the left to edit it."), none));
    noneLayout->addStretch(1);
    auto *details = new QWidget(editor);
    auto *detailsLayout = new QVBoxLayout(details);
    auto *fields = new QFormLayout;
    nameEdit->setObjectName(QStringLiteral("profileName"));
    summaryEdit->setObjectName(QStringLiteral("profileSummary"));
    fields->addRow(QStringLiteral("Name"), nameEdit);
    fields->addRow(QStringLiteral("Summary"), summaryEdit);
    detailsLayout->addLayout(fields);
    auto *scroll = new QScrollArea(details);
    scroll->setWidgetResizable(true);
    scroll->setWidget(rules);
    detailsLayout->addWidget(scroll, 1);
    auto *defaults = new QFormLayout;
    for (PolicyName name : policies)
        conflict->addItem(RuleEditing::conflictPolicyLabel(name));
    defaults->addRow(QStringLiteral("When a file exists"), conflict);
    defaults->addRow(QStringLiteral("Rename suffix"), suffix);
    defaults->addRow(QString(), annotate);
    detailsLayout->addLayout(defaults);
    auto *footer = new QHBoxLayout;
    footer->addWidget(new QLabel(QStringLiteral("Changes are saved when you click Save."), details), 1);
    footer->addWidget(revertButton);
    footer->addWidget(saveButton);
    detailsLayout->addLayout(footer);
    editor->addWidget(none);
    editor->addWidget(details);

    auto *body = new QHBoxLayout;
    body->addWidget(library, 1);
    body->addWidget(editor, 2);
    layout->addLayout(body, 1);

    connect(add, &QPushButton::clicked, this, [this] {
        if (state)
            state->addTransferProfile(TransferProfileStore::newProfile());
    });
    connect(duplicate, &QPushButton::clicked, this, [this] {
        if (const auto profile = selected())
            state->addTransferProfile(TransferProfileStore::duplicate(*profile));
    });
    connect(remove, &QPushButton::clicked, this, [this] {
        if (const auto profile = selected())
            state->deleteTransferProfile(profile->id);
    });
    connect(import, &QPushButton::clicked, this, [this] {
        if (state)
            state->importTransferProfileFromDisk();
    });
    connect(exportButton, &QPushButton::clicked, this, [this] {
        if (const auto profile = selected())
            state->exportTransferProfileToDisk(profile->id);
    });
    connect(saveButton, &QPushButton::clicked, this, &TransferProfilesPage::save);
    connect(revertButton, &QPushButton::clicked, this, &TransferProfilesPage::revert);
    connect(nameEdit, &QLineEdit::textEdited, this, &TransferProfilesPage::edited);
    connect(summaryEdit, &QLineEdit::textEdited, this, &TransferProfilesPage::edited);
    connect(suffix, &QLineEdit::textEdited, this, &TransferProfilesPage::edited);
    connect(conflict, &QComboBox::activated, this, &TransferProfilesPage::edited);
    connect(annotate, &QCheckBox::clicked, this, &TransferProfilesPage::edited);
    connect(rules, &TransferRulesEditor::edited, this, &TransferProfilesPage::edited);
    connect(list, &QListWidget::currentRowChanged, this, [this](int row) {
        if (!state || row < 0)
            return;
        const QList<TransferProfile> &profiles = state->transferProfileStore().profiles();
        if (row < profiles.size())
            state->setTransferProfileSelection(profiles[row].id);
    });
    connect(&appState.transferProfileStore(), &TransferProfileStore::profilesChanged, this,
            &TransferProfilesPage::refreshList);
    connect(&appState, &AppState::transferProfileSelectionChanged, this, &TransferProfilesPage::followSelection);
    followSelection();
}

QPushButton *TransferProfilesPage::button(const QString &objectName) const
{
    return findChild<QPushButton *>(objectName);
}

std::optional<TransferProfile> TransferProfilesPage::selected() const
{
    if (!state || !state->transferProfileSelection())
        return std::nullopt;
    return state->transferProfile(*state->transferProfileSelection());
}

void TransferProfilesPage::refreshList()
{
    if (!state)
        return;
    const QList<TransferProfile> &profiles = state->transferProfileStore().profiles();
    {
        const QSignalBlocker blocker(list);
        list->clear();
        for (const TransferProfile &profile : profiles) {
            auto *item = new QListWidgetItem(profile.name + QLatin1Char('\n') + profile.summary, list);
            item->setToolTip(RuleEditing::rulesHeader(profile.rules.size()));
        }
    }
    list->setVisible(!profiles.isEmpty());
    empty->setVisible(profiles.isEmpty());
    const auto current = selected();
    const int row = current ? int(std::find_if(profiles.cbegin(), profiles.cend(),
                                               [&current](const TransferProfile &p) { return p.id == current->id; }) -
                                  profiles.cbegin())
                            : -1;
    const QSignalBlocker blocker(list);
    list->setCurrentRow(row);
}

void TransferProfilesPage::followSelection()
{
    refreshList();
    const auto profile = selected();
    for (const char *name : {"TransferProfilesView.duplicateButton", "TransferProfilesView.deleteButton",
                             "TransferProfilesView.exportButton"})
        button(QString::fromLatin1(name))->setEnabled(profile.has_value());
    // A different profile starts a fresh copy; the same one (saved elsewhere, say) keeps the edits.
    if (profile && working && working->id == profile->id)
        return;
    working = profile;
    showWorkingCopy();
}

void TransferProfilesPage::showWorkingCopy()
{
    editor->setCurrentIndex(working ? 1 : 0);
    if (working) {
        nameEdit->setText(working->name);
        summaryEdit->setText(working->summary);
        rules->setProfile(*working);
        conflict->setCurrentIndex(int(policies.indexOf(working->defaults.conflictPolicy)));
        suffix->setText(working->defaults.renameSuffix);
        annotate->setChecked(working->defaults.annotateSourceComments);
    }
    edited();
}

void TransferProfilesPage::edited()
{
    if (working) {
        working->name = nameEdit->text();
        working->summary = summaryEdit->text();
        working->rules = rules->profile().rules;
        working->defaults.conflictPolicy = policies.value(conflict->currentIndex(), PolicyName::renameWithSuffix);
        working->defaults.renameSuffix = suffix->text();
        working->defaults.annotateSourceComments = annotate->isChecked();
    }
    const auto stored = selected();
    const bool changed = working && stored && *working != *stored;
    saveButton->setEnabled(changed);
    revertButton->setEnabled(changed);
}

void TransferProfilesPage::save()
{
    if (!state || !working)
        return;
    // A copy the disk refused stays on show with its edits, to try again; the banner says why.
    if (const auto failure = state->transferProfileStore().save(*working)) {
        state->showFailure(QStringLiteral("Couldn't save “%1”: %2").arg(working->name, *failure));
        return;
    }
    working = selected();
    showWorkingCopy();
}

void TransferProfilesPage::revert()
{
    working = selected();
    showWorkingCopy();
}
