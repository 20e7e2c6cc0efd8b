// QuickDraw pictures (the data of a .pic file after its 512-byte header): checking a picture as the
// toolbox's GetPictInfo does, and drawing it into a plain pixel buffer. No Qt here.
#ifndef VQX_PLATFORM_PICT_H
#define VQX_PLATFORM_PICT_H

#include <cstddef>
#include <cstdint>
#include <vector>

enum {
    kPictFileHeaderSize = 512, // bytes before the picture in a .pic file, skipped unread
    kPictMaxSide = 8192,       // largest frame (and pixel map) width or height accepted
};

// The toolbox's picture-information error codes; pictureDataErr is what a picture that cannot be
// parsed gives.
enum {
    pictInfoVersionErr = -11000,
    pictInfoIDErr = -11001,
    pictInfoVerbErr = -11002,
    cantLoadPickMethodErr = -11003,
    colorsRequestedErr = -11004,
    pictureDataErr = -11005,
};

// A QuickDraw rectangle, in the order the picture holds it.
struct PictRect {
    int16_t top, left, bottom, right;
};

// What GetPictInfo reports about a picture (the part of the toolbox record that is computed here).
struct PictInfo {
    int16_t version;      // 1 or 2
    int32_t hRes, vRes;   // resolution as Fixed 16.16 (72 dpi unless the header says otherwise)
    PictRect sourceRect;  // the picture frame
    int32_t bitMapCount;  // 1-bit bitmaps drawn
    int32_t pixMapCount;  // pixel maps drawn (indexed and direct)
    int32_t commentCount; // picture comments
};

// A drawn picture: width x height pixels, row after row, each 0xAARRGGBB (always opaque).
struct PICTIMAGE {
    int width = 0;
    int height = 0;
    std::vector<uint32_t> pixels;
};

// Checks the picture data (everything after the file header) and fills info. The picture must
// parse from its frame to its end opcode: versions 1 and 2, the bitmap and pixel map opcodes, every
// other opcode skipped by its size. The verb and colour options are accepted and not used.
// 0, or pictureDataErr.
int GetPictInfo(const uint8_t *data, size_t size, PictInfo *info, int16_t verb, int16_t colorsRequested,
                int16_t colorPickMethod, int16_t version);

// Draws the picture data into a fresh white image the size of its frame (pixel (0, 0) is the
// frame's top-left corner). 0, or pictureDataErr (image left empty).
int PICTdecode(const uint8_t *data, size_t size, PICTIMAGE *image);

// Reads a whole .pic file and draws the picture after its header. 0, -43 when the file cannot be
// read, or pictureDataErr.
int PICTreadFile(const char *path, PICTIMAGE *image);

#endif
