// Hand-made pictures for what the common writers never emit: version 1, bitmaps, 2- and 4-bit
// indexed maps, 16-bit and unpacked 32-bit pixels, masks, clipping, scaling, skipped opcodes, and
// data that must be rejected.
#include <gtest/gtest.h>

#include "unit/pict_test_util.h"

static const uint32_t kWhite = 0xFFFFFFFFu;
static const uint32_t kBlack = 0xFF000000u;

static uint32_t pixel(const PICTIMAGE &img, int x, int y)
{
    return img.pixels[size_t(y) * size_t(img.width) + size_t(x)];
}

// The PixMap fields after bounds, for the given packing and pixel size.
static void pixMapFields(PictBytes &p, int packType, int pixelSize, int cmpCount)
{
    p.u16(0).u16(packType).u32(0).u32(72 << 16).u32(72 << 16);
    p.u16(pixelSize >= 16 ? 16 : 0).u16(pixelSize).u16(cmpCount).u16(pixelSize >= 16 ? 8 : pixelSize);
    p.u32(0).u32(0).u32(0);
}

// A DirectBitsRect header over bounds (0, 0, h, w) drawn at the same place.
static void directBitsHead(PictBytes &p, int rowBytes, int h, int w, int packType, int pixelSize, int cmpCount)
{
    p.u16(0x009A).u32(0xFF).u16(0x8000 | rowBytes).rect(0, 0, h, w);
    pixMapFields(p, packType, pixelSize, cmpCount);
    p.rect(0, 0, h, w).rect(0, 0, h, w).u16(0);
}

static int decode(const PictBytes &p, PICTIMAGE &img)
{
    return PICTdecode(p.data(), p.size(), &img);
}

TEST(PictDecode, VersionOneBitsRectDrawsOnesBlackAndZerosWhite)
{
    PictBytes p = pictV1(0, 0, 2, 10);
    p.u8(0x90).u16(2).rect(0, 0, 2, 10).rect(0, 0, 2, 10).rect(0, 0, 2, 10).u16(0);
    p.u8(0xAA).u8(0xC0).u8(0x00).u8(0x40).u8(0xFF);
    PICTIMAGE img;
    ASSERT_EQ(decode(p, img), 0);
    ASSERT_EQ(img.width, 10);
    ASSERT_EQ(img.height, 2);
    const char *row0 = "1010101011", *row1 = "0000000001";
    for (int x = 0; x < 10; x++) {
        EXPECT_EQ(pixel(img, x, 0), row0[x] == '1' ? kBlack : kWhite) << x;
        EXPECT_EQ(pixel(img, x, 1), row1[x] == '1' ? kBlack : kWhite) << x;
    }
}

TEST(PictDecode, ZeroBytesBeforeTheVersionAreSkipped)
{
    PictBytes p;
    p.u16(0).rect(0, 0, 1, 8).u8(0).u8(0).u8(0x11).u8(0x01);
    p.u8(0x90).u16(2).rect(0, 0, 1, 8).rect(0, 0, 1, 8).rect(0, 0, 1, 8).u16(0).u8(0xF0).u8(0).u8(0xFF);
    PICTIMAGE img;
    ASSERT_EQ(decode(p, img), 0);
    EXPECT_EQ(pixel(img, 0, 0), kBlack);
    EXPECT_EQ(pixel(img, 4, 0), kWhite);
}

TEST(PictDecode, PackedFourBitIndexedMapUsesItsColourTable)
{
    PictBytes p = pictV2(0, 0, 2, 20);
    p.u16(0x0098).u16(0x8000 | 10).rect(0, 0, 2, 20);
    pixMapFields(p, 0, 4, 1);
    p.u32(0).u16(0x8000).u16(2); // entries by position: 0 red, 1 green, 2 blue
    p.u16(0).u16(0xFFFF).u16(0).u16(0).u16(0).u16(0).u16(0xFFFF).u16(0).u16(0).u16(0).u16(0).u16(0xFFFF);
    p.rect(0, 0, 2, 20).rect(0, 0, 2, 20).u16(0);
    p.u8(4).u8(0xF8).u8(0x01).u8(0x00).u8(0x12); // row 0: 01 nine times, then 12
    p.u8(4).u8(0xF8).u8(0x22).u8(0x00).u8(0x20); // row 1: 22 nine times, then 20
    p.align().u16(0x00FF);
    PICTIMAGE img;
    ASSERT_EQ(decode(p, img), 0);
    EXPECT_EQ(pixel(img, 0, 0), argb(255, 0, 0));
    EXPECT_EQ(pixel(img, 1, 0), argb(0, 255, 0));
    EXPECT_EQ(pixel(img, 18, 0), argb(0, 255, 0));
    EXPECT_EQ(pixel(img, 19, 0), argb(0, 0, 255));
    EXPECT_EQ(pixel(img, 17, 1), argb(0, 0, 255));
    EXPECT_EQ(pixel(img, 18, 1), argb(0, 0, 255));
    EXPECT_EQ(pixel(img, 19, 1), argb(255, 0, 0));
}

