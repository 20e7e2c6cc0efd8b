// Fuzz target of the picture reader: any bytes as the picture data of a .pic file (what follows
// its 512-byte header). Checking must never read out of bounds; a picture it accepts must draw
// to an image of exactly its frame.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "platform/pict.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    PictInfo info;
    if (GetPictInfo(data, size, &info, 0, 0, 0, 0) != 0)
        return 0;
    int64_t width = info.sourceRect.right - info.sourceRect.left;
    int64_t height = info.sourceRect.bottom - info.sourceRect.top;
    if (width * height > (1 << 16)) // drawing large frames only costs time: small ones reach the same code
        return 0;
    PICTIMAGE image;
    if (PICTdecode(data, size, &image) != 0 || image.width != width || image.height != height
        || image.pixels.size() != size_t(width * height))
        abort();
    return 0;
}
