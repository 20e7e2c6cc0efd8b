// Speed of looking at and decoding the pictures of the pristine remotes: start-up looks at the
// current remote's picture to enable "Show Remote"; showing it decodes it.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <vector>

#include "platform/pict.h"
#include "support/test_support.h"

namespace {

// The picture data of a pristine remote's .pic file, without its 512-byte header.
std::vector<uint8_t> pictureOf(const char *remote)
{
    std::string path = appDir() + "/" + remote + ".pic";
    std::vector<uint8_t> bytes;
    if (FILE *f = fopen(path.c_str(), "rb")) {
        uint8_t buffer[65536];
        size_t got;
        while ((got = fread(buffer, 1, sizeof buffer, f)) > 0)
            bytes.insert(bytes.end(), buffer, buffer + got);
        fclose(f);
    }
    if (bytes.size() > kPictFileHeaderSize)
        bytes.erase(bytes.begin(), bytes.begin() + kPictFileHeaderSize);
    return bytes;
}

void BM_PictInfoOfRemotePicture(benchmark::State &state)
{
    std::vector<uint8_t> data = pictureOf("OrvendaVQXM2A");
    PictInfo info;
    for (auto _ : state) {
        if (GetPictInfo(data.data(), data.size(), &info, 0, 0, 0, 0) != 0)
            state.SkipWithError("the picture was refused");
        benchmark::DoNotOptimize(info);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(data.size()));
}
BENCHMARK(BM_PictInfoOfRemotePicture)->Unit(benchmark::kMicrosecond);

void BM_PictDecodeRemotePicture(benchmark::State &state)
{
    std::vector<uint8_t> data = pictureOf("OrvendaVQXM2A");
    for (auto _ : state) {
        PICTIMAGE image;
        if (PICTdecode(data.data(), data.size(), &image) != 0)
            state.SkipWithError("the picture was refused");
        benchmark::DoNotOptimize(image.pixels.data());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(data.size()));
}
BENCHMARK(BM_PictDecodeRemotePicture)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
