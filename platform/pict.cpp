// Reads QuickDraw pictures, versions 1 and 2: the bitmap and pixel map opcodes are drawn into a
// pixel buffer the size of the frame, every other opcode is skipped by its size. Every read is
// bounds-checked; a picture that does not parse from its frame to its end opcode is rejected.
#include "platform/pict.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

// Big-endian reader over the picture data; a read past the end clears ok and yields zeros.
struct Reader {
    const uint8_t *data;
    size_t size;
    size_t pos = 0;
    bool ok = true;

    const uint8_t *take(size_t n)
    {
        if (!ok || n > size - pos) {
            ok = false;
            return nullptr;
        }
        const uint8_t *p = data + pos;
        pos += n;
        return p;
    }
    uint8_t u8()
    {
        const uint8_t *p = take(1);
        return p ? p[0] : 0;
    }
    uint16_t u16()
    {
        unsigned high = u8();
        return uint16_t(high << 8 | u8());
    }
    uint32_t u32()
    {
        uint32_t high = u16();
        return high << 16 | u16();
    }
    bool skip(size_t n) { return take(n), ok; }
    // A braced list is evaluated left to right: top, left, bottom, right.
    PictRect rect() { return PictRect{int16_t(u16()), int16_t(u16()), int16_t(u16()), int16_t(u16())}; }
};

// How rows of packed pixel data are framed. The classic rule packs rows of 8 bytes or more and
// uses a two-byte count above 250 bytes; real writers differ, so a picture is tried under each.
struct RowRule {
    bool packNarrow; // rows shorter than 8 bytes are packed too
    int countRule;   // two-byte counts when: 0 rowBytes > 250, 1 row units > 200, 2 width > 201
};
const RowRule kRowRules[] = {{false, 0}, {true, 0}, {false, 1}, {true, 1}, {false, 2}, {true, 2}};

// The header of a bitmap or pixel map as the bitmap opcodes carry it.
struct PixMapHead {
    bool isPixMap;
    int rowBytes;
    PictRect bounds;
    int width, height;
    int packType, pixelSize, cmpCount;
    uint32_t table[256]; // colours of the indexed pixel values
};

enum Layout { layoutIndexed, layoutRgb555, layoutXrgb, layoutRgb, layoutPlanes };
enum RowForm { rowRaw, rowPackedBytes, rowPackedWords };

// How the rows of one pixel map are stored: their form, their unpacked length and their layout.
struct RowPlan {
    RowForm form;
    size_t length;
    bool twoByteCount;
    Layout layout;
};

// One attempt at the whole picture under one row rule; image null when only checking.
struct Parse {
    Reader r;
    RowRule rule;
    int version;
    PictInfo info;
    PictRect clip;
    PICTIMAGE *image;
};

const PictRect kWideOpen = {-32768, -32768, 32767, 32767};

} // namespace

static bool readRegion(Reader &r, PictRect *bbox)
{
    uint16_t size = r.u16();
    if (size < 10)
        return false;
    *bbox = r.rect();
    return r.skip(size - 10u);
}

static bool readPixMapHead(Reader &r, uint16_t rowWord, PixMapHead &pm)
{
    pm.isPixMap = (rowWord & 0x8000) != 0;
    pm.rowBytes = rowWord & 0x7FFF;
    pm.bounds = r.rect();
    pm.width = pm.bounds.right - pm.bounds.left;
    pm.height = pm.bounds.bottom - pm.bounds.top;
    pm.packType = 0;
    pm.pixelSize = 1;
    pm.cmpCount = 1;
    for (uint32_t &c : pm.table)
        c = 0xFF000000u;
    if (pm.isPixMap) {
        r.u16(); // pmVersion
        pm.packType = r.u16();
        r.skip(4 + 4 + 4 + 2); // packSize, hRes, vRes, pixelType
        pm.pixelSize = r.u16();
        pm.cmpCount = r.u16();
        r.skip(2 + 4 + 4 + 4); // cmpSize, planeBytes, pmTable, pmReserved
    } else {
        pm.table[0] = 0xFFFFFFFFu; // a bitmap's 0 is white, 1 black
    }
    bool powerOfTwo = pm.pixelSize > 0 && pm.pixelSize <= 32 && (pm.pixelSize & (pm.pixelSize - 1)) == 0;
    return r.ok && powerOfTwo && pm.width > 0 && pm.height > 0 && pm.width <= kPictMaxSide &&
           pm.height <= kPictMaxSide && pm.rowBytes >= (pm.width * pm.pixelSize + 7) / 8;
}

