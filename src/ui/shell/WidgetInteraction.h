#pragma once

#include "foundation/Interaction.h"

#include <QPointer>
#include <QWidget>

// Answers the core's questions with real dialogs over the main window.
class WidgetInteraction : public Interaction {
public:
    void setParentWindow(QWidget *window) { parent = window; }

    int alert(const AlertRequest &request) override;
    AlertAnswer alertWithValues(const AlertRequest &request) override;
    QStringList panel(const PanelRequest &request) override;

private:
    QPointer<QWidget> parent;
};
