// Small configuration, remote and mapping files for the main window's tests: a three-button
// remote, a global entry with a button the remote lacks, an application that follows the global
// action for one button, and one without an action for Menu.
#ifndef VQX_TESTS_MAINWIN_FILES_H
#define VQX_TESTS_MAINWIN_FILES_H

#include <string>

#include "support/test_support.h"

inline const char *MWTESTremote()
{
    return "FRQ 38000\nBIT 562\n\nCMD Play 0102 0304\nCMD Stop 0102\nCMD Menu 0103\n";
}

inline const char *MWTESTmapping()
{
    return "MAPVER 2\n\n"
           "DEFAULT\n"
           "ACT Play NO_ACTION\nACT Stop NO_ACTION\nACT Menu NO_ACTION\n\n"
           "APPL *GLOBAL*\n"
           "ACT Play KEY 00003120 0000 -1 -1 -1 -1\n"
           "ACT Stop KEY 00000173 0000 -1 -1 -1 -1\n"
           "ACT Menu NO_ACTION\n"
           "ACT Eject NO_ACTION\n\n"
           "APPL vlc\n"
           "ACT Play KEY 00000c11 1000 -1 -1 -1 -1 OVR\n"
           "ACT Stop KEY 00002d6e 0000 -1 -1 -1 -1\n"
           "ACT Menu KEY 00000366 0000 -1 -1 -1 -1 OVR\n\n"
           "APPL quiet\n"
           "ACT Play NO_ACTION OVR\n"
           "ACT Stop NO_ACTION OVR\n";
}

// Writes OrvendaVQX.cfg naming Test.map and Test.REM, and those two files, into the folder.
inline void MWTESTwriteFiles(const std::string &folder, const std::string &mapping = MWTESTmapping(),
                             const std::string &remote = MWTESTremote())
{
    writeFile(folder + "/OrvendaVQX.cfg", "UI\nMAP Test.map\nREM Test.REM\nINT USB IR Receiver\nMEM 20000\n");
    writeFile(folder + "/Test.map", mapping);
    writeFile(folder + "/Test.REM", remote);
}

#endif