static bool readColorTable(Reader &r, uint32_t *table)
{
    r.u32(); // ctSeed
    uint16_t flags = r.u16();
    unsigned entries = r.u16() + 1u;
    for (unsigned i = 0; i < entries && r.ok; i++) {
        unsigned value = r.u16();
        unsigned red = r.u16() >> 8, green = r.u16() >> 8, blue = r.u16() >> 8;
        unsigned index = (flags & 0x8000) ? i : value;
        if (index < 256)
            table[index] = 0xFF000000u | red << 16 | green << 8 | blue;
    }
    return r.ok;
}

// Decides how the rows are stored under the rule; false for combinations no picture holds.
static bool planRows(const PixMapHead &pm, bool packedOp, const RowRule &rule, RowPlan &plan)
{
    bool narrow = pm.rowBytes < 8 && !rule.packNarrow;
    bool packed = packedOp && !narrow;
    plan.form = rowRaw;
    plan.length = pm.rowBytes;
    size_t units = pm.width;
    if (pm.pixelSize <= 8) {
        plan.layout = layoutIndexed;
        if (packed)
            plan.form = rowPackedBytes;
    } else if (pm.pixelSize == 16) {
        int packType = pm.packType == 0 ? 3 : pm.packType;
        plan.layout = layoutRgb555;
        if (packed && packType == 3)
            plan.form = rowPackedWords;
        else if (packed && packType != 1)
            return false;
    } else {
        int packType = pm.packType == 0 ? 4 : pm.packType;
        plan.layout = layoutXrgb;
        if (packed && packType == 2) {
            plan.layout = layoutRgb;
            plan.length = size_t(pm.width) * 3;
        } else if (packed && packType == 4) {
            if (pm.cmpCount != 3 && pm.cmpCount != 4)
                return false;
            plan.form = rowPackedBytes;
            plan.layout = layoutPlanes;
            plan.length = size_t(pm.width) * pm.cmpCount;
            units = plan.length;
        } else if (packed && packType != 1) {
            return false;
        }
    }
    if (rule.countRule == 0)
        plan.twoByteCount = pm.rowBytes > 250;
    else if (rule.countRule == 1)
        plan.twoByteCount = units > 200;
    else
        plan.twoByteCount = pm.width > 201;
    return true;
}

// PackBits in units of 1 or 2 bytes; true when the input unpacks to exactly outLen bytes. With no
// output the row is only checked: finding a picture's layout needs no pixels.
static bool unpackRow(const uint8_t *in, size_t inLen, uint8_t *out, size_t outLen, size_t unit)
{
    size_t i = 0, o = 0;
    while (i < inLen) {
        unsigned flag = in[i++];
        if (flag < 128) {
            size_t n = (flag + 1) * unit;
            if (n > inLen - i || n > outLen - o)
                return false;
            if (out)
                memcpy(out + o, in + i, n);
            i += n;
            o += n;
        } else if (flag > 128) {
            size_t times = 257 - flag;
            if (unit > inLen - i || times * unit > outLen - o)
                return false;
            if (out && unit == 1)
                memset(out + o, in[i], times);
            else if (out)
                for (size_t t = 0; t < times; t++)
                    memcpy(out + o + t * unit, in + i, unit);
            o += times * unit;
            i += unit;
        }
    }
    return o == outLen;
}

static uint32_t rgb(unsigned red, unsigned green, unsigned blue)
{
    return 0xFF000000u | red << 16 | green << 8 | blue;
}

static void convertRow(const uint8_t *row, const PixMapHead &pm, Layout layout, uint32_t *line)
{
    size_t w = pm.width, alpha = pm.cmpCount == 4 ? w : 0;
    for (size_t x = 0; x < w; x++) {
        switch (layout) {
        case layoutIndexed: {
            size_t bit = x * pm.pixelSize;
            unsigned value = row[bit >> 3] >> (8 - pm.pixelSize - (bit & 7)) & ((1u << pm.pixelSize) - 1);
            line[x] = pm.table[value];
            break;
        }
        case layoutRgb555: {
            unsigned v = row[2 * x] << 8 | row[2 * x + 1];
            unsigned r5 = v >> 10 & 31, g5 = v >> 5 & 31, b5 = v & 31;
            line[x] = rgb(r5 << 3 | r5 >> 2, g5 << 3 | g5 >> 2, b5 << 3 | b5 >> 2);
            break;
        }
        case layoutXrgb:
            line[x] = rgb(row[4 * x + 1], row[4 * x + 2], row[4 * x + 3]);
            break;
        case layoutRgb:
            line[x] = rgb(row[3 * x], row[3 * x + 1], row[3 * x + 2]);
            break;
        case layoutPlanes: // an alpha plane comes first; QuickDraw draws the colour only
            line[x] = rgb(row[alpha + x], row[alpha + w + x], row[alpha + 2 * w + x]);
            break;
        }
    }
}

