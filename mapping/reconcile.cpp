// Button reconciliation between the mapping model and the remote's command list, and the upgrade
// of mapping files written before MAPVER existed.
#include "mapping/reconcile.h"

#include <cstring>

#include "mapping/remote.h"
#include "shell/diagnostics.h"

// Walks the application's list for the button, counting the actions walked in numButtons.
static ActionRecord *findButton(ApplicationRecord *appl, const char *name)
{
    numButtons = 0;
    for (ActionRecord *action = appl->first; action; action = action->next) {
        numButtons++;
        if (strcmp(action->theEvent.common.name, name) == 0)
            return action;
    }
    return nullptr;
}

int checkForMissingButtons(void)
{
    for (CommandRecord *cmd = REMfirstCommand(); cmd; cmd = REMnextCommand(cmd))
        for (int i = 0; i < numApplications; i++)
            if (!findButton(&theActionByApplList[i], cmd->name))
                return 1;
    return 0;
}

void addAllButtonsToMap(void)
{
    for (CommandRecord *cmd = REMfirstCommand(); cmd; cmd = REMnextCommand(cmd)) {
        for (int i = 0; i < numApplications; i++) {
            ApplicationRecord *appl = &theActionByApplList[i];
            if (findButton(appl, cmd->name))
                continue;
            ActionRecord *action = MAPnewAction();
            if (!action) {
                VQXALERTprintfFATAL("Fatal error: unable to allocate memory for a new button action");
                break;
            }
            action->theEvent.common.type = kNoActionEventType;
            snprintf(action->theEvent.common.name, sizeof action->theEvent.common.name, "%s", cmd->name);
            addActionToList(appl, action);
            // One more than the list holds: kept as the program always counted.
            numButtons += 1;
            if (maxNumButtons < numButtons)
                maxNumButtons = numButtons;
        }
    }
}

void reorderButtonsInMap(ApplicationRecord *appl)
{
    ActionRecord *placed = nullptr; // the last action put in its place
    for (CommandRecord *cmd = REMfirstCommand(); cmd; cmd = REMnextCommand(cmd)) {
        ActionRecord *before = placed;
        ActionRecord *action = placed ? placed->next : appl->first;
        while (action && strcmp(action->theEvent.common.name, cmd->name) != 0) {
            before = action;
            action = action->next;
        }
        if (!action)
            continue;
        if (before != placed) {
            before->next = action->next;
            if (placed) {
                action->next = placed->next;
                placed->next = action;
            } else {
                action->next = appl->first;
                appl->first = action;
            }
        }
        placed = action;
    }
    // appl->last is deliberately left naming the action it named before.
}

void reorderAllButtons(void)
{
    for (int i = 0; i < numApplications; i++)
        reorderButtonsInMap(&theActionByApplList[i]);
}

static void disabledToNoAction(ActionRecord *action)
{
    if (action->disabled) {
        action->disabled = 0;
        action->theEvent.common.type = kNoActionEventType;
    }
}

void fixupOldMapfile(void)
{
    for (int i = 0; i < numApplications; i++) {
        ApplicationRecord *appl = &theActionByApplList[i];
        if (appl == theGlobalAppl)
            continue;
        for (ActionRecord *action = appl->first; action; action = action->next) {
            disabledToNoAction(action);
            if (action->override)
                continue;
            ActionRecord *global = theGlobalAppl ? findButton(theGlobalAppl, action->theEvent.common.name) : nullptr;
            if (!global || global->disabled)
                action->override = 1;
        }
    }
    // Only now the global entry's own flags: the entries above saw them as they were read.
    if (theGlobalAppl)
        for (ActionRecord *action = theGlobalAppl->first; action; action = action->next)
            disabledToNoAction(action);
    addAllButtonsToMap();
}
