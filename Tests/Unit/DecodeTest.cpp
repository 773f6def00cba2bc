// The Unicode decoders: all code points, all 3-byte strings, the 4-byte strings round every border, all 16-bit units
// and pairs. Texts end where memory ends.
#include "Source/Utility/rbTextDecode.h"
#include "Tests/Shared/GuardedMemory.h"
#include "Tests/Shared/Program.h"

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cuchar>
#include <gtest/gtest.h>

namespace {

// Whether the library decodes the text as the C library does, but for byte order marks, which it drops.
bool DecodesLikeTheCLibrary(const unsigned char *text, long count)
{
    unsigned int expected[4], out[8];
    long units = 0, offset = 0, illegalOffset = 0;
    while (offset < count) {
        std::mbstate_t state = {};
        char32_t code;
        std::size_t length = std::mbrtoc32(&code, reinterpret_cast<const char *>(text + offset),
                                           static_cast<std::size_t>(count - offset), &state);
        if (length > 4 || code > 0x10FFFF) break; // illegal or cut
        if (code != 0xFEFF && code != 0xFFFE) expected[units++] = code;
        offset += length == 0 ? 1 : static_cast<long>(length);
    }
    return DecodeUTF8(text, count, out, &illegalOffset) == units && std::equal(out, out + units, expected) &&
           illegalOffset == (offset < count ? offset : -1);
}

class Decode : public testing::Test {
  protected:
    void SetUp() override { ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr); }
};

} // namespace

TEST_F(Decode, EveryThreeByteString)
{
    GuardedMemory memory(3);
    unsigned char *text = memory.Last(3);
    long wrong = 0;
    const unsigned int step = program::emulated ? 37 : 1;
    for (unsigned int bytes = 0; bytes < 0x1000000; bytes += step) {
        for (int i = 0; i < 3; i++)
            text[i] = static_cast<unsigned char>(bytes >> (8 * (2 - i)));
        wrong += !DecodesLikeTheCLibrary(text, 3);
    }
    EXPECT_EQ(wrong, 0);
    std::printf("strings of 3 bytes decoded: %u\n", 0x1000000 / step);
}

TEST_F(Decode, FourByteStringsRoundEveryBorder)
{
    GuardedMemory memory(4);
    unsigned char *text = memory.Last(4);
    long wrong = 0;
    const unsigned char trailing[] = {0, 0x7F, 0x80, 0x9F, 0xBF, 0xC0, 0xFF};
    for (unsigned int start = 0xEF00; start <= 0xFFFF; start++) {
        text[0] = static_cast<unsigned char>(start >> 8);
        text[1] = static_cast<unsigned char>(start);
        for (unsigned char pair = 0; pair < 49; pair++) {
            text[2] = trailing[pair / 7];
            text[3] = trailing[pair % 7];
            wrong += !DecodesLikeTheCLibrary(text, 4);
        }
    }
    EXPECT_EQ(wrong, 0);
}

TEST_F(Decode, EveryCodePointComesBackThroughUTF16)
{
    long wrong = 0;
    for (unsigned int code = 0; code <= 0x110100; code++) {
        unsigned short units[2];
        unsigned int back[2];
        long count = EncodeUTF16(&code, 1, units);
        unsigned int expected = code > 0x10FFFF ? 0xFFFD : code;
        if (code >= 0xD800 && code <= 0xDFFF) // the surrogates
            wrong += count != 0;
        else
            wrong += count != 1 + (expected > 0xFFFF) || DecodeUTF16(units, count, back) != 1 || back[0] != expected;
    }
    EXPECT_EQ(wrong, 0);
}

TEST_F(Decode, EveryUTF16UnitAloneAndOnBothSidesOfTheLowSurrogates)
{
    long wrong = 0;
    for (unsigned int unit = 0; unit <= 0xFFFF; unit++) {
        bool high = unit >= 0xD800 && unit < 0xDC00, low = unit >= 0xDC00 && unit < 0xE000;
        unsigned short text[3] = {static_cast<unsigned short>(unit), 0xE000, 'y'};
        unsigned int out[3];
        // At the end every unit is kept; before another one a surrogate without its half takes it along.
        wrong += DecodeUTF16(text, 1, out) != 1 || out[0] != unit;
        long count = DecodeUTF16(text, 3, out);
        wrong += high || low ? count != 1 || out[0] != 'y' : count != 3 || out[0] != unit;
        text[1] = 0xDC00;
        count = DecodeUTF16(text, 2, out);
        wrong += high  ? count != 1 || out[0] != 0x10000 + (unit - 0xD800) * 0x400
                 : low ? count != 0
                       : count != 2 || out[1] != 0xDC00;
    }
    EXPECT_EQ(wrong, 0);
}
