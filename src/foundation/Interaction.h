#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

// Controls an alert carries under its text: a checkbox, an editable line below it, a hint, and a
// preview of what the line's text becomes, which follows every keystroke.
struct AlertAccessory {
    // The names a script answers the two values by (`--set NAME=VALUE`).
    QString checkboxName;
    QString checkboxLabel;
    bool checked = true;
    QString fieldName;
    QString fieldText;
    QString hint;
    QString previewPrefix;
    // What the preview shows for the field's text.
    std::function<QString(const QString &)> preview;

    // Everything but the preview, which is behaviour rather than content.
    bool operator==(const AlertAccessory &other) const
    {
        return checkboxName == other.checkboxName && checkboxLabel == other.checkboxLabel && checked == other.checked &&
               fieldName == other.fieldName && fieldText == other.fieldText && hint == other.hint &&
               previewPrefix == other.previewPrefix;
    }
};

// A modal confirmation. The first button is the action; the last is the safe way out.
struct AlertRequest {
    enum class Style { warning, informational };

    QString message;
    QString informativeText;
    QStringList buttons;
    Style style = Style::warning;
    std::optional<AlertAccessory> accessory = std::nullopt;
    // A first button that can't be taken back (originals to the Trash) is never given by a blanket yes;
    // a script has to name it.
    bool needsExplicitAnswer = false;
    bool operator==(const AlertRequest &) const = default;

    static QString toString(Style style)
    {
        return style == Style::warning ? QStringLiteral("warning") : QStringLiteral("informational");
    }
};

// The button chosen, with the accessory's values as the person left them.
struct AlertAnswer {
    int button = 0;
    bool checked = false;
    QString fieldText;
    bool operator==(const AlertAnswer &) const = default;
};

// An open or save panel.
struct PanelRequest {
    enum class Mode { open, save };
    Mode mode = Mode::open;
    QString title;
    QString prompt;
    QString message;
    bool allowsMultipleSelection = false;
    bool canChooseFiles = true;
    bool canChooseDirectories = false;
    bool canCreateDirectories = false;
    QString directory;
    QString suggestedName;
    bool operator==(const PanelRequest &) const = default;

    bool choosesFoldersOnly() const { return mode == Mode::open && canChooseDirectories && !canChooseFiles; }
    bool choosesFilesAndFolders() const { return mode == Mode::open && canChooseDirectories && canChooseFiles; }
};

// Everything the core asks a person goes through here: the face answers with
// dialogs, tests and the headless runner answer from a script.
class Interaction {
public:
    virtual ~Interaction() = default;

    // Returns the index of the chosen button.
    virtual int alert(const AlertRequest &request) = 0;
    // An alert with an accessory. Unless the face shows the accessory itself, the person answers the
    // buttons and the accessory keeps the values it came with.
    virtual AlertAnswer alertWithValues(const AlertRequest &request)
    {
        const int button = alert(request);
        return {button, request.accessory && request.accessory->checked,
                request.accessory ? request.accessory->fieldText : QString()};
    }
    // Returns the chosen paths; empty when cancelled.
    virtual QStringList panel(const PanelRequest &request) = 0;
};
