#include "rbUtil.h"

#include "MyMemory.h"
#include "Source/SDK/GlueCode/HostOperations.h"
#include "Source/SDK/GlueCode/PluginMain.h"
#include "rbData.h"
#include "rbDebug.h"
#include "rbException.h"
#include "rbTextDecode.h"

#include <climits>
#include <cstring>
#include <cwchar>
#include <utility>

// Hosts before 2012.0 take the bytes alone, and the encoding afterwards.
static REALstringStruct *BuildInTwoSteps(const char *bytes, int count, unsigned int encoding)
{
    REALstringStruct *string = originalREALBuildString(bytes, count);
    if (string == nullptr) return nullptr;
    rbFreeLater release(&string); // where the host throws
    REALSetStringEncoding(string, encoding);
    return std::exchange(string, nullptr);
}

// A new string, converted to UTF-8 by the host.
static REALstringStruct *BuildConverted(const void *data, long byteCount, unsigned int encoding)
{
    REALstringStruct *wide =
        REALBuildStringWithEncoding(static_cast<const char *>(data), static_cast<int>(byteCount), encoding);
    if (wide == nullptr) return nullptr;
    rbFreeLater release(&wide);
    return REALConvertString(wide, kEncodingUTF8);
}

REALstringStruct *REALBuildUnicodeString(const void *data, long byteCount, unsigned int encoding)
{
    return Guarded([&]() -> REALstringStruct * {
        if (byteCount < 1 || data == nullptr) return nullptr;
        if (byteCount > INT_MAX) {
            TRACE("Count too big for REALBuildUnicodeString.");
            return nullptr;
        }
        auto bytes = static_cast<const char *>(data);
        switch (encoding) {
        case kEncodingUTF16:
            return REALBuildUnicodeStringUTF16(data, byteCount);
        case kEncodingUTF32:
            return REALBuildUnicodeStringUTF32(static_cast<const unsigned int *>(data), byteCount);
        case kEncodingMacRoman:
        case kEncodingLatin1:
        case kEncodingWindows:
        case kEncodingNone: // 7-bit text is better declared as ASCII
            if (IsASCII(bytes, static_cast<unsigned long>(byteCount))) encoding = kEncodingASCII;
            break;
        case kEncodingASCII:
        case kEncodingUTF8:
            break;
        default:
            TRACE("Unknown encoding in REALBuildUnicodeString", encoding);
        }
        if (gHostVersion < 2012.0) return BuildInTwoSteps(bytes, static_cast<int>(byteCount), encoding);
        return REALBuildStringWithEncoding(bytes, static_cast<int>(byteCount), encoding);
    });
}

REALstringStruct *REALBuildUnicodeStringUTF16(const void *data, long byteCount)
{
    if (gHostVersion >= 2012.0) return BuildConverted(data, byteCount, kEncodingUTF16);
    REALstringStruct *string =
        BuildInTwoSteps(static_cast<const char *>(data), static_cast<int>(byteCount), kEncodingUTF16);
    if (string == nullptr) TRACE("Out of memory in REALBuildUnicodeStringUTF16.");
    return string;
}

REALstringStruct *REALBuildUnicodeStringUTF32(const unsigned int *data, long byteCount)
{
    if (gHostVersion >= 2013.0) return BuildConverted(data, byteCount, kEncodingUTF32);

    // A code point takes two 16-bit units at most: the 16-bit text is never longer in bytes.
    constexpr long kStackBytes = 800;
    unsigned short stackUnits[kStackBytes / 2];
    MemoryOwner<unsigned short> heapUnits;
    unsigned short *units = stackUnits;
    if (byteCount >= kStackBytes) {
        heapUnits = AllocateOwned<unsigned short>(byteCount + 4);
        if (heapUnits == nullptr) {
            TRACE("Out of memory in REALBuildUnicodeStringUTF32.");
            return nullptr;
        }
        units = heapUnits.get();
    }
    long count = EncodeUTF16(data, byteCount / 4, units);
    return REALBuildUnicodeStringUTF16(units, count * 2);
}

// A wide encoding makes no sense for bytes. The caller is told, and gets it all the same.
static void WarnOfWideEncoding(unsigned int encoding, const char *utf16Warning, const char *utf32Warning)
{
    if (encoding == kEncodingUTF16) TRACE(utf16Warning);
    if (encoding == kEncodingUTF32) TRACE(utf32Warning);
}

REALstringStruct *CString2RB(const char *text, unsigned int encoding)
{
    WarnOfWideEncoding(encoding, "Error: kREALTextEncodingUTF16 not useful for CString2RB!",
                       "Error: kREALTextEncodingUTF32 not useful for CString2RB!");
    if (text == nullptr) return nullptr;
    return REALBuildUnicodeString(text, static_cast<long>(std::strlen(text)), encoding);
}

REALstringStruct *CString2RBmax(const char *text, unsigned int encoding, unsigned long maximum)
{
    if (text == nullptr) return nullptr;
    return REALBuildUnicodeString(text, static_cast<long>(strnlen(text, maximum)), encoding);
}

REALstringStruct *PString2RB(const unsigned char *text, unsigned int encoding)
{
    WarnOfWideEncoding(encoding, "Error: kREALTextEncodingUTF16 not useful for PString2RB!",
                       "Error: kREALTextEncodingUTF32 not useful for PString2RB!");
    if (text == nullptr) return nullptr;
    return REALBuildUnicodeString(text + 1, text[0], encoding);
}

REALstringStruct *UnicodeCString2RB(const wchar_t *text)
{
    if (text == nullptr) return nullptr;
    return REALBuildUnicodeString(text, static_cast<long>(std::wcslen(text) * sizeof(wchar_t)), kEncodingUTF32);
}

REALstringStruct *UnicodeCString2RB(const unsigned short *text)
{
    if (text == nullptr) return nullptr;
    const unsigned short *end = text;
    while (*end != 0)
        end++;
    return REALBuildUnicodeString(text, (end - text) * 2, kEncodingUTF16);
}
