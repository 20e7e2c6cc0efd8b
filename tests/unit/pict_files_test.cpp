// Picture files the project did not write (ImageMagick and netpbm) and the pristine remote
// pictures: each must decode to the pixels of its source; short files are rejected.
#include <gtest/gtest.h>

#include "support/test_support.h"
#include "unit/pict_test_util.h"

static const char *kConvert = "/usr/bin/convert";
static const char *kPpmToPict = "/usr/bin/ppmtopict";
static const char *kPnmQuant = "/usr/bin/pnmquant";

// The number of pixels in which two images differ (-1 when their sizes differ).
static long differingPixels(const TestImage &expected, const PICTIMAGE &got)
{
    if (expected.width != got.width || expected.height != got.height)
        return -1;
    long count = 0;
    for (size_t i = 0; i < expected.pixels.size(); i++)
        count += expected.pixels[i] != got.pixels[i];
    return count;
}

static void expectDecodesTo(const std::string &picPath, const TestImage &expected)
{
    PICTIMAGE image;
    ASSERT_EQ(PICTreadFile(picPath.c_str(), &image), 0) << picPath;
    EXPECT_EQ(image.width, expected.width);
    EXPECT_EQ(image.height, expected.height);
    EXPECT_EQ(differingPixels(expected, image), 0) << picPath;
}

// ImageMagick: true colour gives a DirectBitsRect with one plane per component, a palette an 8-bit
// PackBitsRect with its colour table.
static void checkImageMagick(const char *type, int width, int height)
{
    if (!toolAvailable(kConvert))
        GTEST_SKIP() << "ImageMagick is not installed";
    bool palette = std::string(type) == "Palette";
    TempFolder tmp;
    TestImage src = patternImage(width, height, palette ? 200 : 1000);
    ASSERT_TRUE(writePPM(tmp / "src.ppm", src));
    ASSERT_EQ(runCommand(std::string(kConvert) + " " + tmp / "src.ppm" + " -type " + type + " PICT:" + tmp / "out.pic"), 0);
    std::string bytes = readFile(tmp / "out.pic");
    ASSERT_GT(bytes.size(), 530u);
    std::string opcode = palette ? std::string("\x00\x98", 2) : std::string("\x00\x9A", 2);
    EXPECT_NE(bytes.find(opcode, 512), std::string::npos) << "not the expected bitmap opcode";
    expectDecodesTo(tmp / "out.pic", src);
}

static void checkImageMagickTrueColour(int width, int height) { checkImageMagick("TrueColor", width, height); }
static void checkImageMagickPalette(int width, int height) { checkImageMagick("Palette", width, height); }

TEST(PictFiles, ImageMagickTrueColourSmallDecodesToSourcePixels) { checkImageMagickTrueColour(37, 23); }
TEST(PictFiles, ImageMagickTrueColourNarrowDecodesToSourcePixels) { checkImageMagickTrueColour(1, 5); }
TEST(PictFiles, ImageMagickTrueColourTwoPixelsWideDecodesToSourcePixels) { checkImageMagickTrueColour(2, 4); }
TEST(PictFiles, ImageMagickTrueColourWidth67DecodesToSourcePixels) { checkImageMagickTrueColour(67, 9); }
TEST(PictFiles, ImageMagickTrueColourWidth64DecodesToSourcePixels) { checkImageMagickTrueColour(64, 9); }
TEST(PictFiles, ImageMagickTrueColourWideDecodesToSourcePixels) { checkImageMagickTrueColour(300, 40); }

TEST(PictFiles, ImageMagickPaletteOddNarrowWidthDecodesToSourcePixels) { checkImageMagickPalette(5, 3); }
TEST(PictFiles, ImageMagickPaletteSmallDecodesToSourcePixels) { checkImageMagickPalette(40, 17); }
TEST(PictFiles, ImageMagickPaletteWidth201DecodesToSourcePixels) { checkImageMagickPalette(201, 6); }
TEST(PictFiles, ImageMagickPaletteWidth251DecodesToSourcePixels) { checkImageMagickPalette(251, 6); }
TEST(PictFiles, ImageMagickPaletteWideDecodesToSourcePixels) { checkImageMagickPalette(420, 12); }

// netpbm's ppmtopict on an image of at most 256 colours.
static void checkNetpbm(int width, int height)
{
    if (!toolAvailable(kPpmToPict))
        GTEST_SKIP() << "netpbm is not installed";
    TempFolder tmp;
    TestImage src = patternImage(width, height, 256);
    ASSERT_TRUE(writePPM(tmp / "src.ppm", src));
    ASSERT_EQ(runCommand(std::string(kPpmToPict) + " " + tmp / "src.ppm" + " > " + tmp / "out.pic"), 0);
    expectDecodesTo(tmp / "out.pic", src);
}

TEST(PictFiles, NetpbmWidth8DecodesToSourcePixels) { checkNetpbm(8, 5); }
TEST(PictFiles, NetpbmOddWidthDecodesToSourcePixels) { checkNetpbm(9, 7); }
TEST(PictFiles, NetpbmWidth201DecodesToSourcePixels) { checkNetpbm(201, 5); }
TEST(PictFiles, NetpbmWidth202DecodesToSourcePixels) { checkNetpbm(202, 5); }
TEST(PictFiles, NetpbmWidth251DecodesToSourcePixels) { checkNetpbm(251, 5); }
TEST(PictFiles, NetpbmWideDecodesToSourcePixels) { checkNetpbm(333, 21); }

