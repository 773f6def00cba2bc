#include "rbText.h"

#include "Source/SDK/GlueCode/HostOperations.h"
#include "rbData.h"
#include "rbDebug.h"
#include "rbTextDecode.h"
#include "rbUtil.h"

#include <algorithm>
#include <cstring>
#include <utility>

template <typename Unit>
static const Unit *EmptyText()
{
    static constexpr Unit zero = 0;
    return &zero;
}

template <typename Unit>
void rbText::MakeEmpty(View<Unit> &view)
{
    view.length = 0;
    view.text = EmptyText<Unit>();
}

template <typename Visit>
void rbText::ForEachView(Visit visit)
{
    visit(windows);
    visit(macRoman);
    visit(ascii);
    visit(utf8);
    visit(latin1);
    visit(utf16);
    visit(utf32);
}

// Both constructors delegate to one that is complete, so that the destructor releases the source if the host throws.

rbText::rbText(REALstringStruct *string) : rbText()
{
    if (string == nullptr) return;
    source = string;
    held = AddReference(string);
    encoding = REALGetStringEncoding(string);
    Classify();
}

rbText::rbText(const rbText &other) : rbText()
{
    if (other.source == nullptr) return;
    source = other.source;
    held = AddReference(source);
    encoding = other.encoding;
    asciiState = other.asciiState;
    // The byte views of a 7-bit source are never converted one by one: they are its bytes.
    if (asciiState == kASCII) {
        asciiState = kToBeTested;
        TestASCII();
    }
}

rbText::~rbText() noexcept(false)
{
    if (guard1 != kGuard) TRACE("Check1 in rbText invalid", guard1);
    if (guard2 != kGuard) TRACE("Check2 in rbText invalid", guard2);
    Release(held);
    ForEachView([](auto &view) {
        if (view.held) Releasing([&] { REALDisposeStringData(&view.data); });
    });
}

void rbText::SetNext(rbText *text)
{
    if (next == nullptr) {
        next = text;
    } else {
        TRACE("Warning: Next already set!");
    }
}

void AddTextChain(rbText *&head, rbText *text)
{
    text->SetNext(head);
    head = text;
}

void FreeTextChain(rbText *head)
{
    while (head != nullptr)
        delete std::exchange(head, head->GetNext());
}

// What the encoding alone says of the source.
void rbText::Classify()
{
    asciiState = kNotTested;
    switch (encoding) {
    case kEncodingASCII:
        asciiState = kToBeTested;
        PointAtSource(ascii);
        utf8.length = ascii.length;
        utf8.text = ascii.text;
        break;
    case kEncodingUTF8:
        asciiState = kToBeTested;
        PointAtSource(utf8);
        break;
    case kEncodingMacRoman:
    case kEncodingLatin1:
    case kEncodingWindows:
        asciiState = kToBeTested;
        break;
    case kEncodingNone:
        asciiState = kToBeTested;
        AdoptTextWithoutEncoding();
        break;
    case kEncodingUTF16:
    case kEncodingUTF32:
    case 0x10000100: // the other UTF-16 and UTF-32 forms
    case 0x14000100:
    case 0x18000100:
    case 0x1C000100:
        asciiState = kNotASCII;
        break;
    default:
        break;
    }
}

// The view is the source's bytes; it stays unconverted when the host does not give them.
void rbText::PointAtSource(View<char> &view)
{
    StringBytes bytes = REALGetStringBytes(source);
    if (bytes.data == nullptr) return;
    view.text = bytes.data;
    view.length = bytes.size;
}

// A source of 7-bit bytes serves all byte views as it is.
void rbText::TestASCII()
{
    if (asciiState != kToBeTested) return;
    REALstringStruct *locked = AddReference(source);
    rbFreeLater unlock(&locked);
    auto [bytes, length] = REALGetStringBytes(source);
    if (bytes == nullptr) length = 0;
    if (!IsASCII(bytes, static_cast<unsigned long>(length))) {
        asciiState = kNotASCII;
        return;
    }
    asciiState = kASCII;
    for (View<char> *view : {&windows, &macRoman, &ascii, &utf8, &latin1}) {
        view->length = length;
        view->text = bytes != nullptr ? bytes : EmptyText<char>();
    }
}

// Bytes of no declared encoding that are not 7-bit are read as ISO Latin-1.
void rbText::AdoptTextWithoutEncoding()
{
    TestASCII();
    if (asciiState == kASCII) return;
    auto [bytes, length] = REALGetStringBytes(source);
    // The host is not asked for a text of a size that this library gets no memory for.
    if (AllocateOwned<char>(length + 4) == nullptr) {
        TRACE("Out of Memory.");
        failed = true;
        return;
    }
    REALstringStruct *latin = REALBuildUnicodeString(bytes, length, kEncodingLatin1);
    if (latin == nullptr) {
        TRACE("REALBuildUnicodeString failed");
        failed = true;
        ForEachView([](auto &view) { MakeEmpty(view); });
        return;
    }
    source = latin;
    Release(std::exchange(held, latin));
}

