// The globals of the mapping model and the operations on it: action records, application
// entries and their lists.
#include "mapping/model.h"

#include <cstdlib>
#include <cstring>

#include "shell/diagnostics.h"

ApplicationRecord theActionByApplList[kMaxApplications]; // the application table
int32_t numApplications;          // used entries of the table
ApplicationRecord *theDefaultAppl; // the default entry
ApplicationRecord *theGlobalAppl;  // the "*GLOBAL*" entry
ApplicationRecord *theCurrentAppl; // entry being filled while reading; then the default one
int32_t numButtons;               // actions in the list being filled
int32_t maxNumButtons;            // largest list length seen
int32_t mapfileVersion;           // from MAPVER; 0 for an old file
int32_t mapFileError;             // 2 table full, 3 no remote named, 4 a mapping not parsed
int32_t mapFileChanged;           // the model differs from the file
int32_t showParsedCommands;       // trace each parsed line

ActionRecord *MAPnewAction(void)
{
    ActionRecord *action = static_cast<ActionRecord *>(calloc(1, sizeof(ActionRecord)));
    if (!action)
        return nullptr;
    action->count = 1;
    action->event = &action->theEvent;
    action->buttonName = action->theEvent.common.name;
    return action;
}

void addActionToList(ApplicationRecord *appl, ActionRecord *action)
{
    if (!appl->first) {
        appl->first = action;
        appl->last = action;
        numButtons = 1;
        return;
    }
    numButtons += 1;
    if (maxNumButtons < numButtons)
        maxNumButtons = numButtons;
    appl->last->next = action;
    appl->last = action;
}

ActionRecord *copyAction(const ActionRecord *action)
{
    ActionRecord *copy = static_cast<ActionRecord *>(malloc(sizeof(ActionRecord)));
    if (!copy) {
        VQXALERTprintfFATAL("Fatal error: unable to allocate memory to parse mapping into; cannot continue...");
        return nullptr;
    }
    memcpy(copy, action, sizeof(ActionRecord));
    copy->next = nullptr;
    copy->spare = 0;
    copy->event = &copy->theEvent;
    copy->buttonName = copy->theEvent.common.name;
    return copy;
}

static void freeList(ApplicationRecord *appl)
{
    ActionRecord *action = appl->first;
    while (action) {
        ActionRecord *next = action->next;
        free(action);
        action = next;
    }
    appl->first = appl->last = nullptr;
}

ApplicationRecord *createNewApplication(const char *name, const ApplicationRecord *source)
{
    if (numApplications >= kMaxApplications) {
        VQXALERTprintfFATAL("Fatal error: application table full; cannot continue...");
        return nullptr;
    }
    ApplicationRecord *appl = &theActionByApplList[numApplications++];
    appl->first = appl->last = nullptr;
    snprintf(appl->name, sizeof appl->name, "%s", name);
    const ApplicationRecord *from = source ? source : theDefaultAppl;
    for (const ActionRecord *action = from && from != appl ? from->first : nullptr; action; action = action->next) {
        ActionRecord *copy = copyAction(action);
        if (!copy) {
            VQXALERTprintfFATAL("Fatal error: unable to create new application (copyAction error); cannot continue...");
            break;
        }
        addActionToList(appl, copy);
    }
    return appl;
}

int deleteApplication(int index)
{
    if (index < 0 || index >= numApplications)
        return -1;
    BUGprintf("deleting Appl <%s> at index %d", theActionByApplList[index].name, index);
    freeList(&theActionByApplList[index]);
    numApplications -= 1;
    for (int i = index; i < numApplications; i++) {
        ApplicationRecord *from = &theActionByApplList[i + 1];
        theActionByApplList[i] = *from;
        if (theGlobalAppl == from)
            theGlobalAppl = &theActionByApplList[i];
        if (theDefaultAppl == from)
            theDefaultAppl = &theActionByApplList[i];
    }
    // The slot left behind keeps its name but no longer shares the moved entry's list.
    theActionByApplList[numApplications].first = nullptr;
    theActionByApplList[numApplications].last = nullptr;
    return 0;
}

void freeActionListMemory(void)
{
    for (int i = 0; i < numApplications && i < kMaxApplications; i++)
        freeList(&theActionByApplList[i]);
    numApplications = 0;
}

int MAPlistLength(const ApplicationRecord *appl)
{
    int n = 0;
    for (const ActionRecord *action = appl ? appl->first : nullptr; action; action = action->next)
        n++;
    return n;
}

void MAPreset(void)
{
    freeActionListMemory();
    memset(theActionByApplList, 0, sizeof theActionByApplList);
    theDefaultAppl = theGlobalAppl = theCurrentAppl = nullptr;
    numButtons = maxNumButtons = 0;
    mapfileVersion = mapFileError = mapFileChanged = showParsedCommands = 0;
}