static int64_t ceilDiv(int64_t num, int64_t den)
{
    return (num + den - 1) / den; // num >= 0, den > 0
}

// Where the rows of one pixel map land: src (in the map's coordinates) is scaled onto dst (in
// the picture's), limited to the frame, the clip and the mask.
struct Blit {
    bool active = false;
    int top = 0, bottom = 0;
    int left = 0;
    PictRect src{}, dst{};
    std::vector<int> column; // for each drawn x from left: the pixel of the row, or -1
};

static void setupBlit(const Parse &p, const PixMapHead &pm, PictRect src, PictRect dst, PictRect mask, Blit &b)
{
    const PictRect &frame = p.info.sourceRect;
    int sw = src.right - src.left, sh = src.bottom - src.top;
    int dw = dst.right - dst.left, dh = dst.bottom - dst.top;
    int left = std::max({int(dst.left), int(frame.left), int(p.clip.left), int(mask.left)});
    int right = std::min({int(dst.right), int(frame.right), int(p.clip.right), int(mask.right)});
    b.top = std::max({int(dst.top), int(frame.top), int(p.clip.top), int(mask.top)});
    b.bottom = std::min({int(dst.bottom), int(frame.bottom), int(p.clip.bottom), int(mask.bottom)});
    b.active = sw > 0 && sh > 0 && dw > 0 && dh > 0 && left < right && b.top < b.bottom;
    if (!b.active)
        return;
    b.left = left;
    b.src = src;
    b.dst = dst;
    b.column.resize(size_t(right - left));
    for (int dx = left; dx < right; dx++) {
        int64_t sx = src.left + int64_t(dx - dst.left) * sw / dw;
        int64_t px = sx - pm.bounds.left;
        b.column[size_t(dx - left)] = (px >= 0 && px < pm.width) ? int(px) : -1;
    }
}

static void blitRow(Parse &p, const Blit &b, const PixMapHead &pm, int y, const uint32_t *line)
{
    int64_t a = int64_t(pm.bounds.top) + y - b.src.top;
    int64_t sh = b.src.bottom - b.src.top, dh = b.dst.bottom - b.dst.top;
    if (!b.active || a < 0 || a >= sh)
        return;
    int64_t first = std::max<int64_t>(b.dst.top + ceilDiv(a * dh, sh), b.top);
    int64_t last = std::min<int64_t>(b.dst.top + ceilDiv((a + 1) * dh, sh), b.bottom);
    const PictRect &frame = p.info.sourceRect;
    PICTIMAGE *image = p.image;
    for (int64_t dy = first; dy < last; dy++) {
        uint32_t *out = &image->pixels[size_t(dy - frame.top) * size_t(image->width) + size_t(b.left - frame.left)];
        for (size_t i = 0; i < b.column.size(); i++)
            if (b.column[i] >= 0)
                out[i] = line[b.column[i]];
    }
}

// Reads the rows of a pixel map, drawing them when the attempt draws and a blit is given.
static bool readRows(Parse &p, const PixMapHead &pm, const RowPlan &plan, const Blit *blit)
{
    Reader &r = p.r;
    std::vector<uint8_t> row(plan.length);
    std::vector<uint32_t> line(blit && blit->active && p.image ? size_t(pm.width) : 0);
    for (int y = 0; y < pm.height; y++) {
        const uint8_t *bytes;
        if (plan.form == rowRaw) {
            bytes = r.take(plan.length);
        } else {
            size_t count = plan.twoByteCount ? r.u16() : r.u8();
            const uint8_t *packed = r.take(count);
            size_t unit = plan.form == rowPackedWords ? 2 : 1;
            uint8_t *target = line.empty() ? nullptr : row.data();
            bytes = packed && unpackRow(packed, count, target, plan.length, unit) ? row.data() : nullptr;
        }
        if (!bytes)
            return false;
        if (!line.empty()) {
            convertRow(bytes, pm, plan.layout, line.data());
            blitRow(p, *blit, pm, y, line.data());
        }
    }
    return true;
}

