// The picture writer of the remote-picture tool: one DirectBitsRect (packType 4, three planes) in
// a version 2 picture with the extended header, as QuickDraw and the common readers expect it.
#include "pict_writer.h"

namespace {

struct Out {
    std::string bytes;
    void u8(unsigned v) { bytes.push_back(char(v & 0xFF)); }
    void u16(unsigned v)
    {
        u8(v >> 8);
        u8(v);
    }
    void u32(uint32_t v)
    {
        u16(v >> 16);
        u16(v & 0xFFFF);
    }
    void rect(int top, int left, int bottom, int right)
    {
        u16(unsigned(top));
        u16(unsigned(left));
        u16(unsigned(bottom));
        u16(unsigned(right));
    }
};

} // namespace

// PackBits: runs of two or more equal bytes as a repeat, the rest as literals of up to 128 bytes.
static std::string packBits(const std::vector<uint8_t> &in)
{
    std::string out;
    size_t n = in.size(), i = 0;
    while (i < n) {
        size_t run = 1;
        while (i + run < n && run < 128 && in[i + run] == in[i])
            run++;
        if (run >= 2) {
            out.push_back(char(257 - run));
            out.push_back(char(in[i]));
            i += run;
            continue;
        }
        size_t start = i;
        while (i < n && i - start < 128 && !(i + 1 < n && in[i] == in[i + 1]))
            i++;
        out.push_back(char(i - start - 1));
        out.append(reinterpret_cast<const char *>(&in[start]), i - start);
    }
    return out;
}

std::string PICTWRITEdirect(int width, int height, const std::vector<uint32_t> &pixels)
{
    // Rows above 250 bytes take a two-byte count. Between 63 and 66 pixels that rule and the one
    // some readers use (three planes above 200 bytes) disagree, so those widths are not written.
    if (width < 1 || width > 4095 || (width >= 63 && width <= 66) || height < 1 || height > 8192 ||
        pixels.size() != size_t(width) * size_t(height))
        return std::string();
    const int rowBytes = 4 * width;
    const uint32_t res72 = 72u << 16;
    Out o;
    o.bytes.assign(512, '\0');
    o.u16(0); // picSize, set below
    o.rect(0, 0, height, width);
    o.u16(0x0011);
    o.u16(0x02FF);
    o.u16(0x0C00); // extended version 2 header
    o.u16(0xFFFE);
    o.u16(0);
    o.u32(res72);
    o.u32(res72);
    o.rect(0, 0, height, width);
    o.u32(0);
    o.u16(0x001E); // DefHilite
    o.u16(0x0001); // Clip: the frame
    o.u16(10);
    o.rect(0, 0, height, width);
    o.u16(0x009A); // DirectBitsRect
    o.u32(0xFF);   // baseAddr
    o.u16(0x8000 | rowBytes);
    o.rect(0, 0, height, width);
    o.u16(0);      // pmVersion
    o.u16(4);      // packType: component planes, PackBits
    o.u32(0);      // packSize
    o.u32(res72);  // hRes
    o.u32(res72);  // vRes
    o.u16(16);     // pixelType: RGBDirect
    o.u16(32);     // pixelSize
    o.u16(3);      // cmpCount
    o.u16(8);      // cmpSize
    o.u32(0);      // planeBytes
    o.u32(0);      // pmTable
    o.u32(0);      // pmReserved
    o.rect(0, 0, height, width); // srcRect
    o.rect(0, 0, height, width); // dstRect
    o.u16(0);      // srcCopy
    std::vector<uint8_t> planes(size_t(width) * 3);
    for (int y = 0; y < height; y++) {
        const uint32_t *row = &pixels[size_t(y) * size_t(width)];
        for (int x = 0; x < width; x++) {
            planes[size_t(x)] = uint8_t(row[x] >> 16);
            planes[size_t(width + x)] = uint8_t(row[x] >> 8);
            planes[size_t(2 * width + x)] = uint8_t(row[x]);
        }
        std::string packed = packBits(planes);
        if (rowBytes > 250)
            o.u16(unsigned(packed.size()));
        else
            o.u8(unsigned(packed.size()));
        o.bytes += packed;
    }
    if ((o.bytes.size() - 512) & 1)
        o.u8(0);
    o.u16(0x00FF);
    size_t picSize = o.bytes.size() - 512;
    o.bytes[512] = char(picSize >> 8 & 0xFF);
    o.bytes[513] = char(picSize & 0xFF);
    return o.bytes;
}
