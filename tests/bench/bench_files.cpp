// Writes the benchmarks' large mapping: each application gives its buttons the action types in
// turn, with repeats, flags and escapes, so that every reader path is taken.
#include "bench/bench_files.h"

#include <cstdio>

std::string BENCHbuttonName(int i)
{
    return "Button" + std::to_string(i);
}

static std::string actionLine(int appl, int button, const std::string &script)
{
    std::string name = BENCHbuttonName(button);
    char line[512];
    switch ((appl + button) % 10) {
    case 0:
        snprintf(
            line, sizeof line, "ACT %-11s KEY %08x %04x %3d %3d %2d %d", name.c_str(), 0x240d, 0x1000, -1, -1, -1, -1);
        break;
    case 1:
        snprintf(line, sizeof line, "ACT %-11s MOU %08x %3d %3d %2d %d", name.c_str(), 0x5501, 250, 50, 1, 50);
        break;
    case 2:
        snprintf(line, sizeof line, "ACT %-11s SCR \"%s\" %3d %3d %2d %d", name.c_str(), script.c_str(), 0, 0, 0, 0);
        break;
    case 3:
        snprintf(line, sizeof line, "ACT %-11s LAUNCH \"/usr/share/applications/vlc.desktop\" %3d %3d %2d %d",
            name.c_str(), 0, 0, 0, 0);
        break;
    case 4:
        snprintf(line, sizeof line, "ACT %-11s VOL CHG -12 500 150 10 75 1 0", name.c_str());
        break;
    case 5:
        snprintf(line, sizeof line, "ACT %-11s VOL SET 127   0   0  0 0 1 0", name.c_str());
        break;
    case 6:
        snprintf(line, sizeof line, "ACT %-11s VOL MUTE 2   0   0  0 0 0 0 DIS", name.c_str());
        break;
    case 7:
        snprintf(line, sizeof line, "ACT %-11s VOL FADE 3   0   0  0 0 0 1 OVR", name.c_str());
        break;
    case 8:
        snprintf(line, sizeof line, "ACT %-11s TXT 22 [Thank you!\\tQuestions? DIS OVR", name.c_str());
        break;
    default:
        snprintf(line, sizeof line, "ACT %-11s NO_ACTION", name.c_str());
        break;
    }
    return std::string(line) + "\n";
}

std::string BENCHmapText(const std::string &script)
{
    std::string map = "MAPVER 2\n";
    for (int a = 0; a < kAppls; a++) {
        map += a == 1 ? "\nAPPL *GLOBAL*\n\n" : "\nAPPL Application " + std::to_string(a) + "\n\n";
        for (int b = 0; b < kButtons; b++)
            map += actionLine(a, b, script);
    }
    return map;
}
