// The editor's side of the Mapper: which remote button is held, reload and quit requests, and the
// small action-editor helpers that live with them.
#include "mapperlink/mapperapi.h"

#include <cstring>

#include "editor/editrecords.h"
#include "shell/diagnostics.h"

NOTobserver *myObserver;   // observer of "button", armed once at start-up
char currentButtonBuf[36]; // last button reported down
char *currentButton;       // the held button, or null
static void (*pressHook)(void); // told after a press was recorded (schedules an idle pass)
int32_t showOSEvents;      // set by nobody in the editor

int MAPPERAPIinit(void)
{
    NOTinit(1);
    return NOTarmObserver("button", myCallback, 0, &myObserver);
}

// Runs from the main loop: only notes the button; the idle chain picks it up.
void myCallback(char *service, char *message, int32_t context)
{
    (void)context;
    if (!service || strcmp(service, "button") != 0) {
        BUGprintf("Orvenda VQX ERROR: MAPPERAPI callback has invalid service");
        return;
    }
    if (!message)
        return;
    if (strncmp(message, "DWN", 3) == 0) {
        // The name starts at the fifth character, after "DWN" and one separator.
        const char *name = strnlen(message, 4) == 4 ? message + 4 : "";
        size_t len = strnlen(name, 32);
        memcpy(currentButtonBuf, name, len);
        currentButtonBuf[len] = '\0';
        currentButton = currentButtonBuf;
        if (pressHook)
            pressHook();
    }
    if (strncmp(message, "UPP", 3) == 0)
        currentButton = nullptr;
}

void MAPPERAPIsetPressHook(void (*hook)(void))
{
    pressHook = hook;
}

char *VQXAPIgetButtonState(void)
{
    return currentButton;
}

int recycleMapperConfiguration(void)
{
    NOTpost("command", "RLD");
    return 0;
}

int doSendQuitAEtoMapper(void)
{
    int err = NOTpost("command", "QUI");
    if (err != 0)
        errormsg("AESend returned %d", err);
    return err;
}

int queryEditChanges(void)
{
    return keyEventChanged || chgEtFieldEdit ? 1 : 0;
}

// The four working records: keystroke, script and launch (one page pair), volume, text string.
void initializeData(void)
{
    EDITRECclearWorkingRecords();
}

void VQXACTIONcheckApplName(void)
{
}

void VQXTIMEsetTimer(void)
{
}

int VQXBACKGROUNDinit(void)
{
    VQXTIMEsetTimer();
    return 0;
}

void MAPPERAPIreset(void)
{
    myObserver = nullptr;
    memset(currentButtonBuf, 0, sizeof currentButtonBuf);
    currentButton = nullptr;
    showOSEvents = 0;
    pressHook = nullptr;
}
