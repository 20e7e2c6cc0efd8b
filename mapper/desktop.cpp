// Performs each step on the desktop: a key chord pressed and released in order, mouse moves and
// clicks, a text typed character by character in the active layout, and the slow parts (volume,
// scripts, launching) handed to whoever does them without blocking this thread.
#include "mapper/desktop.h"

#include <linux/input-event-codes.h>

#include <cstdlib>

#include "mapper/keymap.h"
#include "mapper/log.h"
#include "mapperlink/launch.h"

INJdevice::~INJdevice() = default;

OUTdesktop::OUTdesktop(INJdevice *injector, TYPlayout *layout, VOLcontrol *volume, SCWworker *scripts)
    : injector_(injector)
    , layout_(layout)
    , volume_(volume)
    , scripts_(scripts)
{
}

OUTdesktop::~OUTdesktop()
{
    releaseAll(0);
    if (scripts_)
        SCWstop(scripts_);
    if (volume_)
        VOLclose(volume_);
    if (layout_)
        TYPclose(layout_);
    delete injector_;
}

const char *OUTdesktop::name() const
{
    return injector_ ? injector_->name() : "none";
}

void OUTdesktop::press(int code, bool down)
{
    if (!injector_)
        return;
    bool isButton = code == BTN_LEFT || code == BTN_RIGHT;
    bool sent = isButton ? injector_->button(code, down) : injector_->key(code, down);
    if (!sent)
        LOGinfo("output: %s could not send code %d %s", injector_->name(), code, down ? "down" : "up");
    if (down)
        down_.insert(code);
    else
        down_.erase(code);
}

// Modifiers down in order, the key, then all up in the reverse order.
void OUTdesktop::chord(const MTABaction &action, bool down, bool up)
{
    KMAPchord c;
    if (!KMAPchordFor(action.message, action.modifiers, &c))
        return;
    if (!injector_) {
        LOGinfo("output: no way to press keys here (the key %08x %04x is not pressed)", (unsigned)action.message,
            (unsigned)action.modifiers);
        return;
    }
    if (down) {
        for (int i = 0; i < c.modifierCount; i++)
            press(c.modifiers[i], true);
        press(c.key, true);
        injector_->sync();
    }
    if (up) {
        press(c.key, false);
        for (int i = c.modifierCount - 1; i >= 0; i--)
            press(c.modifiers[i], false);
        injector_->sync();
    }
}

void OUTdesktop::mouse(const OUTstep &step)
{
    int kind = (int)(step.action->message & 0xFF);
    if (!injector_) {
        LOGinfo("output: no way to move the pointer here (mouse kind %d)", kind);
        return;
    }
    int px = step.pixels;
    switch (kind) {
    case 1:
        injector_->move(0, -px);
        break;
    case 2:
        injector_->move(0, px);
        break;
    case 3:
        injector_->move(-px, 0);
        break;
    case 4:
        injector_->move(px, 0);
        break;
    case 5:
    case 6:
    case 7:
    case 8: {
        int code = (kind == 5 || kind == 7) ? BTN_LEFT : BTN_RIGHT;
        int clicks = kind >= 7 ? 2 : 1;
        for (int i = 0; i < clicks; i++) {
            press(code, true);
            injector_->sync();
            press(code, false);
            injector_->sync();
        }
        return;
    }
    default:
        return;
    }
    injector_->sync();
}

// Each byte of the converted text is a character (bytes above 127 are Latin-1).
void OUTdesktop::type(const std::string &text)
{
    if (!injector_) {
        LOGinfo("output: no way to type here (a text of %zu characters is not typed)", text.size());
        return;
    }
    if (layout_)
        TYPrefresh(layout_);
    for (unsigned char c : text) {
        uint32_t codepoint = c;
        TYPstroke s;
        if (layout_ && TYPlookup(layout_, codepoint, &s)) {
            for (int i = 0; i < s.modifierCount; i++)
                press(s.modifiers[i], true);
            press(s.key, true);
            injector_->sync();
            press(s.key, false);
            for (int i = s.modifierCount - 1; i >= 0; i--)
                press(s.modifiers[i], false);
            injector_->sync();
        } else if (!injector_->typeUnmapped(codepoint)) {
            LOGinfo("output: U+%04X cannot be typed with the active layout", (unsigned)codepoint);
        }
    }
}

void OUTdesktop::perform(const OUTstep &step, int64_t)
{
    const MTABaction &a = *step.action;
    switch (step.kind) {
    case OUT_KEY_TAP:
        chord(a, true, true);
        break;
    case OUT_KEY_DOWN:
        chord(a, true, false);
        break;
    case OUT_KEY_UP:
        chord(a, false, true);
        break;
    case OUT_MOUSE:
        mouse(step);
        break;
    case OUT_TEXT:
        type(a.text);
        break;
    case OUT_VOLUME:
        if (volume_)
            VOLperform(volume_, a);
        else
            LOGinfo("output: no sound server connection; the volume action is not performed");
        break;
    case OUT_SCRIPT:
        if (scripts_)
            SCWrun(scripts_, a.path);
        break;
    case OUT_LAUNCH:
        // The opener starts programs detached and hands documents to the desktop's handler.
        if (VQXLAUNCHopenPath(a.path.c_str()) != 0)
            LOGinfo("output: %s could not be opened", a.path.c_str());
        break;
    }
    if (injector_)
        injector_->settled();
}

bool OUTdesktop::busy(const MTABaction &action)
{
    return scripts_ && action.type == 2 && SCWbusy(scripts_, action.path);
}

void OUTdesktop::releaseAll(int64_t)
{
    if (!injector_ || down_.empty())
        return;
    std::set<int> held = down_;
    for (auto it = held.rbegin(); it != held.rend(); ++it)
        press(*it, false);
    injector_->sync();
    injector_->settled();
}

OUTdesktop *DSKopen(const std::string &want, std::string *why)
{
    std::string uinputWhy, xtestWhy;
    INJdevice *injector = nullptr;
    if (want == "uinput" || want == "auto")
        injector = INJopenUinput(&uinputWhy);
    if (!injector && (want == "xtest" || (want == "auto" && getenv("DISPLAY"))))
        injector = INJopenXTest(&xtestWhy);
    if (!injector && want != "auto") {
        *why = want == "uinput" ? uinputWhy : xtestWhy;
        return nullptr;
    }
    if (!injector)
        *why = "keys, mouse and text cannot be sent: uinput: " + uinputWhy
            + (getenv("DISPLAY") ? "; xtest: " + xtestWhy : "; xtest: no X display");
    else if (injector->name() == std::string("uinput"))
        *why = "uinput (a virtual input device; works under X11 and Wayland)";
    else
        *why = "xtest on " + std::string(getenv("DISPLAY") ? getenv("DISPLAY") : "")
            + ", because uinput cannot be used (" + (uinputWhy.empty() ? "not asked for" : uinputWhy) + ")";
    std::string layoutWhy;
    TYPlayout *layout = TYPopen(&layoutWhy);
    if (!layout)
        LOGinfo("output: no keyboard layout (%s); texts cannot be typed", layoutWhy.c_str());
    return new OUTdesktop(injector, layout, VOLopen(), SCWstart());
}
