// Writes each step as "<milliseconds> <step>" to the recording file or the log; a key held down
// is written as released when everything is let go.
#include "mapper/record.h"

#include "mapper/daemon.h"
#include "mapper/log.h"

OUTrecord::OUTrecord(const std::string &path, bool streamClock)
    : path_(path)
    , streamClock_(streamClock)
{
    if (!path_.empty()) {
        file_ = fopen(path_.c_str(), "a");
        if (!file_)
            LOGinfo("output: cannot open the recording file %s", path_.c_str());
    }
}

OUTrecord::~OUTrecord()
{
    if (file_)
        fclose(file_);
}

static void writeStep(FILE *file, int64_t now, const std::string &text)
{
    if (file) {
        fprintf(file, "%lld.%03lld %s\n", (long long)(now / 1000), (long long)(now % 1000), text.c_str());
        fflush(file);
    } else {
        LOGinfo("perform: %s", text.c_str());
    }
}

void OUTrecord::perform(const OUTstep &step, int64_t now)
{
    steps_++;
    if (step.kind == OUT_KEY_DOWN)
        keyHeld_ = true;
    else if (step.kind == OUT_KEY_UP)
        keyHeld_ = false;
    writeStep(file_, streamClock_ ? now : DMNclock(), OUTdescribe(step));
}

void OUTrecord::releaseAll(int64_t now)
{
    if (!keyHeld_)
        return;
    keyHeld_ = false;
    writeStep(file_, streamClock_ ? now : DMNclock(), "RELEASE_ALL");
}
