#pragma once

#include <QString>
#include <QStringList>

// A modal confirmation. The first button is the action; the last is the safe way out.
struct AlertRequest {
    QString message;
    QString informativeText;
    QStringList buttons;
    bool operator==(const AlertRequest &) const = default;
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
    QString directory;
    QString suggestedName;
    bool operator==(const PanelRequest &) const = default;

    bool choosesFoldersOnly() const { return mode == Mode::open && canChooseDirectories && !canChooseFiles; }
};

// Everything the core asks a person goes through here: the face answers with
// dialogs, tests and the headless runner answer from a script.
class Interaction {
public:
    virtual ~Interaction() = default;

    // Returns the index of the chosen button.
    virtual int alert(const AlertRequest &request) = 0;
    // Returns the chosen paths; empty when cancelled.
    virtual QStringList panel(const PanelRequest &request) = 0;
};
