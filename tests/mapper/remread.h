// Reads a remote description in the preferences folder with the editor's reader, counting every
// alert and error trace it raises, and gives its timings as the Mapper's table (tests and helpers).
#ifndef VQX_TESTS_REMREAD_H
#define VQX_TESTS_REMREAD_H

#include <cstdlib>
#include <cstring>
#include <string>

#include "mapper/table.h"
#include "mapping/config.h"
#include "mapping/remote.h"
#include "mapping/tokens.h"
#include "platform/presenter.h"
#include "shell/diagnostics.h"

struct RemReadResult {
    int status = -1; // parseRemFile's result
    int alerts = 0; // alerts, questions and "Orvenda VQX ERROR" traces
    std::string first; // the first of them
    MTABtable table; // frequency, bit time and buttons as read
};

namespace remread {
class CountingPresenter : public Presenter {
public:
    int count = 0;
    std::string first;
    void note(const std::string &text)
    {
        if (count++ == 0)
            first = text;
    }
    int alert(int, const std::string &param0) override
    {
        note(param0);
        return 1;
    }
    int promptForName(const std::string &prompt, std::string &, int) override
    {
        note(prompt);
        return 0;
    }
    int question(int, const std::string &text, int *) override
    {
        note(text);
        return 2;
    }
    bool chooseFile(const std::vector<std::string> &, std::string &) override { return false; }
};
inline CountingPresenter *&current()
{
    static CountingPresenter *p = nullptr;
    return p;
}
inline void observe(const char *text)
{
    if (current() && strncmp(text, "Orvenda VQX ERROR", 17) == 0)
        current()->note(text);
}
} // namespace remread

// `name` is a file of the preferences folder. The command buffer has the size the configuration
// gives when it names none (20000 bytes).
inline RemReadResult remRead(const char *name)
{
    RemReadResult result;
    remread::CountingPresenter presenter;
    Presenter *previous = PRESset(&presenter);
    remread::current() = &presenter;
    BUGtraceObserver previousObserver = BUGsetTraceObserver(remread::observe);
    free(cmdBufMemory);
    cmdBufMemoryLen = 20000;
    cmdBufMemory = static_cast<char *>(malloc((size_t)cmdBufMemoryLen));
    REMreset();
    lastWasEol = 0;
    result.status = parseRemFile(name);
    result.table.frequency = RemoteParms.frequency;
    result.table.bitTime = RemoteParms.bitTime;
    for (CommandRecord *cmd = REMfirstCommand(); cmd; cmd = REMnextCommand(cmd)) {
        MTABbutton b;
        b.name = std::string(cmd->name, strnlen(cmd->name, sizeof cmd->name));
        for (int i = 0; i < cmd->count; i++)
            b.tokens.push_back(CMDtoken(cmd, i));
        result.table.buttons.push_back(b);
    }
    BUGsetTraceObserver(previousObserver);
    remread::current() = nullptr;
    PRESset(previous);
    result.alerts = presenter.count;
    result.first = presenter.first;
    return result;
}

#endif
