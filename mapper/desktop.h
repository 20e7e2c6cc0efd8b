// The output that acts on the desktop: keys, mouse and text through a uinput device or XTest,
// the volume through the sound server, scripts on their worker, launches through the opener.
#ifndef VQX_MAPPER_DESKTOP_H
#define VQX_MAPPER_DESKTOP_H

#include <set>
#include <string>

#include "mapper/inject.h"
#include "mapper/output.h"
#include "mapper/scripts.h"
#include "mapper/typing.h"
#include "mapper/volume.h"

class OUTdesktop : public OUTsink {
public:
    // Takes ownership of each part; any may be null (its actions are then logged as impossible).
    OUTdesktop(INJdevice *injector, TYPlayout *layout, VOLcontrol *volume, SCWworker *scripts);
    ~OUTdesktop() override;
    const char *name() const override;
    void perform(const OUTstep &step, int64_t now) override;
    bool busy(const MTABaction &action) override;
    void releaseAll(int64_t now) override;

private:
    INJdevice *injector_;
    TYPlayout *layout_;
    VOLcontrol *volume_;
    SCWworker *scripts_;
    std::set<int> down_; // keys and buttons this output holds down
    void press(int code, bool down);
    void chord(const MTABaction &action, bool down, bool up);
    void mouse(const OUTstep &step);
    void type(const std::string &text);
};

// The desktop output for `want` ("auto", "uinput" or "xtest"); *why says which way was taken and
// why, or why none could be. Null only when the way asked for cannot be had.
OUTdesktop *DSKopen(const std::string &want, std::string *why);

#endif
