// The three question dialogs: a name prompt (dialog 131), yes/no (135) and yes/no with a
// check box to stop asking (140), the last remembering its answer per question number.
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/presenter.h"
#include "shell/diagnostics.h"

static unsigned char *dontlist; // one stop-asking flag per question number 0..199

// Puts text into theText the way the dialogs take it: at most 254 characters.
static std::string dialogText(const char *text)
{
    size_t len = strnlen(text, 254);
    memcpy(theText + 1, text, len);
    theText[0] = (char)len;
    return std::string(theText + 1, len);
}

int promptForName(const char *prompt, char *name, int maxLen)
{
    std::string shown = dialogText(prompt);
    std::string edited(name, strnlen(name, 255));
    if (PRESget()->promptForName(shown, edited, maxLen) != 1)
        return 0;
    if (maxLen >= 0 && (int)edited.size() > maxLen)
        edited.resize((size_t)maxLen);
    if (edited.size() > 255)
        edited.resize(255);
    memcpy(name, edited.data(), edited.size());
    name[edited.size()] = '\0';
    return 1;
}

int ynmessage(const char *text)
{
    return PRESget()->question(135, dialogText(text), nullptr) == 1 ? 1 : 0;
}

int ynmessageDont(const char *text, int questionNumber)
{
    if (!dontlist)
        dontlist = (unsigned char *)calloc(200, 1);
    if (questionNumber >= 1 && questionNumber <= 199 && dontlist[questionNumber])
        return 1;
    int checked = 0;
    int item = PRESget()->question(140, dialogText(text), &checked);
    if (questionNumber >= 0 && questionNumber < 200)
        dontlist[questionNumber] = checked ? 1 : 0;
    return item == 1 ? 1 : 0;
}

void DIAGreset(void)
{
    free(dontlist);
    dontlist = nullptr;
    myEw = nullptr;
}