TEST(PictDecode, UnpackedTwoBitMapTakesColoursByValue)
{
    PictBytes p = pictV2(0, 0, 1, 4);
    p.u16(0x0090).u16(0x8000 | 2).rect(0, 0, 1, 4);
    pixMapFields(p, 0, 2, 1);
    p.u32(0).u16(0).u16(1); // two entries keyed by value: 3 white, 1 grey
    p.u16(3).u16(0xFFFF).u16(0xFFFF).u16(0xFFFF).u16(1).u16(0x8080).u16(0x8080).u16(0x8080);
    p.rect(0, 0, 1, 4).rect(0, 0, 1, 4).u16(0).u8(0xD8).u8(0); // 3 1 2 0
    p.align().u16(0x00FF);
    PICTIMAGE img;
    ASSERT_EQ(decode(p, img), 0);
    EXPECT_EQ(pixel(img, 0, 0), kWhite);
    EXPECT_EQ(pixel(img, 1, 0), argb(0x80, 0x80, 0x80));
    EXPECT_EQ(pixel(img, 2, 0), kBlack); // no entry for 2: black
}

TEST(PictDecode, SixteenBitPixelsPackedByWords)
{
    PictBytes p = pictV2(0, 0, 1, 6);
    directBitsHead(p, 12, 1, 6, 3, 16, 3);
    // 7C00 (red) five times, then a literal 03E0 (green): 12 bytes unpacked.
    p.u8(6).u8(0xFC).u8(0x7C).u8(0x00).u8(0x00).u8(0x03).u8(0xE0);
    p.align().u16(0x00FF);
    PICTIMAGE img;
    ASSERT_EQ(decode(p, img), 0);
    EXPECT_EQ(pixel(img, 0, 0), argb(255, 0, 0));
    EXPECT_EQ(pixel(img, 4, 0), argb(255, 0, 0));
    EXPECT_EQ(pixel(img, 5, 0), argb(0, 255, 0));
}

TEST(PictDecode, SixteenBitPixelsUnpacked)
{
    PictBytes p = pictV2(0, 0, 1, 4);
    directBitsHead(p, 8, 1, 4, 1, 16, 3);
    p.u16(0x001F).u16(0x7FFF).u16(0x4210).u16(0x0000);
    p.align().u16(0x00FF);
    PICTIMAGE img;
    ASSERT_EQ(decode(p, img), 0);
    EXPECT_EQ(pixel(img, 0, 0), argb(0, 0, 255));
    EXPECT_EQ(pixel(img, 1, 0), kWhite);
    EXPECT_EQ(pixel(img, 2, 0), argb(0x84, 0x84, 0x84));
    EXPECT_EQ(pixel(img, 3, 0), kBlack);
}

TEST(PictDecode, ThirtyTwoBitPixelsUnpackedAndWithoutPadByte)
{
    PictBytes p = pictV2(0, 0, 2, 3);
    directBitsHead(p, 12, 1, 3, 1, 32, 3); // row 0: xRGB
    p.u32(0x00112233).u32(0xFF445566).u32(0x00778899);
    p.align();
    p.u16(0x009A).u32(0xFF).u16(0x8000 | 12).rect(1, 0, 2, 3);
    pixMapFields(p, 2, 32, 3); // row 1: RGB triples
    p.rect(1, 0, 2, 3).rect(1, 0, 2, 3).u16(0);
    p.u8(1).u8(2).u8(3).u8(4).u8(5).u8(6).u8(7).u8(8).u8(9);
    p.align().u16(0x00FF);
    PICTIMAGE img;
    ASSERT_EQ(decode(p, img), 0);
    EXPECT_EQ(pixel(img, 0, 0), argb(0x11, 0x22, 0x33));
    EXPECT_EQ(pixel(img, 1, 0), argb(0x44, 0x55, 0x66));
    EXPECT_EQ(pixel(img, 2, 1), argb(7, 8, 9));
}

