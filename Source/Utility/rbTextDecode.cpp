#include "rbTextDecode.h"

#include <cstdint>
#include <cstring>

namespace {

constexpr unsigned int kReplacement = 0xFFFD;

bool IsSurrogate(unsigned int code)
{
    return code >= 0xD800 && code <= 0xDFFF;
}
bool IsHighSurrogate(unsigned int unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}
bool IsLowSurrogate(unsigned int unit)
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

template <typename Unit>
unsigned int UnitAt(const Unit *text, long index)
{
    Unit unit;
    std::memcpy(&unit, text + index, sizeof unit);
    return unit;
}

// Writes a code point above U+FFFF as a pair. Result: the place behind it.
unsigned short *PutPair(unsigned int code, unsigned short *out)
{
    code -= 0x10000;
    *out++ = static_cast<unsigned short>(0xD800 + (code >> 10));
    *out++ = static_cast<unsigned short>(0xDC00 + (code & 0x3FF));
    return out;
}

// The number of trailing bytes that a lead byte asks for.
long TrailingBytes(unsigned char lead)
{
    if (lead < 0xC0) return 0;
    if (lead < 0xE0) return 1;
    if (lead < 0xF0) return 2;
    if (lead < 0xF8) return 3;
    return lead < 0xFC ? 4 : 5;
}

// The legality test of the Unicode Standard: no overlong forms, no surrogates, nothing above U+10FFFF.
bool IsLegalSequence(const unsigned char *text, long trailing)
{
    unsigned char lead = text[0];
    if (lead < 0x80) return true;
    if (lead < 0xC2 || lead > 0xF4) return false;
    unsigned char lowest = 0x80, highest = 0xBF;
    if (lead == 0xE0) lowest = 0xA0;
    if (lead == 0xED) highest = 0x9F;
    if (lead == 0xF0) lowest = 0x90;
    if (lead == 0xF4) highest = 0x8F;
    if (text[1] < lowest || text[1] > highest) return false;
    for (long i = 2; i <= trailing; i++) {
        if (text[i] < 0x80 || text[i] > 0xBF) return false;
    }
    return true;
}

// The code point of a legal sequence.
unsigned int CodePoint(const unsigned char *text, long trailing)
{
    // A lead byte has one bit less for its own for each trailing byte, and one to tell them from.
    unsigned int code = trailing == 0 ? text[0] : text[0] & (0x3FU >> trailing);
    for (long i = 1; i <= trailing; i++)
        code = code << 6 | (text[i] & 0x3F);
    return code;
}

unsigned short *PutCodePoint(unsigned int code, unsigned short *out)
{
    if (code > 0xFFFF) return PutPair(code, out);
    *out++ = static_cast<unsigned short>(code);
    return out;
}

unsigned int *PutCodePoint(unsigned int code, unsigned int *out)
{
    *out++ = code;
    return out;
}

constexpr long kStep = 16;

// Whether the next kStep bytes are all 7-bit.
bool IsASCIIStep(const unsigned char *text)
{
    std::uint64_t words[2];
    std::memcpy(words, text, kStep);
    return ((words[0] | words[1]) & 0x8080808080808080) == 0;
}

} // namespace

template <typename Unit>
long DecodeUTF8(const unsigned char *text, long count, Unit *out, long *illegalOffset)
{
    const Unit *start = out;
    long offset = 0;
    *illegalOffset = -1;
    while (offset < count) {
        if (count - offset >= kStep && IsASCIIStep(text + offset)) {
            for (long i = 0; i < kStep; i++)
                out[i] = text[offset + i];
            out += kStep;
            offset += kStep;
            continue;
        }
        long trailing = TrailingBytes(text[offset]);
        if (trailing >= count - offset || !IsLegalSequence(text + offset, trailing)) {
            *illegalOffset = offset;
            break;
        }
        unsigned int code = CodePoint(text + offset, trailing);
        if (code != 0xFEFF && code != 0xFFFE) out = PutCodePoint(code, out);
        offset += trailing + 1;
    }
    return out - start;
}

template long DecodeUTF8(const unsigned char *text, long count, unsigned short *out, long *illegalOffset);
template long DecodeUTF8(const unsigned char *text, long count, unsigned int *out, long *illegalOffset);

long DecodeUTF16(const unsigned short *text, long count, unsigned int *out)
{
    const unsigned int *start = out;
    for (long i = 0; i < count; i++) {
        unsigned int unit = UnitAt(text, i);
        if (!IsSurrogate(unit) || i + 1 == count) {
            *out++ = unit;
            continue;
        }
        unsigned int next = UnitAt(text, ++i);
        if (IsHighSurrogate(unit) && IsLowSurrogate(next)) {
            *out++ = (unit - 0xD800) * 1024 + (next - 0xDC00) + 0x10000;
        }
    }
    return out - start;
}

long EncodeUTF16(const unsigned int *text, long count, unsigned short *out)
{
    const unsigned short *start = out;
    for (long i = 0; i < count; i++) {
        unsigned int code = UnitAt(text, i);
        if (code > 0x10FFFF) code = kReplacement;
        if (!IsSurrogate(code)) out = PutCodePoint(code, out);
    }
    return out - start;
}