// --- views: what all of them share ----------------------------------------------------------------------

// Asks the host for its data in this encoding, to be given back when the text ends.
template <typename Unit>
bool rbText::FetchHostData(View<Unit> &view, unsigned int code)
{
    view.data = {};
    view.held = REALGetStringData(source, code, &view.data);
    return view.held;
}

// Data of less than one unit is no text, for no zero need follow it. Data at an address where no unit may lie is
// copied.
template <typename Unit>
void rbText::UseHostData(View<Unit> &view)
{
    const void *data = view.data.data;
    long length = view.data.length / static_cast<long>(sizeof(Unit));
    if (data == nullptr || length <= 0) return;
    view.length = length;
    view.text = static_cast<const Unit *>(data);
    if (reinterpret_cast<std::uintptr_t>(data) % alignof(Unit) != 0) CopyHostData(view);
}

template <typename Unit>
void rbText::Fail(const char *message, View<Unit> &view)
{
    TRACE(message);
    failed = true;
    MakeEmpty(view);
}

// A zero-filled buffer for `units` units and a terminating zero, which becomes the view's text; null without memory.
template <typename Unit>
Unit *rbText::Own(View<Unit> &view, long units)
{
    view.buffer = AllocateOwned<Unit>(units * static_cast<long>(sizeof(Unit)) + 4);
    view.text = view.buffer.get();
    if (view.text == nullptr) Fail("Out of memory", view);
    return view.buffer.get();
}

// Puts a copy of the host's data, with a zero after it, in its place.
template <typename Unit>
void rbText::CopyHostData(View<Unit> &view)
{
    Unit *copy = Own(view, view.length);
    if (copy != nullptr) std::memcpy(copy, view.data.data, static_cast<std::size_t>(view.length) * sizeof(Unit));
}

// A host may hand out text without a zero after it.
template <typename Unit>
void rbText::Terminate(View<Unit> &view)
{
    if (view.length < 1 || view.text[view.length] == 0) return;
    TRACE("String is not zero terminated. Fixed.");
    CopyHostData(view);
}

const rbText::View<char> &rbText::ConvertBytes(View<char> &view, unsigned int code)
{
    MakeEmpty(view);
    TestASCII();
    if (asciiState == kASCII) return view;

    if (!FetchHostData(view, code)) {
        Fail("REALGetStringData failed.", view);
        return view;
    }
    UseHostData(view);
    Terminate(view);
    return view;
}

// --- UTF-16 and UTF-32 -----------------------------------------------------------------------------------

// One unit for each byte of a 7-bit source.
template <typename Unit>
void rbText::Widen(View<Unit> &view)
{
    Unit *units = Own(view, utf8.length);
    if (units == nullptr) return;
    std::copy_n(reinterpret_cast<const unsigned char *>(utf8.text), utf8.length, units);
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
    if (units == nullptr) return;
    long illegalOffset;
    auto text = reinterpret_cast<const unsigned char *>(bytes.text);
    view.length = DecodeUTF8(text, bytes.length, units, &illegalOffset);
    if (illegalOffset >= 0) TRACE("Illegal UTF-8 sequence!", illegalOffset);
    failed = false;
}

template <typename Unit>
static Unit SwapBytes(Unit unit)
{
    auto bytes = reinterpret_cast<unsigned char *>(&unit);
    std::reverse(bytes, bytes + sizeof unit);
    return unit;
}

// Swaps the bytes of a text in the other byte order, and skips leading byte order marks.
template <typename Unit>
void rbText::FixByteOrder(View<Unit> &view, Unit swappedMark)
{
    if (view.length > 0 && view.text[0] == swappedMark) {
        TRACE("String is Little Endian. Swap.");
        if (view.buffer == nullptr) CopyHostData(view);
        std::transform(view.text, view.text + view.length, view.buffer.get(), SwapBytes<Unit>);
    }
    for (Unit mark : {Unit{0xFEFF}, Unit{0xFFFE}}) {
        if (view.length == 0 || view.text[0] != mark) return;
        view.text++;
        view.length--;
    }
}

void rbText::ConvertToUTF16()
{
    if (source == nullptr) return;
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
    if (source == nullptr) return;
    TestASCII();
    if (asciiState == kASCII) return Widen(utf32);
    if (IsDecodedHere()) return Decode(utf32);
    if (encoding != kEncodingUTF16 && FetchHostData(utf32, kEncodingUTF32)) return UseHostData(utf32);

    TRACE("Try UTF16 to UTF32 conversion...");
    const View<unsigned short> &units16 = UTF16View();
    unsigned int *units = Own(utf32, units16.length);
    if (units != nullptr) utf32.length = DecodeUTF16(units16.text, units16.length, units);
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
