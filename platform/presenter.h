// The one place every modal interaction goes through: alerts, the name prompt, the two yes/no
// questions and the file chooser. The program installs a presenter that shows Qt dialogs; tests
// install one that records what was asked and answers from a queue.
#ifndef VQX_PLATFORM_PRESENTER_H
#define VQX_PLATFORM_PRESENTER_H

#include <string>
#include <vector>

class Presenter {
public:
    virtual ~Presenter();
    // Alert 128, 129 or 134 with parameter text ^0; returns the number of the button pressed.
    virtual int alert(int alertId, const std::string &param0) = 0;
    // Dialog 131: returns 1 for OK (name holds the edited text, at most maxLen bytes), 0 for Cancel.
    virtual int promptForName(const std::string &prompt, std::string &name, int maxLen) = 0;
    // Dialog 135 (checkbox null) or 140 (checkbox in and out): returns the item that ended it.
    virtual int question(int dialogId, const std::string &text, int *checkbox) = 0;
    // The file chooser: filters are the type codes of the caller; returns false when cancelled.
    virtual bool chooseFile(const std::vector<std::string> &filters, std::string &path) = 0;
    // The file chooser showing only the files `accept` takes (folders are always shown, to move
    // through them). The plain presenters ask chooseFile; the caller checks the choice again.
    virtual bool chooseFilteredFile(
        const std::vector<std::string> &filters, std::string &path, int (*accept)(const char *path));
};

// The presenter in use; never null (a plain one that writes to standard error and takes the
// default answer is in place until another is installed).
Presenter *PRESget(void);
// Installs a presenter (null puts the plain one back); returns the one it replaces.
Presenter *PRESset(Presenter *presenter);

// The toolbox's parameter text and alert call, over the presenter.
void ParamText(const char *param0);
int Alert(int alertId);

#endif
