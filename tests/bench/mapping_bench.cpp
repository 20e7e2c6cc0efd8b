// Speed of reading and writing a large mapping: 20 applications of 99 buttons each, every action
// type, with a remote of 99 buttons, generated in a temporary preferences folder.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

#include "mapping/config.h"
#include "mapping/mapfile.h"
#include "mapping/remote.h"
#include "shell/files.h"
#include "bench/bench_files.h"
#include "support/test_support.h"

namespace {

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
            rem += "CMD " + BENCHbuttonName(b) + " 1008 0103 0103 0101 0103 0101 0128\n";
        writeFile(folder + "/bench.REM", rem);
        writeFile(folder + "/bench.map", BENCHmapText(script));
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
