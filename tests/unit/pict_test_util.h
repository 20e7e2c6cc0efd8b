// Helpers of the picture tests: a byte builder for hand-made pictures, PPM images written and
// read back, and running the image tools that make pictures the project did not write.
#ifndef VQX_TESTS_PICT_TEST_UTIL_H
#define VQX_TESTS_PICT_TEST_UTIL_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

#include "platform/pict.h"

// Picture data built opcode by opcode, big-endian.
struct PictBytes {
    std::string bytes;

    PictBytes &u8(unsigned v)
    {
        bytes.push_back(char(v & 0xFF));
        return *this;
    }
    PictBytes &u16(unsigned v) { return u8(v >> 8).u8(v); }
    PictBytes &u32(uint32_t v) { return u16(v >> 16).u16(v); }
    PictBytes &rect(int top, int left, int bottom, int right) { return u16(top).u16(left).u16(bottom).u16(right); }
    PictBytes &raw(const std::string &s)
    {
        bytes += s;
        return *this;
    }
    // Pads to an even offset, as version 2 opcodes stand.
    PictBytes &align()
    {
        if (bytes.size() & 1)
            u8(0);
        return *this;
    }
    const uint8_t *data() const { return reinterpret_cast<const uint8_t *>(bytes.data()); }
    size_t size() const { return bytes.size(); }
};

// The start of a version 2 picture with the given frame, up to and including the extended header.
inline PictBytes pictV2(int top, int left, int bottom, int right)
{
    PictBytes p;
    p.u16(0).rect(top, left, bottom, right).u16(0x0011).u16(0x02FF).u16(0x0C00);
    p.u16(0xFFFE).u16(0).u32(72 << 16).u32(72 << 16).rect(top, left, bottom, right).u32(0);
    return p;
}

// The start of a version 1 picture.
inline PictBytes pictV1(int top, int left, int bottom, int right)
{
    PictBytes p;
    p.u16(0).rect(top, left, bottom, right).u8(0x11).u8(0x01);
    return p;
}

inline uint32_t argb(unsigned r, unsigned g, unsigned b)
{
    return 0xFF000000u | r << 16 | g << 8 | b;
}

// A picture-sized image of opaque pixels.
struct TestImage {
    int width = 0, height = 0;
    std::vector<uint32_t> pixels;
    uint32_t at(int x, int y) const { return pixels[size_t(y) * size_t(width) + size_t(x)]; }
};

inline bool writePPM(const std::string &path, const TestImage &img)
{
    FILE *f = fopen(path.c_str(), "wb");
    if (!f)
        return false;
    fprintf(f, "P6\n%d %d\n255\n", img.width, img.height);
    for (uint32_t p : img.pixels) {
        unsigned char rgb[3] = {uint8_t(p >> 16), uint8_t(p >> 8), uint8_t(p)};
        fwrite(rgb, 1, 3, f);
    }
    return fclose(f) == 0;
}

// Reads a binary PPM with maxval 255 (what the image tools write); false for anything else.
inline bool readPPM(const std::string &path, TestImage &img)
{
    FILE *f = fopen(path.c_str(), "rb");
    if (!f)
        return false;
    int w = 0, h = 0, maxval = 0;
    bool ok = fscanf(f, "P6 %d %d %d", &w, &h, &maxval) == 3 && maxval == 255 && w > 0 && h > 0 && fgetc(f) != EOF;
    if (ok) {
        img.width = w;
        img.height = h;
        img.pixels.assign(size_t(w) * size_t(h), 0);
        for (uint32_t &p : img.pixels) {
            unsigned char rgb[3];
            if (fread(rgb, 1, 3, f) != 3) {
                ok = false;
                break;
            }
            p = argb(rgb[0], rgb[1], rgb[2]);
        }
    }
    fclose(f);
    return ok;
}

// A test pattern of at most `colours` distinct colours (bands, a diagonal and a checker), so that
// runs and literals both occur in every row.
inline TestImage patternImage(int width, int height, int colours)
{
    TestImage img;
    img.width = width;
    img.height = height;
    for (int y = 0; y < height; y++)
        for (int x = 0; x < width; x++) {
            int band = (x / 7 + y / 5) % 4;
            int value = band == 0 ? (x * 3 + y) : band == 1 ? ((x + y) & 1) * 17 : band == 2 ? y : x * y;
            int c = value % colours;
            img.pixels.push_back(argb((c * 53) & 0xFF, (c * 97 + 40) & 0xFF, (255 - c * 29) & 0xFF));
        }
    return img;
}

inline bool toolAvailable(const char *path)
{
    return access(path, X_OK) == 0;
}

inline int runCommand(const std::string &command)
{
    return system((command + " 2>/dev/null").c_str());
}

// A fresh temporary folder, removed by the destructor.
struct TempFolder {
    std::string path;
    TempFolder()
    {
        char pattern[] = "/tmp/vqx-pict-XXXXXX";
        path = mkdtemp(pattern);
    }
    ~TempFolder() { runCommand("rm -rf '" + path + "'"); }
    std::string operator/(const std::string &name) const { return path + "/" + name; }
};

#endif