// 0090 BitsRect, 0091 BitsRgn, 0098 PackBitsRect, 0099 PackBitsRgn, 009A DirectBitsRect,
// 009B DirectBitsRgn.
static bool drawBits(Parse &p, unsigned op)
{
    Reader &r = p.r;
    bool direct = op >= 0x9A;
    if (direct)
        r.u32(); // baseAddr
    PixMapHead pm;
    if (!readPixMapHead(r, r.u16(), pm))
        return false;
    if (direct && (!pm.isPixMap || pm.pixelSize < 16))
        return false;
    if (pm.isPixMap && !direct && !readColorTable(r, pm.table))
        return false;
    PictRect src = r.rect(), dst = r.rect();
    r.u16(); // transfer mode: every mode is drawn as a copy
    PictRect mask = kWideOpen;
    if ((op & 1) && !readRegion(r, &mask))
        return false;
    RowPlan plan;
    if (!r.ok || !planRows(pm, op >= 0x98, p.rule, plan))
        return false;
    if (pm.isPixMap)
        p.info.pixMapCount++;
    else
        p.info.bitMapCount++;
    Blit blit;
    if (p.image)
        setupBlit(p, pm, src, dst, mask, blit);
    return readRows(p, pm, plan, &blit);
}

// 0012-0014: a pattern, with a pixel map of its own when its type is 1.
static bool skipPixPat(Parse &p)
{
    Reader &r = p.r;
    uint16_t type = r.u16();
    r.skip(8);
    if (type == 2)
        return r.skip(6);
    if (type != 1)
        return r.ok;
    PixMapHead pm;
    if (!readPixMapHead(r, r.u16(), pm) || !pm.isPixMap || !readColorTable(r, pm.table))
        return false;
    RowPlan plan;
    return planRows(pm, true, p.rule, plan) && readRows(p, pm, plan, nullptr);
}

static bool skipCounted(Reader &r, size_t before)
{
    r.skip(before);
    return r.skip(r.u8());
}

// Every opcode that draws nothing here, skipped by its size.
static bool skipOpcode(Parse &p, unsigned op)
{
    Reader &r = p.r;
    if (op >= 0x8100)
        return r.skip(r.u32());
    if (op >= 0x8000)
        return true;
    if (op >= 0x0100)
        return r.skip(2 * (op >> 8));
    if (op >= 0xD0)
        return r.skip(r.u32());
    if (op >= 0xB0)
        return true;
    if ((op >= 0x24 && op <= 0x27) || (op >= 0x2C && op <= 0x2F) || (op >= 0x92 && op <= 0x97) ||
        (op >= 0x9C && op <= 0x9F) || op >= 0xA2)
        return r.skip(r.u16());
    if (op >= 0x70 && op <= 0x87 && !(op >= 0x78 && op <= 0x7F)) {
        PictRect bbox;
        return readRegion(r, &bbox);
    }
    // Data sizes of 0000-006F; -1: read below.
    static const int8_t fixedSize[0x70] = {
        0, -1, 8, 2, 1, 2, 4, 4, 2, 8, 8, 4, 4, 2, 4, 4, 8, -1, -1, -1, -1, 2, 2, 0, 0, 0, 6, 6, 0, 6, 0, 6,   // 00-1F
        8, 4, 6, 2, 0, 0, 0, 0, -1, -1, -1, -1, 0, 0, 0, 0, 8, 8, 8, 8, 8, 8, 8, 8, 0, 0, 0, 0, 0, 0, 0, 0, // 20-3F
        8, 8, 8, 8, 8, 8, 8, 8, 0, 0, 0, 0, 0, 0, 0, 0, 8, 8, 8, 8, 8, 8, 8, 8, 0, 0, 0, 0, 0, 0, 0, 0,     // 40-5F
        12, 12, 12, 12, 12, 12, 12, 12, 4, 4, 4, 4, 4, 4, 4, 4,                                             // 60-6F
    };
    switch (op) {
    case 0x01: // Clip: its bounding box limits what the bitmaps draw
        return readRegion(r, &p.clip);
    case 0x11: // version
        return r.skip(p.version == 2 ? 2 : 1);
    case 0x12: case 0x13: case 0x14:
        return skipPixPat(p);
    case 0x28: // LongText
        return skipCounted(r, 4);
    case 0x29: case 0x2A: // DHText, DVText
        return skipCounted(r, 1);
    case 0x2B: // DHDVText
        return skipCounted(r, 2);
    case 0xA0: // ShortComment
        p.info.commentCount++;
        return r.skip(2);
    case 0xA1: { // LongComment
        p.info.commentCount++;
        r.u16();
        return r.skip(r.u16());
    }
    default:
        break;
    }
    if (op < 0x70)
        return r.skip(size_t(fixedSize[op]));
    return true; // 0078-007F, 0088-008F: nothing follows
}