TEST(PictFiles, NetpbmQuantisedManyColourImageDecodesToQuantisedPixels)
{
    if (!toolAvailable(kPpmToPict) || !toolAvailable(kPnmQuant))
        GTEST_SKIP() << "netpbm is not installed";
    TempFolder tmp;
    TestImage src = patternImage(150, 40, 4000);
    ASSERT_TRUE(writePPM(tmp / "src.ppm", src));
    ASSERT_EQ(runCommand(std::string(kPnmQuant) + " 256 " + tmp / "src.ppm" + " > " + tmp / "q.ppm"), 0);
    ASSERT_EQ(runCommand(std::string(kPpmToPict) + " " + tmp / "q.ppm" + " > " + tmp / "out.pic"), 0);
    TestImage quantised;
    ASSERT_TRUE(readPPM(tmp / "q.ppm", quantised));
    expectDecodesTo(tmp / "out.pic", quantised);
}

TEST(PictFiles, FileOfExactly512BytesIsRejected)
{
    TempFolder tmp;
    writeFile(tmp / "empty.pic", std::string(512, '\0'));
    PICTIMAGE image;
    EXPECT_EQ(PICTreadFile((tmp / "empty.pic").c_str(), &image), pictureDataErr);
    EXPECT_TRUE(image.pixels.empty());
}

TEST(PictFiles, MissingFileGivesFileNotFound)
{
    PICTIMAGE image;
    EXPECT_EQ(PICTreadFile("/nonexistent/none.pic", &image), -43);
}

TEST(PictFiles, EveryTruncationOfARealPictureIsRejected)
{
    if (!toolAvailable(kConvert))
        GTEST_SKIP() << "ImageMagick is not installed";
    TempFolder tmp;
    ASSERT_TRUE(writePPM(tmp / "src.ppm", patternImage(30, 12, 100)));
    ASSERT_EQ(runCommand(std::string(kConvert) + " " + tmp / "src.ppm" + " -type Palette PICT:" + tmp / "out.pic"), 0);
    std::string whole = readFile(tmp / "out.pic");
    ASSERT_GT(whole.size(), 600u);
    PictInfo info;
    const uint8_t *picture = reinterpret_cast<const uint8_t *>(whole.data()) + 512;
    ASSERT_EQ(GetPictInfo(picture, whole.size() - 512, &info, 0, 0, 0, 0), 0);
    for (size_t keep = 0; keep < whole.size() - 512; keep++)
        EXPECT_EQ(GetPictInfo(picture, keep, &info, 0, 0, 0, 0), pictureDataErr) << "kept " << keep << " bytes";
    writeFile(tmp / "cut.pic", whole.substr(0, whole.size() - 1));
    PICTIMAGE image;
    EXPECT_EQ(PICTreadFile((tmp / "cut.pic").c_str(), &image), pictureDataErr);
}

// The frame as the file states it: top, left, bottom, right after the picture's size word.
static PictRect frameOf(const std::string &bytes)
{
    auto word = [&](size_t at) { return int16_t(uint8_t(bytes[at]) << 8 | uint8_t(bytes[at + 1])); };
    return PictRect{word(514), word(516), word(518), word(520)};
}

static void checkPristinePicture(const char *name)
{
    std::string path = appDir() + "/" + name;
    std::string bytes = readFile(path);
    ASSERT_GT(bytes.size(), 600u) << path;
    PictRect frame = frameOf(bytes);
    PictInfo info;
    ASSERT_EQ(GetPictInfo(reinterpret_cast<const uint8_t *>(bytes.data()) + 512, bytes.size() - 512, &info, 0, 0, 0, 0), 0);
    EXPECT_EQ(info.version, 2);
    EXPECT_EQ(info.sourceRect.right, frame.right);
    EXPECT_EQ(info.sourceRect.bottom, frame.bottom);
    PICTIMAGE image;
    ASSERT_EQ(PICTreadFile(path.c_str(), &image), 0);
    EXPECT_EQ(image.width, frame.right - frame.left);
    EXPECT_EQ(image.height, frame.bottom - frame.top);
    EXPECT_GE(image.width, 100);
    EXPECT_GE(image.height, 200);
    if (!toolAvailable(kConvert))
        return;
    // ImageMagick reads the same picture, pixel for pixel.
    TempFolder tmp;
    ASSERT_EQ(runCommand(std::string(kConvert) + " PICT:" + path + " -depth 8 ppm:" + tmp / "back.ppm"), 0);
    TestImage back;
    ASSERT_TRUE(readPPM(tmp / "back.ppm", back));
    EXPECT_EQ(differingPixels(back, image), 0) << name;
}

TEST(PictFiles, PristinePictureM1ADecodesToItsFrameAndImageMagickReadsIt) { checkPristinePicture("OrvendaVQXM1A.pic"); }
TEST(PictFiles, PristinePictureM2ADecodesToItsFrameAndImageMagickReadsIt) { checkPristinePicture("OrvendaVQXM2A.pic"); }
TEST(PictFiles, PristinePictureDeckSetDecodesToItsFrameAndImageMagickReadsIt) { checkPristinePicture("DeckSet.pic"); }
