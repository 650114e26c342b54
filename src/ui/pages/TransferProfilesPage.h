#pragma once

#include "transfer/rules/TransferProfile.h"

#include <QPointer>
#include <QWidget>

#include <optional>

class AppState;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QStackedWidget;
class TransferRulesEditor;

// The transfer profiles: the library on the left, newest first, and the selected profile's editor on
// the right. The editor works on a copy that only Save writes.
class TransferProfilesPage : public QWidget {
    Q_OBJECT
public:
    explicit TransferProfilesPage(AppState &state, QWidget *parent = nullptr);

    QListWidget *profileList() const { return list; }
    QLineEdit *nameField() const { return nameEdit; }
    QLineEdit *summaryField() const { return summaryEdit; }
    TransferRulesEditor *rulesEditor() const { return rules; }
    QComboBox *conflictPicker() const { return conflict; }
    QLineEdit *suffixField() const { return suffix; }
    QCheckBox *annotateBox() const { return annotate; }
    QPushButton *button(const QString &objectName) const;
    // The empty library's two lines, on show when there is no profile.
    QWidget *emptyState() const { return empty; }
    // The copy the editor works on, when a profile is selected.
    const std::optional<TransferProfile> &workingCopy() const { return working; }

private:
    void refreshList();
    void followSelection();
    void showWorkingCopy();
    void edited();
    void save();
    void revert();
    std::optional<TransferProfile> selected() const;

    QPointer<AppState> state;
    QListWidget *list;
    QWidget *empty;
    QStackedWidget *editor;
    QLineEdit *nameEdit;
    QLineEdit *summaryEdit;
    TransferRulesEditor *rules;
    QComboBox *conflict;
    QLineEdit *suffix;
    QCheckBox *annotate;
    QPushButton *saveButton;
    QPushButton *revertButton;
    std::optional<TransferProfile> working;
};