TEST(PictDecode, ThirtyTwoBitPlanesWithAlphaFirstDrawOpaqueColour)
{
    PictBytes p = pictV2(0, 0, 1, 2);
    directBitsHead(p, 8, 1, 2, 4, 32, 4);
    p.u8(9).u8(7).u8(0x00).u8(0x80).u8(0x10).u8(0x20).u8(0x30).u8(0x40).u8(0x50).u8(0x60);
    p.align().u16(0x00FF);
    PICTIMAGE img;
    ASSERT_EQ(decode(p, img), 0);
    EXPECT_EQ(pixel(img, 0, 0), argb(0x10, 0x30, 0x50));
    EXPECT_EQ(pixel(img, 1, 0), argb(0x20, 0x40, 0x60));
}

// A 4 x 4 red DirectBitsRgn/Rect over a frame of 6 x 6, with an optional mask.
static PictBytes redSquare(bool withMask, bool withClip)
{
    PictBytes p = pictV2(0, 0, 6, 6);
    if (withClip)
        p.u16(0x0001).u16(10).rect(0, 0, 6, 2);
    p.u16(withMask ? 0x009B : 0x009A).u32(0xFF).u16(0x8000 | 16).rect(0, 0, 4, 4);
    pixMapFields(p, 1, 32, 3);
    p.rect(0, 0, 4, 4).rect(1, 1, 5, 5).u16(0);
    if (withMask)
        p.u16(10).rect(3, 3, 6, 6);
    for (int i = 0; i < 16; i++)
        p.u32(0x00FF0000);
    p.align().u16(0x00FF);
    return p;
}

TEST(PictDecode, DirectBitsRectLandsAtItsDestination)
{
    PICTIMAGE img;
    ASSERT_EQ(decode(redSquare(false, false), img), 0);
    EXPECT_EQ(pixel(img, 0, 0), kWhite);
    EXPECT_EQ(pixel(img, 1, 1), argb(255, 0, 0));
    EXPECT_EQ(pixel(img, 4, 4), argb(255, 0, 0));
    EXPECT_EQ(pixel(img, 5, 5), kWhite);
}

TEST(PictDecode, MaskRegionLimitsWhatIsDrawn)
{
    PICTIMAGE img;
    ASSERT_EQ(decode(redSquare(true, false), img), 0);
    EXPECT_EQ(pixel(img, 1, 1), kWhite);
    EXPECT_EQ(pixel(img, 2, 4), kWhite);
    EXPECT_EQ(pixel(img, 3, 3), argb(255, 0, 0));
    EXPECT_EQ(pixel(img, 4, 4), argb(255, 0, 0));
}

TEST(PictDecode, ClipRegionLimitsWhatIsDrawn)
{
    PICTIMAGE img;
    ASSERT_EQ(decode(redSquare(false, true), img), 0);
    EXPECT_EQ(pixel(img, 1, 1), argb(255, 0, 0));
    EXPECT_EQ(pixel(img, 2, 1), kWhite);
}

TEST(PictDecode, SourceIsScaledOntoALargerDestination)
{
    PictBytes p = pictV2(0, 0, 4, 4);
    p.u16(0x009A).u32(0xFF).u16(0x8000 | 8).rect(0, 0, 2, 2);
    pixMapFields(p, 1, 32, 3);
    p.rect(0, 0, 2, 2).rect(0, 0, 4, 4).u16(0);
    p.u32(0x00FF0000).u32(0x0000FF00).u32(0x000000FF).u32(0x00000000);
    p.align().u16(0x00FF);
    PICTIMAGE img;
    ASSERT_EQ(decode(p, img), 0);
    EXPECT_EQ(pixel(img, 1, 1), argb(255, 0, 0));
    EXPECT_EQ(pixel(img, 2, 1), argb(0, 255, 0));
    EXPECT_EQ(pixel(img, 1, 2), argb(0, 0, 255));
    EXPECT_EQ(pixel(img, 3, 3), kBlack);
}

