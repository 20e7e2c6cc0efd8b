// The presenter registry and the toolbox's parameter text and Alert call over it; the plain
// presenter used until the program or a test installs its own.
#include "platform/presenter.h"

#include <cstdio>

Presenter::~Presenter() = default;

bool Presenter::chooseFilteredFile(const std::vector<std::string> &filters, std::string &path, int (*)(const char *))
{
    return chooseFile(filters, path);
}

namespace {
// Writes what would be shown to standard error and takes the default answer; used by the
// command-line tools, which have no windows.
class PlainPresenter : public Presenter {
public:
    int alert(int alertId, const std::string &param0) override
    {
        fprintf(stderr, "[alert %d] %s\n", alertId, param0.c_str());
        return 1;
    }
    int promptForName(const std::string &prompt, std::string &, int) override
    {
        fprintf(stderr, "[prompt] %s\n", prompt.c_str());
        return 0;
    }
    int question(int dialogId, const std::string &text, int *) override
    {
        fprintf(stderr, "[question %d] %s\n", dialogId, text.c_str());
        return 2;
    }
    bool chooseFile(const std::vector<std::string> &, std::string &) override { return false; }
};
} // namespace

static PlainPresenter plainPresenter;      // the fallback, always there
static Presenter *current = &plainPresenter; // the presenter in use
static std::string paramText0;               // parameter text ^0 of the next alert

Presenter *PRESget(void)
{
    return current;
}

Presenter *PRESset(Presenter *presenter)
{
    Presenter *old = current;
    current = presenter ? presenter : &plainPresenter;
    return old == &plainPresenter ? nullptr : old;
}

void ParamText(const char *param0)
{
    paramText0 = param0 ? param0 : "";
}

int Alert(int alertId)
{
    return current->alert(alertId, paramText0);
}