// One pass over the picture under one row rule. 0 when it parses to its end opcode; *end is where
// the parse stopped.
static int parsePicture(const uint8_t *data, size_t size, const RowRule &rule, PictInfo *info, PICTIMAGE *image,
                        size_t *end)
{
    Parse p{Reader{data, size}, rule, 1, PictInfo{}, kWideOpen, image};
    Reader &r = p.r;
    r.u16(); // picSize: the low 16 bits of a size nobody keeps right
    PictRect frame = r.rect();
    int width = frame.right - frame.left, height = frame.bottom - frame.top;
    if (!r.ok || width <= 0 || height <= 0 || width > kPictMaxSide || height > kPictMaxSide)
        return pictureDataErr;
    while (r.pos < size && data[r.pos] == 0)
        r.pos++;
    if (r.u8() != 0x11)
        return pictureDataErr;
    uint8_t v = r.u8();
    if (v == 2 && r.u8() == 0xFF)
        p.version = 2;
    else if (v != 1)
        return pictureDataErr;
    p.info.version = int16_t(p.version);
    p.info.sourceRect = frame;
    p.info.hRes = p.info.vRes = 72 << 16;
    if (image) {
        image->width = width;
        image->height = height;
        image->pixels.assign(size_t(width) * size_t(height), 0xFFFFFFFFu);
    }
    for (;;) {
        unsigned op;
        if (p.version == 2) {
            if (r.pos & 1)
                r.skip(1);
            op = r.u16();
        } else {
            op = r.u8();
        }
        if (!r.ok)
            return pictureDataErr;
        if (op == (p.version == 2 ? 0x00FFu : 0xFFu))
            break;
        bool parsed;
        if (op == 0x0C00) { // HeaderOp: the extended form gives the resolution
            const uint8_t *h = r.take(24);
            parsed = h != nullptr;
            if (parsed && h[0] == 0xFF && h[1] == 0xFE) {
                p.info.hRes = int32_t(uint32_t(h[4]) << 24 | h[5] << 16 | h[6] << 8 | h[7]);
                p.info.vRes = int32_t(uint32_t(h[8]) << 24 | h[9] << 16 | h[10] << 8 | h[11]);
            }
        } else if ((op >= 0x90 && op <= 0x91) || (op >= 0x98 && op <= 0x9B)) {
            parsed = drawBits(p, op);
        } else {
            parsed = skipOpcode(p, op);
        }
        if (!parsed)
            return pictureDataErr;
    }
    *info = p.info;
    *end = r.pos;
    return 0;
}

// The row rule the picture parses under: the first that reaches the end of the data exactly,
// else the first that parses at all; -1 when none does.
static int findRowRule(const uint8_t *data, size_t size, PictInfo *info)
{
    int found = -1;
    PictInfo first{};
    for (int i = 0; i < int(sizeof kRowRules / sizeof kRowRules[0]); i++) {
        PictInfo attempt;
        size_t end = 0;
        if (parsePicture(data, size, kRowRules[i], &attempt, nullptr, &end) != 0)
            continue;
        if (end == size) {
            *info = attempt;
            return i;
        }
        if (found < 0) {
            found = i;
            first = attempt;
        }
    }
    *info = first;
    return found;
}

int GetPictInfo(const uint8_t *data, size_t size, PictInfo *info, int16_t, int16_t, int16_t, int16_t)
{
    *info = PictInfo{};
    if (!data || findRowRule(data, size, info) < 0)
        return pictureDataErr;
    return 0;
}

int PICTdecode(const uint8_t *data, size_t size, PICTIMAGE *image)
{
    *image = PICTIMAGE{};
    PictInfo info;
    int rule = data ? findRowRule(data, size, &info) : -1;
    size_t end = 0;
    if (rule < 0 || parsePicture(data, size, kRowRules[rule], &info, image, &end) != 0) {
        *image = PICTIMAGE{};
        return pictureDataErr;
    }
    return 0;
}

int PICTreadFile(const char *path, PICTIMAGE *image)
{
    *image = PICTIMAGE{};
    FILE *f = fopen(path, "rb");
    if (!f)
        return -43;
    long length = fseek(f, 0, SEEK_END) == 0 ? ftell(f) : -1;
    std::vector<uint8_t> bytes(length > kPictFileHeaderSize ? size_t(length) : 0);
    bool read = length >= 0 && fseek(f, 0, SEEK_SET) == 0 && fread(bytes.data(), 1, bytes.size(), f) == bytes.size();
    fclose(f);
    if (!read)
        return -43;
    if (bytes.empty())
        return pictureDataErr;
    return PICTdecode(bytes.data() + kPictFileHeaderSize, bytes.size() - kPictFileHeaderSize, image);
}
