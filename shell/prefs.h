// The editor's own preferences, "Manager Prefs": window positions and view options, read once at
// start-up and written once at shutdown when something changed.
#ifndef VQX_SHELL_PREFS_H
#define VQX_SHELL_PREFS_H

#include <cstdint>

#define VQX_PREFS_FILE_NAME "Manager Prefs"

// The record; the file carries it as 52 big-endian bytes in this field order.
struct MgrCfgPrefs {
    uint32_t version;              // 1
    uint32_t mainWindowSize;       // grow-box size: height in the high 16 bits, width low; 0 = designed size
    uint32_t remotePictShown;      // the remote picture window was open
    uint32_t showDetails;          // the details check box
    uint32_t showButtonsNotOnRemote; // item 1 of menu 131
    int32_t currentApplIdx;        // the application popup's selection
    uint32_t viewByButton;         // 1: applications per button
    int32_t viewByButtonIdx;       // the button chosen in that view
    uint8_t reserved[8];           // kept zero
    int16_t mainTop, mainLeft;     // main window's top-left corner
    int16_t editTop, editLeft;     // action edit dialog's; left 0 means 100, 100
    int16_t remoteTop, remoteLeft; // remote picture window's; left 0 leaves it where it opens
};

enum { kPrefsRecordSize = 52 };

extern MgrCfgPrefs theConfigPrefs; // the record the interface reads and updates
extern int32_t prefsChanged;       // the record differs from the file

int openPrefs(int *fileRef, int forWriting);
void initMgrCfgPrefs(MgrCfgPrefs *record);
int readPrefs(int fileRef, MgrCfgPrefs *record);
int writePrefs(int fileRef, const MgrCfgPrefs *record);
int getPrefs(void);
int closePrefs(void);

// The record as the 52 bytes of the file, and back.
void PREFSencode(const MgrCfgPrefs *record, unsigned char *bytes);
void PREFSdecode(const unsigned char *bytes, MgrCfgPrefs *record);

#endif
