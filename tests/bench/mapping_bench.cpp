// Speed of reading and writing a large mapping: 20 applications of 99 buttons each, every action
// type, with a remote of 99 buttons, generated in a temporary preferences folder.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

#include "mapping/config.h"
#include "mapping/mapfile.h"
#include "mapping/remote.h"
#include "shell/files.h"
#include "support/test_support.h"

namespace {

const int kAppls = 20;
const int kButtons = 99;

std::string buttonName(int i)
{
    return "Button" + std::to_string(i);
}

std::string actionLine(int appl, int button, const std::string &script)
{
    std::string name = buttonName(button);
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

// The generated preferences folder, set up once for all benchmarks.
struct BenchFiles {
    TempConfigHome home;
    std::string programPath = std::string(VQX_APPDIR) + "/vqx-map-editor";
    BenchFiles()
    {
        mainArgs0 = programPath.c_str();
        home.install(false);
        std::string folder = home.prefsFolder();
        std::string script = folder + "/go.lua";
        writeFile(script, "print('go')\n");
        std::string rem = "FRQ 38000\nBIT 562\n";
        for (int b = 0; b < kButtons; b++)
            rem += "CMD " + buttonName(b) + " 1008 0103 0103 0101 0103 0101 0128\n";
        writeFile(folder + "/bench.REM", rem);
        std::string map = "MAPVER 2\n";
        for (int a = 0; a < kAppls; a++) {
            map += a == 1 ? "\nAPPL *GLOBAL*\n\n" : "\nAPPL Application " + std::to_string(a) + "\n\n";
            for (int b = 0; b < kButtons; b++)
                map += actionLine(a, b, script);
        }
        writeFile(folder + "/bench.map", map);
        writeFile(folder + "/" VQX_CONFIG_FILE_NAME, "UI\nMAP bench.map\nREM bench.REM\nINT USB\nMEM 40000\n");
        readGlobalConfiguration();
    }
};

BenchFiles &files()
{
    static BenchFiles instance;
    return instance;
}

void checkModel(benchmark::State &state)
{
    int actions = 0;
    for (int i = 0; i < numApplications; i++)
        actions += MAPlistLength(&theActionByApplList[i]);
    if (numApplications != kAppls || actions != kAppls * kButtons || REMcommandCount() != kButtons || mapFileError != 0)
        state.SkipWithError("the generated mapping did not read back whole");
}
} // namespace

static void BM_ReadMappingAndRemote(benchmark::State &state)
{
    files();
    for (auto _ : state)
        benchmark::DoNotOptimize(readMapAndRemFiles());
    checkModel(state);
    state.SetItemsProcessed(state.iterations() * kAppls * kButtons);
}
BENCHMARK(BM_ReadMappingAndRemote)->Unit(benchmark::kMicrosecond);

static void BM_ReadMappingOnly(benchmark::State &state)
{
    files();
    readMapAndRemFiles();
    for (auto _ : state)
        benchmark::DoNotOptimize(parseMapFile("bench.map"));
    checkModel(state);
}
BENCHMARK(BM_ReadMappingOnly)->Unit(benchmark::kMicrosecond);

static void BM_WriteMapping(benchmark::State &state)
{
    files();
    readMapAndRemFiles();
    for (auto _ : state)
        benchmark::DoNotOptimize(writeMapFile("written.map"));
    if (writeMapFile("written.map") != 0)
        state.SkipWithError("the save failed");
}
BENCHMARK(BM_WriteMapping)->Unit(benchmark::kMicrosecond);

// The same lines without the file system's part (temporary file, sync, rename).
static void BM_FormatMapping(benchmark::State &state)
{
    files();
    readMapAndRemFiles();
    FILE *sink = fopen("/dev/null", "w");
    for (auto _ : state) {
        for (int i = 0; i < numApplications; i++)
            for (ActionRecord *action = theActionByApplList[i].first; action; action = action->next)
                writeAction(sink, action);
        fflush(sink);
    }
    fclose(sink);
}
BENCHMARK(BM_FormatMapping)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