TEST(PictDecode, FrameAwayFromOriginPutsItsCornerAtPixelZero)
{
    PictBytes p = pictV2(10, 20, 12, 23);
    p.u16(0x009A).u32(0xFF).u16(0x8000 | 4).rect(11, 22, 12, 23);
    pixMapFields(p, 1, 32, 3);
    p.rect(11, 22, 12, 23).rect(11, 22, 12, 23).u16(0).u32(0x00123456);
    p.align().u16(0x00FF);
    PICTIMAGE img;
    ASSERT_EQ(decode(p, img), 0);
    ASSERT_EQ(img.width, 3);
    ASSERT_EQ(img.height, 2);
    EXPECT_EQ(pixel(img, 2, 1), argb(0x12, 0x34, 0x56));
    EXPECT_EQ(pixel(img, 0, 0), kWhite);
}

TEST(PictDecode, OpcodesThatDrawNothingAreSkippedBySize)
{
    PictBytes p = pictV2(0, 0, 1, 1);
    p.u16(0x00A1).u16(100).u16(3).raw("abc").align(); // LongComment
    p.u16(0x00A0).u16(5);                             // ShortComment
    p.u16(0x0003).u16(4);                             // TxFont
    p.u16(0x001A).u16(1).u16(2).u16(3);               // RGBFgCol
    p.u16(0x0028).u32(0).u8(2).raw("hi").align();     // LongText
    p.u16(0x002B).u8(1).u8(1).u8(1).raw("x").align(); // DHDVText
    p.u16(0x0030).rect(0, 0, 1, 1);                   // frameRect
    p.u16(0x0070).u16(12).rect(0, 0, 1, 1).u16(0);    // framePoly
    p.u16(0x0080).u16(10).rect(0, 0, 1, 1);           // frameRgn
    p.u16(0x0012).u16(2).u32(0).u32(0).u16(1).u16(2).u16(3); // BkPixPat, dither type
    p.u16(0x0200).u32(0);                             // reserved, 2 x 2 bytes
    p.u16(0x8201).u32(3).raw("xyz").align();          // reserved, long length
    p.u16(0x00D0).u32(2).u16(0);                      // reserved, long length
    p.u16(0x0024).u16(1).u8(0).align();               // reserved, word length
    p.u16(0x8000).u16(0x001C).u16(0x00B5);            // no data
    directBitsHead(p, 4, 1, 1, 1, 32, 3);
    p.u32(0x00010203).align().u16(0x00FF);
    PICTIMAGE img;
    ASSERT_EQ(decode(p, img), 0);
    EXPECT_EQ(pixel(img, 0, 0), argb(1, 2, 3));
    PictInfo info;
    ASSERT_EQ(GetPictInfo(p.data(), p.size(), &info, 0, 0, 0, 0), 0);
    EXPECT_EQ(info.commentCount, 2);
    EXPECT_EQ(info.pixMapCount, 1);
}

TEST(PictDecode, ColourPatternWithItsOwnPixelMapIsSkipped)
{
    PictBytes p = pictV2(0, 0, 1, 1);
    p.u16(0x0013).u16(1).u32(0).u32(0).u16(0x8000 | 2).rect(0, 0, 8, 8); // PnPixPat, 2-bit 8 x 8
    pixMapFields(p, 0, 2, 1);
    p.u32(0).u16(0).u16(0).u16(0).u16(0).u16(0).u16(0);
    for (int row = 0; row < 8; row++)
        p.u16(0x1B1B);
    p.align();
    directBitsHead(p, 4, 1, 1, 1, 32, 3);
    p.u32(0x00090807).align().u16(0x00FF);
    PICTIMAGE img;
    ASSERT_EQ(decode(p, img), 0);
    EXPECT_EQ(pixel(img, 0, 0), argb(9, 8, 7));
}

TEST(PictDecode, InfoReportsFrameVersionAndResolution)
{
    PictBytes p;
    p.u16(0).rect(5, 6, 105, 206).u16(0x0011).u16(0x02FF).u16(0x0C00);
    p.u16(0xFFFE).u16(0).u32(144 << 16).u32(96 << 16).rect(5, 6, 105, 206).u32(0).u16(0x00FF);
    PictInfo info;
    ASSERT_EQ(GetPictInfo(p.data(), p.size(), &info, 0, 0, 0, 0), 0);
    EXPECT_EQ(info.version, 2);
    EXPECT_EQ(info.sourceRect.top, 5);
    EXPECT_EQ(info.sourceRect.left, 6);
    EXPECT_EQ(info.sourceRect.bottom, 105);
    EXPECT_EQ(info.sourceRect.right, 206);
    EXPECT_EQ(info.hRes, 144 << 16);
    EXPECT_EQ(info.vRes, 96 << 16);
    PictBytes v1 = pictV1(0, 0, 3, 4);
    v1.u8(0xFF);
    ASSERT_EQ(GetPictInfo(v1.data(), v1.size(), &info, 0, 0, 0, 0), 0);
    EXPECT_EQ(info.version, 1);
}

