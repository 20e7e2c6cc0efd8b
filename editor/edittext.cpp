// The text string page: one field holding the text the button types, escapes as typed.
#include <QWidget>
#include <cstdio>
#include <string>

#include "editor/editstate.h"
#include "mapping/mapfile.h"
#include "mapping/tokens.h"
#include "shell/diagnostics.h"

enum { kTextField = 11 };

void createEditTextString(void)
{
    if (EDITbuildPage(1324) != 0)
        return;
    etStringTSHdl = EDITitem(kTextField);
}

void doDisplayTextString(void)
{
    EDITsetText(etStringTSHdl, theTextStringEvent.text);
}

void doProcessPrevHitTextString(void)
{
    if (prevHitEdit != kTextField)
        return;
    std::string text = EDITtext(etStringTSHdl);
    snprintf(theTextStringEvent.text, sizeof theTextStringEvent.text, "%s", text.c_str());
    // The resolved form travels with the text, as the reader keeps it.
    const char *converted = convertTextStringInt(theTextStringEvent.text);
    snprintf(
        theTextStringEvent.convertedText, sizeof theTextStringEvent.convertedText, "%s", converted ? converted : "");
    keyEventChanged = 1;
}

int validateTextString(void)
{
    // The field is checked as well as the record: a text still being typed has not been taken yet.
    std::string shown = etStringTSHdl ? EDITtext(etStringTSHdl) : std::string();
    if (convertTextStringInt(shown.c_str()) && convertTextStringInt(theTextStringEvent.text))
        return 1;
    errormsg("%s", getstring(129, 48));
    return 0;
}

void doitemHitTextString(int)
{
}
