#pragma once

#include "foundation/Interaction.h"
#include "foundation/Workflow.h"

#include <QStringList>

class AppState;

// The Run control of the Quick Actions list: a workflow with an input kind asks
// for its files in a panel and then takes the same road as a Quick Action.
namespace RunPanel {

// Whether a row offers "Run…".
bool offersRun(const Workflow &workflow);
// The panel that asks for the workflow's input.
PanelRequest request(const Workflow &workflow);
// Asks through the state's interaction and runs the workflow on what was chosen.
void run(AppState &state, const Workflow &workflow);

} // namespace RunPanel
