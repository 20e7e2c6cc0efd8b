// vqx-x-keys: prints the X key codes that the X server of $DISPLAY has down now, one line, in
// increasing order ("" when none), as XQueryKeymap reports them.
#include <X11/Xlib.h>

#include <cstdio>

int main()
{
    Display *dpy = XOpenDisplay(nullptr);
    if (!dpy) {
        fprintf(stderr, "vqx-x-keys: no X display\n");
        return 1;
    }
    char keys[32];
    XQueryKeymap(dpy, keys);
    const char *separator = "";
    for (int code = 0; code < 256; code++) {
        if (keys[code / 8] & (1 << (code % 8))) {
            printf("%s%d", separator, code);
            separator = " ";
        }
    }
    printf("\n");
    XCloseDisplay(dpy);
    return 0;
}
