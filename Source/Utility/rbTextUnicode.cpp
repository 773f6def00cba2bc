// The UTF-16 and UTF-32 views of a text.
#include "rbTextDecode.h"
#include "rbTextViews.h"

// One unit for each byte of a 7-bit source.
template <typename Unit>
void rbText::Widen(View<Unit> &view)
{
    Unit *units = Own(view, utf8.length);
    if (units == nullptr) return Fail("Out of memory", view);
    auto bytes = reinterpret_cast<const unsigned char *>(utf8.text);
    std::copy_n(bytes, utf8.length, units);
    view.text = units;
    view.length = utf8.length;
}

// From the UTF-8 view. An illegal sequence ends the text there; what came before it stays.
template <typename Unit>
void rbText::Decode(View<Unit> &view)
{
    TRACE(sizeof(Unit) == 2 ? "Try UTF8 to UTF16 conversion..." : "Try UTF8 to UTF32 conversion...");
    const View<char> &bytes = ByteView(utf8, kEncodingUTF8);
    if (bytes.length == 0) return;
    Unit *units = Own(view, bytes.length + 8);
    if (units == nullptr) return Fail("Out of memory", view);
    long illegalOffset = -1;
    auto text = reinterpret_cast<const unsigned char *>(bytes.text);
    view.length = DecodeUTF8(text, bytes.length, units, &illegalOffset);
    view.text = units;
    if (illegalOffset >= 0) TRACE("Illegal UTF-8 sequence!", illegalOffset);
    failed = false;
}

static unsigned short SwapBytes(unsigned short unit)
{
    return __builtin_bswap16(unit);
}
static unsigned int SwapBytes(unsigned int unit)
{
    return __builtin_bswap32(unit);
}

// Swaps the bytes of a text in the other byte order, and skips leading byte order marks.
template <typename Unit>
void rbText::FixByteOrder(View<Unit> &view, Unit swappedMark)
{
    if (view.length > 0 && view.text[0] == swappedMark) {
        TRACE("String is Little Endian. Swap.");
        const Unit *text = view.text;
        std::unique_ptr<void, MemoryDeleter> previous(std::exchange(view.owned, nullptr));
        Unit *units = Own(view, view.length);
        if (units == nullptr) return Fail("Out of memory", view);
        for (long i = 0; i < view.length; i++)
            units[i] = SwapBytes(text[i]);
        view.text = units;
    }
    for (Unit mark : {Unit{0xFEFF}, Unit{0xFFFE}}) {
        if (view.length == 0 || view.text[0] != mark) return;
        view.text++;
        view.length--;
    }
}

void rbText::ConvertToUTF16()
{
    TestASCII();
    if (asciiState == kASCII) return Widen(utf16);
    if (IsDecodedHere()) return Decode(utf16);
    if (!FetchHostData(utf16, kEncodingUTF16)) return Fail("REALGetStringData failed.", utf16);
    UseHostData(utf16);
}

const rbText::View<unsigned short> &rbText::UTF16View()
{
    if (utf16.length >= 0) return utf16;
    MakeEmpty(utf16);
    ConvertToUTF16();
    Terminate(utf16);
    FixByteOrder<unsigned short>(utf16, 0xFFFE);
    return utf16;
}

void rbText::ConvertToUTF32()
{
    TestASCII();
    if (asciiState == kASCII) return Widen(utf32);
    if (IsDecodedHere()) return Decode(utf32);
    if (encoding != kEncodingUTF16 && FetchHostData(utf32, kEncodingUTF32)) return UseHostData(utf32);

    TRACE("Try UTF16 to UTF32 conversion...");
    const View<unsigned short> &units16 = UTF16View();
    unsigned int *units = Own(utf32, units16.length);
    if (units == nullptr) return Fail("Out of memory", utf32);
    utf32.length = DecodeUTF16(units16.text, units16.length, units);
    utf32.text = units;
}

const rbText::View<unsigned int> &rbText::UTF32View()
{
    if (utf32.length >= 0) return utf32;
    MakeEmpty(utf32);
    ConvertToUTF32();
    Terminate(utf32);
    FixByteOrder<unsigned int>(utf32, 0xFFFE0000);
    return utf32;
}
