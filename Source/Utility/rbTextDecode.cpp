#include "rbTextDecode.h"

#include <cstring>

namespace {

bool IsSurrogate(unsigned int code)
{
    return code >= 0xD800 && code <= 0xDFFF;
}

template <typename Unit>
unsigned int UnitAt(const Unit *text, long index)
{
    Unit unit;
    std::memcpy(&unit, text + index, sizeof unit);
    return unit;
}

bool IsTrailing(unsigned char byte)
{
    return (byte & 0xC0) == 0x80;
}

// Reads the code point of a sequence that begins with a lead byte above 0x7F, of which `count` bytes are there.
// Result: the sequence's length in bytes; 0 when it is cut or illegal by the Unicode Standard: overlong, a
// surrogate, or above U+10FFFF.
inline long ReadSequence(const unsigned char *text, long count, unsigned int &code)
{
    unsigned int lead = text[0];
    if (lead < 0xC2) return 0;
    if (lead < 0xE0) {
        if (count < 2 || !IsTrailing(text[1])) return 0;
        code = (lead & 0x1F) << 6 | (text[1] & 0x3FU);
        return 2;
    }
    if (lead < 0xF0) {
        if (count < 3 || !IsTrailing(text[1]) || !IsTrailing(text[2])) return 0;
        code = (lead & 0x0F) << 12 | (text[1] & 0x3FU) << 6 | (text[2] & 0x3FU);
        return code < 0x800 || IsSurrogate(code) ? 0 : 3;
    }
    if (lead > 0xF4 || count < 4 || !IsTrailing(text[1]) || !IsTrailing(text[2]) || !IsTrailing(text[3])) return 0;
    code = (lead & 0x07) << 18 | (text[1] & 0x3FU) << 12 | (text[2] & 0x3FU) << 6 | (text[3] & 0x3FU);
    return code < 0x10000 || code > 0x10FFFF ? 0 : 4;
}

// Write a code point, in UTF-16 as a pair above U+FFFF. Result: the place after it.
unsigned short *PutCodePoint(unsigned int code, unsigned short *out)
{
    if (code > 0xFFFF) {
        code -= 0x10000;
        *out++ = static_cast<unsigned short>(0xD800 + (code >> 10));
        code = 0xDC00 + (code & 0x3FF);
    }
    *out++ = static_cast<unsigned short>(code);
    return out;
}

unsigned int *PutCodePoint(unsigned int code, unsigned int *out)
{
    *out++ = code;
    return out;
}

} // namespace

template <typename Unit>
long DecodeUTF8(const unsigned char *text, long count, Unit *out, long *illegalOffset)
{
    const Unit *start = out;
    long offset = 0;
    *illegalOffset = -1;
    while (offset < count) {
        if (text[offset] < 0x80) {
            *out++ = text[offset++];
            continue;
        }
        unsigned int code;
        long length = ReadSequence(text + offset, count - offset, code);
        if (length == 0) {
            *illegalOffset = offset;
            break;
        }
        // Byte order marks of either order are not text.
        if (code != 0xFEFF && code != 0xFFFE) out = PutCodePoint(code, out);
        offset += length;
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
        bool isPair = unit < 0xDC00 && next >= 0xDC00 && IsSurrogate(next); // a high one and a low one
        if (isPair) *out++ = (unit - 0xD800) * 1024 + (next - 0xDC00) + 0x10000;
    }
    return out - start;
}

long EncodeUTF16(const unsigned int *text, long count, unsigned short *out)
{
    const unsigned short *start = out;
    for (long i = 0; i < count; i++) {
        unsigned int code = UnitAt(text, i);
        if (code > 0x10FFFF) code = 0xFFFD; // the replacement character
        if (!IsSurrogate(code)) out = PutCodePoint(code, out);
    }
    return out - start;
}
