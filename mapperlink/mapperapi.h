// The editor's side of the Mapper: the remote button being held (reported by the Mapper), reload
// and quit requests, the action editor's pending-edit query and working-copy reset, and hooks.
#ifndef VQX_MAPPERLINK_MAPPERAPI_H
#define VQX_MAPPERLINK_MAPPERAPI_H

#include <cstdint>

#include "mapperlink/notify.h"

extern NOTobserver *myObserver;   // the editor's observer of service "button"
extern char currentButtonBuf[36]; // name of the button last reported down
extern char *currentButton;       // currentButtonBuf while a button is held, else null
extern int32_t showOSEvents;      // trace launches

int MAPPERAPIinit(void);
void myCallback(char *service, char *message, int32_t context);
char *VQXAPIgetButtonState(void);
// Registers a routine called right after a button press has been recorded, so that the program
// can look at it at once instead of at its next idle pass (null: none).
void MAPPERAPIsetPressHook(void (*hook)(void));
int recycleMapperConfiguration(void);
// Asks the Mapper to quit; 0, or the failed post's code (shown to the user).
int doSendQuitAEtoMapper(void);
int queryEditChanges(void);
void initializeData(void);
void VQXACTIONcheckApplName(void);
void VQXTIMEsetTimer(void);
int VQXBACKGROUNDinit(void);

// No observer, no button held, launches not traced (tests).
void MAPPERAPIreset(void);

#endif
