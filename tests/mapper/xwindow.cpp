// vqx-test-window [--class C] [--instance I] [--app-id ID] [--title T] OUTFILE: an X window that
// takes the focus and writes every key, button and pointer event it gets to OUTFILE, one line each:
// "key a 0x0 text=a code=38 t=1234", "keyup ...", "button 1 0x0 t=..", "motion X Y t=.." (root).
#include <X11/Xlib.h>
#include <X11/Xatom.h>
#include <X11/Xutil.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

// Bytes outside printable ASCII, blanks and backslashes written as \xNN, so a line stays one field.
static std::string escaped(const char *text, int length)
{
    std::string out;
    for (int i = 0; i < length; i++) {
        unsigned char c = (unsigned char)text[i];
        if (c > 0x20 && c < 0x7F && c != '\\') {
            out += (char)c;
        } else {
            char hex[8];
            snprintf(hex, sizeof hex, "\\x%02x", c);
            out += hex;
        }
    }
    return out;
}

static const char *keysymName(KeySym sym, char *buffer, size_t size)
{
    const char *name = sym == NoSymbol ? nullptr : XKeysymToString(sym);
    if (name)
        return name;
    snprintf(buffer, size, "0x%lx", (unsigned long)sym);
    return buffer;
}

int main(int argc, char **argv)
{
    // The window's names, as a test wants the Mapper to see them.
    std::string className = "vqx-test-window", instance, appId, title = "VQX test window";
    int arg = 1;
    for (; arg + 1 < argc && strncmp(argv[arg], "--", 2) == 0; arg += 2) {
        std::string option = argv[arg];
        if (option == "--class")
            className = argv[arg + 1];
        else if (option == "--instance")
            instance = argv[arg + 1];
        else if (option == "--app-id")
            appId = argv[arg + 1];
        else if (option == "--title")
            title = argv[arg + 1];
        else
            break;
    }
    if (instance.empty())
        instance = className;
    if (arg != argc - 1) {
        fprintf(stderr, "usage: vqx-test-window [--class C] [--instance I] [--app-id ID] [--title T] OUTFILE\n");
        return 2;
    }
    FILE *out = fopen(argv[arg], "w");
    if (!out) {
        perror(argv[arg]);
        return 1;
    }
    Display *dpy = XOpenDisplay(nullptr);
    if (!dpy) {
        fprintf(stderr, "vqx-test-window: no X display\n");
        return 1;
    }
    int screen = DefaultScreen(dpy);
    Window window = XCreateSimpleWindow(
        dpy, RootWindow(dpy, screen), 100, 100, 500, 400, 1, BlackPixel(dpy, screen), WhitePixel(dpy, screen));
    XStoreName(dpy, window, title.c_str());
    Atom utf8 = XInternAtom(dpy, "UTF8_STRING", False);
    XChangeProperty(dpy, window, XInternAtom(dpy, "_NET_WM_NAME", False), utf8, 8, PropModeReplace,
        (const unsigned char *)title.data(), (int)title.size());
    XClassHint classHint;
    classHint.res_name = &instance[0];
    classHint.res_class = &className[0];
    XSetClassHint(dpy, window, &classHint);
    if (!appId.empty())
        XChangeProperty(dpy, window, XInternAtom(dpy, "_GTK_APPLICATION_ID", False), utf8, 8, PropModeReplace,
            (const unsigned char *)appId.data(), (int)appId.size());
    long pid = (long)getpid();
    XChangeProperty(dpy, window, XInternAtom(dpy, "_NET_WM_PID", False), XA_CARDINAL, 32, PropModeReplace,
        (const unsigned char *)&pid, 1);
    XWMHints hints = {};
    hints.flags = InputHint | StateHint;
    hints.input = True;
    hints.initial_state = NormalState;
    XSetWMHints(dpy, window, &hints);
    XSelectInput(dpy, window,
        KeyPressMask | KeyReleaseMask | ButtonPressMask | ButtonReleaseMask | PointerMotionMask | FocusChangeMask
            | StructureNotifyMask | ExposureMask);
    XMapRaised(dpy, window);

    bool focused = false;
    char name[32];
    for (;;) {
        XEvent ev;
        XNextEvent(dpy, &ev);
        switch (ev.type) {
        case MapNotify:
            fprintf(out, "mapped\n");
            break;
        case Expose:
            // Viewable now: the focus can be set (the window manager may move it again later).
            if (!focused) {
                XSetInputFocus(dpy, window, RevertToParent, CurrentTime);
                focused = true;
            }
            break;
        case FocusIn:
            fprintf(out, "focusin\n");
            break;
        case FocusOut:
            fprintf(out, "focusout\n");
            break;
        case MappingNotify:
            XRefreshKeyboardMapping(&ev.xmapping);
            break;
        case KeyPress: {
            char text[64];
            KeySym sym = NoSymbol;
            int n = XLookupString(&ev.xkey, text, sizeof text, &sym, nullptr);
            fprintf(out, "key %s 0x%x text=%s code=%u t=%lu\n", keysymName(sym, name, sizeof name), ev.xkey.state,
                escaped(text, n).c_str(), ev.xkey.keycode, (unsigned long)ev.xkey.time);
            break;
        }
        case KeyRelease: {
            char text[64];
            KeySym sym = NoSymbol;
            XLookupString(&ev.xkey, text, sizeof text, &sym, nullptr);
            fprintf(out, "keyup %s 0x%x code=%u t=%lu\n", keysymName(sym, name, sizeof name), ev.xkey.state,
                ev.xkey.keycode, (unsigned long)ev.xkey.time);
            break;
        }
        case ButtonPress:
            fprintf(out, "button %u 0x%x t=%lu\n", ev.xbutton.button, ev.xbutton.state, (unsigned long)ev.xbutton.time);
            break;
        case ButtonRelease:
            fprintf(
                out, "buttonup %u 0x%x t=%lu\n", ev.xbutton.button, ev.xbutton.state, (unsigned long)ev.xbutton.time);
            break;
        case MotionNotify:
            fprintf(out, "motion %d %d t=%lu\n", ev.xmotion.x_root, ev.xmotion.y_root, (unsigned long)ev.xmotion.time);
            break;
        default:
            break;
        }
        fflush(out);
    }
}
