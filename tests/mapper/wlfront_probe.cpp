// vqx-wlfront-probe [DISPLAY]: opens the wlroots front-window source and prints the window in
// front, then one line at each change ("front app_id=foot pid=0", "front none"), for the tests.
// Exit status: 2 when the source cannot be opened (its reason on standard error), 1 when lost.
#include "mapper/frontsource.h"

#include <poll.h>

#include <cerrno>
#include <cstdio>
#include <memory>

static void print(const FRTwindow &w)
{
    if (w.none)
        printf("front none\n");
    else
        printf("front app_id=%s pid=%u\n", w.appId.c_str(), (unsigned)w.pid);
    fflush(stdout);
}

int main(int argc, char **argv)
{
    std::string why;
    std::unique_ptr<FRTsource> source(FRTopenWlroots(argc > 1 ? argv[1] : nullptr, &why));
    if (!source) {
        fprintf(stderr, "vqx-wlfront-probe: %s\n", why.c_str());
        return 2;
    }
    fprintf(stderr, "vqx-wlfront-probe: watching %s\n", source->name().c_str());
    print(source->current());
    for (;;) {
        pollfd p = { source->fd(), POLLIN, 0 };
        if (poll(&p, 1, -1) < 0) {
            if (errno == EINTR)
                continue;
            perror("vqx-wlfront-probe: poll");
            return 1;
        }
        FRTwindow w;
        int r = source->dispatch(&w);
        if (r < 0) {
            printf("lost\n");
            fflush(stdout);
            return 1;
        }
        if (r > 0)
            print(w);
    }
}
