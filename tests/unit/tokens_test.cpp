// The token reader: tokens, line ends, classification, and the indexed message strings.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "mapping/tokens.h"

namespace {

FILE *openText(const std::string &text)
{
    FILE *f = tmpfile();
    fwrite(text.data(), 1, text.size(), f);
    rewind(f);
    return f;
}
} // namespace

TEST(TokenReader, FrqLineGivesKeywordNumberThenLineEnd)
{
    FILE *f = openText("FRQ 38000\nBIT 500\n");
    char buf[32];
    EXPECT_EQ(UTILgetSpaceDelimitedString(f, buf), 2);
    EXPECT_STREQ(buf, "FRQ");
    EXPECT_EQ(UTILgetSpaceDelimitedString(f, buf), 1);
    EXPECT_STREQ(buf, "38000");
    EXPECT_EQ(lastWasEol, 1);
    strcpy(buf, "junk");
    EXPECT_EQ(UTILgetSpaceDelimitedString(f, buf), UTIL_EOL);
    EXPECT_STREQ(buf, "");
    EXPECT_EQ(UTILgetSpaceDelimitedString(f, buf), 2);
    EXPECT_STREQ(buf, "BIT");
    fclose(f);
}

TEST(TokenReader, ThirtyFiveCharacterWordSplitsAtThirty)
{
    std::string word(35, 'x');
    FILE *f = openText(word + "\n");
    char buf[32];
    EXPECT_EQ(UTILgetSpaceDelimitedString(f, buf), 2);
    EXPECT_EQ(std::string(buf), std::string(30, 'x'));
    EXPECT_EQ(UTILgetSpaceDelimitedString(f, buf), 2);
    EXPECT_EQ(std::string(buf), std::string(5, 'x'));
    fclose(f);
}

TEST(TokenReader, EmptyLineIsOneLineEndAndCrLfIsTwo)
{
    FILE *f = openText("\nA\r\nB");
    char buf[32];
    EXPECT_EQ(UTILgetSpaceDelimitedString(f, buf), UTIL_EOL);
    EXPECT_EQ(UTILgetSpaceDelimitedString(f, buf), 3);
    EXPECT_STREQ(buf, "A");
    EXPECT_EQ(UTILgetSpaceDelimitedString(f, buf), UTIL_EOL); // reported line end (CR)
    EXPECT_EQ(UTILgetSpaceDelimitedString(f, buf), UTIL_EOL); // LF: an empty line
    EXPECT_EQ(UTILgetSpaceDelimitedString(f, buf), 3);
    EXPECT_STREQ(buf, "B");
    fclose(f);
}

TEST(TokenReader, TabBeforeTokenSkippedTabAfterEndsIt)
{
    FILE *f = openText("\tCMD\tPlay");
    char buf[32];
    EXPECT_EQ(UTILgetSpaceDelimitedString(f, buf), 2);
    EXPECT_STREQ(buf, "CMD");
    EXPECT_EQ(UTILgetSpaceDelimitedString(f, buf), 2);
    EXPECT_STREQ(buf, "Play");
    fclose(f);
}

TEST(TokenReader, EndOfFileInsideTokenReturnsTokenThenEof)
{
    FILE *f = openText("ABC");
    char buf[32];
    EXPECT_EQ(UTILgetSpaceDelimitedString(f, buf), 3);
    EXPECT_STREQ(buf, "ABC");
    EXPECT_EQ(lastWasEol, 0);
    EXPECT_EQ(UTILgetSpaceDelimitedString(f, buf), UTIL_EOF);
    fclose(f);
}

TEST(TokenReader, ClassificationValues)
{
    FILE *f = openText("ABC , CMD 38000 1a K1 38k");
    char buf[32];
    EXPECT_EQ(UTILgetSpaceDelimitedString(f, buf), 3); // ABC
    EXPECT_EQ(UTILgetSpaceDelimitedString(f, buf), 3); // ,
    EXPECT_EQ(UTILgetSpaceDelimitedString(f, buf), 2); // CMD
    EXPECT_EQ(UTILgetSpaceDelimitedString(f, buf), 1); // 38000
    EXPECT_EQ(UTILgetSpaceDelimitedString(f, buf), 1); // 1a
    EXPECT_EQ(UTILgetSpaceDelimitedString(f, buf), 0); // K1
    EXPECT_EQ(UTILgetSpaceDelimitedString(f, buf), 0); // 38k
    fclose(f);
}

TEST(TokenReader, NotSpaceDelimitedKeepsBlanksInToken)
{
    FILE *f = openText("a b\n");
    char buf[32];
    EXPECT_EQ(UTILgetDelimitedString(f, buf, 0), 3);
    EXPECT_STREQ(buf, "a b");
    fclose(f);
}

TEST(TokenReader, EolDelimitedStringReadsRestOfLine)
{
    FILE *f = openText("   My Map.map  \nnext");
    char buf[40];
    EXPECT_EQ(UTILgetEOLDelimitedString(buf, 32, f), UTIL_EOL);
    EXPECT_STREQ(buf, "My Map.map  ");
    UTILcleanStr(buf);
    EXPECT_STREQ(buf, "My Map.map");
    fclose(f);
}

TEST(TokenReader, EolDelimitedStringStopsAtMaxAndLeavesRest)
{
    FILE *f = openText("abcdefgh\n");
    char buf[8];
    EXPECT_GE(UTILgetEOLDelimitedString(buf, 5, f), 0);
    EXPECT_STREQ(buf, "abcde");
    EXPECT_EQ(getChar(f), 'f');
    fclose(f);
}

TEST(TokenReader, EolDelimitedStringOnEmptyLineLeavesBuffer)
{
    FILE *f = openText("   \nx");
    char buf[8] = "keep";
    EXPECT_EQ(UTILgetEOLDelimitedString(buf, 5, f), UTIL_EOL);
    EXPECT_STREQ(buf, "keep");
    fclose(f);
}

TEST(TokenReader, CleanStrTrimsBothEnds)
{
    char s[] = " \t hello world \n ";
    UTILcleanStr(s);
    EXPECT_STREQ(s, "hello world");
    char blank[] = "   ";
    UTILcleanStr(blank);
    EXPECT_STREQ(blank, "");
}

TEST(TokenReader, HexHelpers)
{
    EXPECT_EQ(ishexchar('a'), 1);
    EXPECT_EQ(ishexchar('F'), 1);
    EXPECT_EQ(ishexchar('9'), 1);
    EXPECT_EQ(ishexchar('g'), 0);
    EXPECT_EQ(hexChar(10), 'a');
    EXPECT_EQ(hexChar(3), '3');
}

TEST(IndexedStrings, KnownIndexComesFromResourceFile)
{
    std::string text = getstring(129, 43);
    EXPECT_EQ(text, "Button");
    unsigned char *p = getpstring(129, 44);
    EXPECT_EQ(std::string((char *)p + 1, p[0]), "Application");
}

TEST(IndexedStrings, EveryIndexTheEditorUsesIsPresent)
{
    const int used[] = {2, 6, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25,
                        31, 32, 35, 37, 38, 39, 40, 41, 42, 43, 44, 45, 47};
    for (int index : used)
        EXPECT_EQ(std::string(getstring(129, index)).find("Can't find text"), std::string::npos) << index;
}

TEST(IndexedStrings, MissingIndexGivesFallbackText)
{
    EXPECT_STREQ(getstring(129, 99), "Can't find text for Error (STR#, 129) Index 99 ");
    unsigned char *p = getpstring(500, 3);
    EXPECT_EQ(std::string((char *)p + 1, p[0]), "Can't find text for Error (STR#, 500) Index 3 ");
}
