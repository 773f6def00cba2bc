// One host string as zero-terminated text, in any of seven encodings.
//
// A view is made when it is first asked for and lives as long as the object. No view is ever null and
// none raises: what can't be converted is an empty text, and hasFailed tells. A source of 7-bit bytes
// serves all byte views without a copy. An object belongs to one thread.
#pragma once

#include "MyMemory.h"
#include "Source/SDK/GlueCode/HostTypes.h"

static_assert(sizeof(wchar_t) == sizeof(unsigned int));

class rbText {
  public:
    explicit rbText(REALstringStruct *source);

    // The same source with a reference of its own, and no view converted yet.
    rbText(const rbText &other);
    rbText &operator=(const rbText &) = delete;
    ~rbText() noexcept(false);

    // Chains of heap-allocated objects. A next pointer is set once.
    void SetNext(rbText *text);
    rbText *GetNext() const { return next; }

    const char *GetWindows() { return ByteView(windows, kEncodingWindows).text; }
    const char *GetMacRoman() { return ByteView(macRoman, kEncodingMacRoman).text; }
    const char *GetASCII() { return ByteView(ascii, kEncodingASCII).text; }
    const char *GetUTF8() { return ByteView(utf8, kEncodingUTF8).text; }
    const char *GetLatin1() { return ByteView(latin1, kEncodingLatin1).text; }
    const unsigned short *GetUTF16() { return UTF16View().text; }
    const unsigned int *GetUTF32() { return UTF32View().text; }
    const wchar_t *GetWChar() { return reinterpret_cast<const wchar_t *>(GetUTF32()); }
    const char *GetNative() { return GetUTF8(); }

    // The same texts, null when empty.
    const char *GetWindowsNil() { return NilIfEmpty(ByteView(windows, kEncodingWindows)); }
    const char *GetMacRomanNil() { return NilIfEmpty(ByteView(macRoman, kEncodingMacRoman)); }
    const char *GetASCIINil() { return NilIfEmpty(ByteView(ascii, kEncodingASCII)); }
    const char *GetUTF8Nil() { return NilIfEmpty(ByteView(utf8, kEncodingUTF8)); }
    const char *GetLatin1Nil() { return NilIfEmpty(ByteView(latin1, kEncodingLatin1)); }
    const unsigned short *GetUTF16Nil() { return NilIfEmpty(UTF16View()); }
    const unsigned int *GetUTF32Nil() { return NilIfEmpty(UTF32View()); }
    const wchar_t *GetWCharNil() { return reinterpret_cast<const wchar_t *>(GetUTF32Nil()); }
    const char *GetNativeNil() { return GetUTF8Nil(); }

    // Their lengths in units, without the terminating zero.
    long LengthWindows() { return ByteView(windows, kEncodingWindows).length; }
    long LengthMacRoman() { return ByteView(macRoman, kEncodingMacRoman).length; }
    long LengthASCII() { return ByteView(ascii, kEncodingASCII).length; }
    long LengthUTF8() { return ByteView(utf8, kEncodingUTF8).length; }
    long LengthLatin1() { return ByteView(latin1, kEncodingLatin1).length; }
    long LengthUTF16() { return UTF16View().length; }
    long LengthUTF32() { return UTF32View().length; }
    long LengthWChar() { return LengthUTF32(); }
    long LengthNative() { return LengthUTF8(); }

    REALstringStruct *GetText() const { return source; }
    unsigned int getEncoding() const { return encoding; }
    unsigned int getASCIIOnlyState() const { return asciiState; }
    bool hasFailed() const { return failed; }

  private:
    enum ASCIIState : unsigned int { kNotTested = 0, kASCII = 1, kToBeTested = 2, kNotASCII = 3 };

    template <typename Unit>
    struct View {
        long length = -1;           // in units; -1: not converted yet
        const Unit *text = nullptr; // never null once converted
        MemoryOwner<Unit> buffer;   // of the text, if it is not the host's
        REALstringData data;
        bool held = false; // the host gets the data back
    };
    template <typename Unit>
    static const Unit *NilIfEmpty(const View<Unit> &view)
    {
        return view.length > 0 ? view.text : nullptr;
    }
    template <typename Visit>
    void ForEachView(Visit visit);
    template <typename Unit>
    static void MakeEmpty(View<Unit> &view);

    rbText() {} // not defaulted, which would clear the views as well
    void Classify();
    void PointAtSource(View<char> &view);
    void TestASCII();
    void AdoptTextWithoutEncoding();

    const View<char> &ByteView(View<char> &view, unsigned int code)
    {
        return view.length >= 0 ? view : ConvertBytes(view, code);
    }
    const View<char> &ConvertBytes(View<char> &view, unsigned int code);
    const View<unsigned short> &UTF16View();
    const View<unsigned int> &UTF32View();
    void ConvertToUTF16();
    void ConvertToUTF32();
    template <typename Unit>
    bool FetchHostData(View<Unit> &view, unsigned int code);
    bool IsDecodedHere() const { return encoding == kEncodingASCII || encoding == kEncodingUTF8; }
    template <typename Unit>
    void Fail(const char *message, View<Unit> &view);
    template <typename Unit>
    Unit *Own(View<Unit> &view, long units);
    template <typename Unit>
    void UseHostData(View<Unit> &view);
    template <typename Unit>
    void CopyHostData(View<Unit> &view);
    template <typename Unit>
    void Terminate(View<Unit> &view);
    template <typename Unit>
    void Widen(View<Unit> &view);
    template <typename Unit>
    void Decode(View<Unit> &view);
    template <typename Unit>
    void FixByteOrder(View<Unit> &view, Unit swappedMark);

    // Guard words at both ends. The debug log tells of a stray write when the object ends.
    static constexpr std::uint64_t kGuard = 0x56594E54; // "VYNT"

    std::uint64_t guard1 = kGuard;
    REALstringStruct *source = nullptr;
    REALstringStruct *held = nullptr; // the source, if this object has a reference on it
    View<char> windows;
    View<char> macRoman;
    View<char> ascii;
    View<char> utf8;
    View<char> latin1;
    View<unsigned short> utf16;
    View<unsigned int> utf32;
    bool failed = false;
    unsigned int encoding = kEncodingASCII; // the source's code
    unsigned int asciiState = kASCII;
    rbText *next = nullptr;
    std::uint64_t guard2 = kGuard;
};

// A chain of texts, the newest first, which it owns until FreeTextChain.
void AddTextChain(rbText *&head, rbText *text);
void FreeTextChain(rbText *head);

// The same views as free functions.
// clang-format off
inline const char *GetWindows(rbText &text)  { return text.GetWindows(); }
inline const char *GetMacRoman(rbText &text) { return text.GetMacRoman(); }
inline const char *GetASCII(rbText &text)    { return text.GetASCII(); }
inline const char *GetUTF8(rbText &text)     { return text.GetUTF8(); }
inline const char *GetLatin1(rbText &text)   { return text.GetLatin1(); }
inline const unsigned short *GetUTF16(rbText &text) { return text.GetUTF16(); }
inline const unsigned int *GetUTF32(rbText &text)   { return text.GetUTF32(); }
inline const wchar_t *GetWChar(rbText &text) { return text.GetWChar(); }
inline const char *GetNative(rbText &text)   { return text.GetNative(); }
// A password in the Windows encoding; null when empty.
inline const char *GetPassword(rbText &text) { return text.GetWindowsNil(); }
// clang-format on
