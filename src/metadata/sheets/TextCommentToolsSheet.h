#pragma once

#include "foundation/Session.h"
#include "metadata/sheets/SheetContexts.h"
#include "metadata/sheets/TextCommentActions.h"

// What the Text & Comment Tools sheet shows and does: one of six operations on
// the names or comments of the selected files, with a before and after of the
// first file.
class TextCommentToolsSheet : public Session {
    Q_OBJECT
public:
    enum class ActionKind {
        prependFilename,
        appendFilename,
        replaceInFilename,
        addToComment,
        removeFromComment,
        clearComment
    };
    static QList<ActionKind> allActionKinds();
    // The raw value, which is the label.
    static QString toString(ActionKind kind);
    static std::optional<ActionKind> actionKindFromString(const QString &raw);
    // The case's own name, "prependFilename", as scripts give it.
    static QString caseName(ActionKind kind);
    static std::optional<ActionKind> actionKindFromCaseName(const QString &name);
    static QString systemImage(ActionKind kind);
    static QString help(ActionKind kind);
    static bool isRename(ActionKind kind);

    struct SeparatorChoice {
        QString label;
        QString value;
        bool operator==(const SeparatorChoice &) const = default;
    };
    static const QList<SeparatorChoice> &separators();

    // A text box of the form: its label and its placeholder.
    struct FormField {
        QString label;
        QString placeholder;
        bool operator==(const FormField &) const = default;
    };

    TextCommentToolsSheet(SessionHost &host, TextCommentToolsContext context, QObject *parent = nullptr);

    const TextCommentToolsContext &context() const { return sheetContext; }
    ActionKind action() const { return kind; }
    void setAction(ActionKind value);
    QString primary() const { return primaryText; }
    void setPrimary(const QString &value);
    QString replacement() const { return replacementText; }
    void setReplacement(const QString &value);
    QString separator() const { return separatorText; }
    void setSeparator(const QString &value);

    // "3 files selected"
    QString subtitle() const;
    // The primary field and, for find and replace, the second one.
    FormField primaryField() const;
    std::optional<FormField> replacementField() const;
    bool showsSeparators() const;
    // What the separator does, under the choices; empty for the other actions.
    QString separatorNote() const;
    // "This action can't be undone. Affected files: 3." for clearComment.
    QString warning() const;
    // The first file before and after; nothing without targets.
    std::optional<QString> previewBefore() const;
    std::optional<QString> previewAfter() const;
    // Why the rename can't go ahead: text that can't be in a name, or a file that
    // would get a name that isn't one. Shown in the sheet; Apply waits until it's gone.
    std::optional<QString> problem() const;
    bool canApply() const;
    QString applyLabel() const;
    TextCommentActions::TextCommentAction makeAction() const;

    // Carries out the action on every target and closes; does nothing while it can't apply.
    void apply();

    QString title() const override;
    // action (the case name or the label), primary, replacement, separator (the value or its label).
    QList<Field> fields() override;
    // The primary text is needed by every action but clearComment, and a rename must be possible.
    std::optional<QString> missingFields(const QStringList &set) override;
    std::optional<QString> perform() override;
    QJsonObject toJson() const override;

private:
    TextCommentToolsContext sheetContext;
    ActionKind kind = ActionKind::prependFilename;
    QString primaryText;
    QString replacementText;
    QString separatorText;
};
