// The recording output: every step the Mapper would perform, written as one line with its time,
// instead of being performed. For tests, demos and a dry run of a new mapping.
#ifndef VQX_MAPPER_RECORD_H
#define VQX_MAPPER_RECORD_H

#include <cstdio>
#include <string>

#include "mapper/output.h"

class OUTrecord : public OUTsink {
public:
    // Lines go to `path` (appended), or to the log when the path is empty. Each line carries the
    // step's own time on a stream clock (replays on the file's clock), else the moment it was
    // really performed, as a real output would act.
    OUTrecord(const std::string &path, bool streamClock);
    ~OUTrecord() override;
    const char *name() const override { return "record"; }
    void perform(const OUTstep &step, int64_t now) override;
    void releaseAll(int64_t now) override;
    bool ok() const { return path_.empty() || file_ != nullptr; }
    long steps() const { return steps_; }

private:
    std::string path_;
    FILE *file_ = nullptr;
    long steps_ = 0;
    bool keyHeld_ = false;
    bool streamClock_ = false;
};

#endif
