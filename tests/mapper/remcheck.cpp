// vqx-remcheck: reads remote descriptions with the editor's reader and fails on any alert; with
// --send, plays buttons of one of them to lircd's udp driver in real time (import tests).
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "mapper/synth.h"
#include "shell/files.h"
#include "tests/mapper/remread.h"

// A private preferences folder, so that any file can be read by name as the editor reads it.
static std::string prefsFolder;

static bool setUp()
{
    char home[] = "/tmp/vqx-remcheck-XXXXXX";
    if (!mkdtemp(home))
        return false;
    setenv("XDG_CONFIG_HOME", home, 1);
    prefsFolder = std::string(home) + "/" VQX_PREFS_FOLDER_NAME;
    return mkdir(prefsFolder.c_str(), 0700) == 0;
}

static void tearDown()
{
    std::string cmd = "rm -rf '" + prefsFolder.substr(0, prefsFolder.rfind('/')) + "'";
    if (system(cmd.c_str()) != 0)
        fprintf(stderr, "vqx-remcheck: %s failed\n", cmd.c_str());
}

// Copies `path` into the preferences folder and reads it there.
static RemReadResult readRem(const char *path)
{
    std::string copy = "cp -- '" + std::string(path) + "' '" + prefsFolder + "/check.REM'";
    RemReadResult r;
    if (strchr(path, '\'') || system(copy.c_str()) != 0) {
        r.first = "cannot be copied";
        r.alerts = 1;
        return r;
    }
    return remRead("check.REM");
}

static void sleepUs(uint64_t us)
{
    struct timespec t = { (time_t)(us / 1000000), (long)(us % 1000000) * 1000 };
    while (nanosleep(&t, &t) != 0 && errno == EINTR) { }
}

// One duration as the udp driver takes it: 61 µs units, the high bit set for a space.
static void sendDuration(int fd, const sockaddr_in &to, bool pulse, uint64_t us)
{
    uint64_t units = (us + 30) / 61;
    if (units > 0x7FFF)
        units = 0x7FFF;
    if (units == 0)
        units = 1;
    uint16_t v = (uint16_t)(units | (pulse ? 0 : 0x8000));
    unsigned char bytes[2] = { (unsigned char)(v & 0xFF), (unsigned char)(v >> 8) };
    if (sendto(fd, bytes, 2, 0, (const sockaddr *)&to, sizeof to) != 2)
        perror("vqx-remcheck: sendto");
}

static int sendButtons(int argc, char **argv)
{
    int port = atoi(argv[2]);
    RemReadResult r = readRem(argv[3]);
    if (r.alerts > 0 || r.status != 0) {
        fprintf(stderr, "vqx-remcheck: %s: %s\n", argv[3], r.first.c_str());
        return 1;
    }
    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in to {};
    to.sin_family = AF_INET;
    to.sin_port = htons((uint16_t)port);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    // lircd looks for a frame after a gap: one comes first.
    sendDuration(fd, to, false, 125000);
    for (int i = 4; i < argc; i++) {
        int b = MTABbuttonIndex(r.table, argv[i]);
        std::vector<uint32_t> frame = b >= 0 ? SYNframe(r.table, b) : std::vector<uint32_t>();
        if (frame.empty()) {
            fprintf(stderr, "vqx-remcheck: no button %s\n", argv[i]);
            return 1;
        }
        // The frame at once (lircd gives up on an edge that comes late, and a busy machine may
        // delay a sender that keeps real time), then the gap 125 ms after the frame's end.
        uint64_t length = 0;
        for (size_t k = 0; k + 1 < frame.size(); k++) {
            sendDuration(fd, to, k % 2 == 0, frame[k]);
            length += frame[k];
        }
        sleepUs(length + 125000);
        sendDuration(fd, to, false, 125000);
    }
    close(fd);
    return 0;
}

int main(int argc, char **argv)
{
    static char self[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    self[n > 0 ? n : 0] = '\0';
    mainArgs0 = self;
    if (argc < 2 || (strcmp(argv[1], "--send") == 0 && argc < 5)) {
        fprintf(stderr, "Usage: vqx-remcheck FILE.REM...\n       vqx-remcheck --send PORT FILE.REM BUTTON...\n");
        return 2;
    }
    if (!setUp()) {
        fprintf(stderr, "vqx-remcheck: no private preferences folder\n");
        return 2;
    }
    int status = 0;
    if (strcmp(argv[1], "--send") == 0)
        status = sendButtons(argc, argv);
    else
        for (int i = 1; i < argc; i++) {
            RemReadResult r = readRem(argv[i]);
            if (r.status != 0 || r.alerts > 0 || r.table.buttons.empty()) {
                printf("%s: ALERT %s\n", argv[i], r.alerts > 0 ? r.first.c_str() : "no command read");
                status = 1;
            } else
                printf("%s: %zu commands, FRQ %d, BIT %d\n", argv[i], r.table.buttons.size(), r.table.frequency,
                    r.table.bitTime);
        }
    tearDown();
    return status;
}
