// The Unicode decoders, for every input that there is: all code points, all 3-byte strings, all 4-byte
// strings that begin with F0 to F4, all 16-bit units and pairs. Texts end at a page that can't be read.
#include "Source/Utility/CpuFeatures.h"
#include "Source/Utility/rbTextDecode.h"
#include "Source/Utility/rbTextWiden.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <vector>

namespace {

// Text between two pages that can't be touched.
class GuardedText {
  public:
    GuardedText()
    {
        auto pages = static_cast<unsigned char *>(
            mmap(nullptr, 3 * kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        mprotect(pages, kPage, PROT_NONE);
        mprotect(pages + 2 * kPage, kPage, PROT_NONE);
        end = pages + 2 * kPage;
    }
    unsigned char *Last(long count) const { return end - count; }

  private:
    static constexpr std::size_t kPage = 4096;
    unsigned char *end;
};

// The well-formed sequences as the Unicode Standard lists them: first byte, second byte, length.
struct Row {
    unsigned char first, last, secondFirst, secondLast;
    long length;
};
constexpr Row rows[] = {
    {0x00, 0x7F, 0x00, 0xFF, 1}, {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3},
    {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3},
    {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
};

// The length of the well-formed sequence at the start of the text, 0 for none.
long SequenceLength(const unsigned char *text, long count)
{
    for (const Row &row : rows) {
        if (text[0] < row.first || text[0] > row.last) continue;
        if (row.length > count) return 0;
        if (row.length > 1 && (text[1] < row.secondFirst || text[1] > row.secondLast)) return 0;
        for (long i = 2; i < row.length; i++) {
            if (text[i] / 0x40 != 2) return 0;
        }
        return row.length;
    }
    return 0;
}

unsigned int Decoded(const unsigned char *text, long length)
{
    switch (length) {
    case 1:
        return text[0];
    case 2:
        return (text[0] - 0xC0U) * 0x40 + (text[1] - 0x80U);
    case 3:
        return (text[0] - 0xE0U) * 0x1000 + (text[1] - 0x80U) * 0x40 + (text[2] - 0x80U);
    default:
        return (text[0] - 0xF0U) * 0x40000 + (text[1] - 0x80U) * 0x1000 + (text[2] - 0x80U) * 0x40 + (text[3] - 0x80U);
    }
}

struct Expected {
    long units = 0;
    long illegalOffset = -1;
    unsigned int codes[4];
};

Expected Oracle(const unsigned char *text, long count)
{
    Expected expected;
    for (long offset = 0; offset < count;) {
        long length = SequenceLength(text + offset, count - offset);
        if (length == 0) {
            expected.illegalOffset = offset;
            break;
        }
        unsigned int code = Decoded(text + offset, length);
        if (code != 0xFEFF && code != 0xFFFE) expected.codes[expected.units++] = code;
        offset += length;
    }
    return expected;
}

bool DecodesAsExpected(const unsigned char *text, long count)
{
    Expected expected = Oracle(text, count);
    unsigned int out[8];
    long illegalOffset = 0;
    long units = DecodeUTF8(text, count, out, &illegalOffset);
    return units == expected.units && illegalOffset == expected.illegalOffset &&
           std::equal(out, out + units, expected.codes);
}

} // namespace

TEST(Decode, EveryThreeByteString)
{
    GuardedText room;
    unsigned char *text = room.Last(3);
    long wrong = 0;
    for (unsigned int bytes = 0; bytes < 0x1000000; bytes++) {
        text[0] = static_cast<unsigned char>(bytes >> 16);
        text[1] = static_cast<unsigned char>(bytes >> 8);
        text[2] = static_cast<unsigned char>(bytes);
        wrong += !DecodesAsExpected(text, 3);
    }
    EXPECT_EQ(wrong, 0);
}

TEST(Decode, EveryFourByteStringFromF0ToF4)
{
    GuardedText room;
    unsigned char *text = room.Last(4);
    long wrong = 0;
    const unsigned int step = std::getenv("VYN_EMULATED") != nullptr ? 7 : 1; // a sample is enough where it is slow
    for (unsigned int lead = 0xF0; lead <= 0xF4; lead++) {
        for (unsigned int bytes = 0; bytes < 0x1000000; bytes += step) {
            text[0] = static_cast<unsigned char>(lead);
            text[1] = static_cast<unsigned char>(bytes >> 16);
            text[2] = static_cast<unsigned char>(bytes >> 8);
            text[3] = static_cast<unsigned char>(bytes);
            wrong += !DecodesAsExpected(text, 4);
        }
    }
    EXPECT_EQ(wrong, 0);
}

TEST(Decode, EveryCodePointComesBackThroughUTF16)
{
    long wrong = 0;
    for (unsigned int code = 0; code <= 0x110100; code++) {
        unsigned short units[2];
        unsigned int back[2];
        long count = EncodeUTF16(&code, 1, units);
        bool surrogate = code >= 0xD800 && code <= 0xDFFF;
        if (surrogate) {
            wrong += count != 0;
            continue;
        }
        unsigned int expected = code > 0x10FFFF ? 0xFFFD : code;
        wrong += count != (expected > 0xFFFF ? 2 : 1) || DecodeUTF16(units, count, back) != 1 || back[0] != expected;
    }
    EXPECT_EQ(wrong, 0);
}

TEST(Decode, EveryUTF16UnitAloneAndOnBothSidesOfTheLowSurrogates)
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
        if (high) {
            wrong += count != 1 || out[0] != 0x10000 + (unit - 0xD800) * 0x400;
        } else {
            wrong += low ? count != 0 : count != 2 || out[1] != 0xDC00;
        }
    }
    EXPECT_EQ(wrong, 0);
}

TEST(Decode, LongTextsEndWhereTheyStopBeingLegal)
{
    // The wide steps over 7-bit bytes must neither pass nor lose anything at any place in the step.
    GuardedText room;
    for (long count = 1; count <= 140; count++) {
        for (long place = 0; place < count; place++) {
            unsigned char *text = room.Last(count);
            std::memset(text, 'a', static_cast<std::size_t>(count));
            text[place] = 0xC0;
            std::vector<unsigned short> out(static_cast<std::size_t>(count));
            long illegalOffset = -1;
            ASSERT_EQ(DecodeUTF8(text, count, out.data(), &illegalOffset), place);
            ASSERT_EQ(illegalOffset, place);
        }
    }
}

// Every form that can run here.
template <typename Unit>
static std::vector<long (*)(const unsigned char *, long, Unit *)> WideForms()
{
#if defined(__x86_64__)
    if (HasAVX2()) return {WidenASCIIPortable<Unit>, WidenASCIIAVX2<Unit>, WidenASCII<Unit>};
#endif
    return {WidenASCIIPortable<Unit>, WidenASCII<Unit>};
}

// Both the text and the room for its units end at a page that can't be touched.
template <typename Unit>
static void WidenAtEveryPlaceOfEveryLength()
{
    constexpr long kLargestRest = 15; // less than the smallest step
    GuardedText room, outRoom;
    for (auto widen : WideForms<Unit>()) {
        for (long count = 0; count <= 140; count++) {
            for (long place = 0; place <= count; place++) { // of the byte that is not 7-bit, `count` for none
                unsigned char *text = room.Last(count);
                for (long i = 0; i < count; i++)
                    text[i] = static_cast<unsigned char>(i * 5 % 0x80);
                if (place < count) text[place] = static_cast<unsigned char>(0x80 + place);
                auto out = reinterpret_cast<Unit *>(outRoom.Last(count * static_cast<long>(sizeof(Unit))));
                long taken = widen(text, count, out);
                ASSERT_LE(taken, place);
                ASSERT_GE(taken, place - kLargestRest);
                ASSERT_TRUE(std::equal(out, out + taken, text)) << place << " of " << count;
            }
        }
    }
}

TEST(Decode, EachFormWidensWholeStepsOf7BitBytesAndNothingElse)
{
    WidenAtEveryPlaceOfEveryLength<unsigned short>();
    WidenAtEveryPlaceOfEveryLength<unsigned int>();
}