static int infoResult(const PictBytes &p)
{
    PictInfo info;
    return GetPictInfo(p.data(), p.size(), &info, 0, 0, 0, 0);
}

TEST(PictDecode, EmptyDataIsRejected)
{
    PictInfo info;
    EXPECT_EQ(GetPictInfo(nullptr, 0, &info, 0, 0, 0, 0), pictureDataErr);
    uint8_t none = 0;
    EXPECT_EQ(GetPictInfo(&none, 0, &info, 0, 0, 0, 0), pictureDataErr);
}

TEST(PictDecode, PictureWithoutEndOpcodeIsRejected)
{
    EXPECT_EQ(infoResult(pictV2(0, 0, 10, 10)), pictureDataErr);
    EXPECT_EQ(infoResult(pictV1(0, 0, 10, 10)), pictureDataErr);
}

TEST(PictDecode, UnknownVersionIsRejected)
{
    PictBytes p;
    p.u16(0).rect(0, 0, 10, 10).u8(0x11).u8(0x03).u8(0xFF);
    EXPECT_EQ(infoResult(p), pictureDataErr);
}

TEST(PictDecode, FramesEmptyOrLargerThanTheLimitAreRejected)
{
    EXPECT_EQ(infoResult(pictV2(0, 0, 0, 10).u16(0x00FF)), pictureDataErr);
    EXPECT_EQ(infoResult(pictV2(0, 10, 10, 5).u16(0x00FF)), pictureDataErr);
    EXPECT_EQ(infoResult(pictV2(0, 0, 10, kPictMaxSide + 1).u16(0x00FF)), pictureDataErr);
    EXPECT_EQ(infoResult(pictV2(0, 0, kPictMaxSide + 1, 10).u16(0x00FF)), pictureDataErr);
    EXPECT_EQ(infoResult(pictV2(-4000, -4000, 4192, 4192).u16(0x00FF)), 0);
}

TEST(PictDecode, PixelSizeThatNoMapHasIsRejected)
{
    PictBytes p = pictV2(0, 0, 1, 2);
    directBitsHead(p, 8, 1, 2, 1, 24, 3);
    p.u32(0).u32(0).align().u16(0x00FF);
    EXPECT_EQ(infoResult(p), pictureDataErr);
}

TEST(PictDecode, RowThatUnpacksLongerThanItsLengthIsRejected)
{
    PictBytes p = pictV2(0, 0, 1, 10);
    p.u16(0x0098).u16(0x8000 | 10).rect(0, 0, 1, 10);
    pixMapFields(p, 0, 8, 1);
    p.u32(0).u16(0).u16(0).u16(0).u16(0).u16(0).u16(0);
    p.rect(0, 0, 1, 10).rect(0, 0, 1, 10).u16(0);
    p.u8(2).u8(0xF5).u8(0); // twelve bytes for a row of ten
    p.align().u16(0x00FF);
    EXPECT_EQ(infoResult(p), pictureDataErr);
}

TEST(PictDecode, RowBytesTooShortForTheWidthIsRejected)
{
    PictBytes p = pictV2(0, 0, 1, 8);
    directBitsHead(p, 4, 1, 8, 1, 32, 3);
    p.u32(0).align().u16(0x00FF);
    EXPECT_EQ(infoResult(p), pictureDataErr);
}

TEST(PictDecode, RegionWithImpossibleSizeIsRejected)
{
    PictBytes p = pictV2(0, 0, 1, 1);
    p.u16(0x0001).u16(4).u16(0).u16(0x00FF);
    EXPECT_EQ(infoResult(p), pictureDataErr);
}

TEST(PictDecode, LongLengthBeyondTheDataIsRejected)
{
    PictBytes p = pictV2(0, 0, 1, 1);
    p.u16(0x8100).u32(0xFFFFFFF0u).u16(0x00FF);
    EXPECT_EQ(infoResult(p), pictureDataErr);
}
