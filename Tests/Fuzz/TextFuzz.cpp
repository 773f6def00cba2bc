// Views of a host string of any bytes in any encoding.
#include "Host/Runtime/Host.h"
#include "Source/SDK/GlueCode/PluginMain.h"
#include "Source/Utility/rbText.h"

#undef NDEBUG // every build checks
#include <cassert>
#include <fuzzer/FuzzedDataProvider.h>

template <typename Unit>
static void ExpectEnd(const Unit *text, long length)
{
    assert(text[length] == 0);
}

using Look = void (*)(rbText &text);
constexpr Look looks[] = {
    [](rbText &text) { ExpectEnd(text.GetWindows(), text.LengthWindows()); },
    [](rbText &text) { ExpectEnd(text.GetMacRoman(), text.LengthMacRoman()); },
    [](rbText &text) { ExpectEnd(text.GetASCII(), text.LengthASCII()); },
    [](rbText &text) { ExpectEnd(text.GetUTF8(), text.LengthUTF8()); },
    [](rbText &text) { ExpectEnd(text.GetLatin1(), text.LengthLatin1()); },
    [](rbText &text) { ExpectEnd(text.GetUTF16(), text.LengthUTF16()); },
    [](rbText &text) { ExpectEnd(text.GetUTF32(), text.LengthUTF32()); },
    [](rbText &text) { assert(rbText(text).GetUTF8() != nullptr); },
};

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    FuzzedDataProvider input(data, size);
    constexpr unsigned int kEncodings[] = {
        kEncodingMacRoman, kEncodingLatin1, kEncodingWindows, kEncodingASCII, kEncodingNone,
        kEncodingUTF8,     kEncodingUTF16,  kEncodingUTF32,   0x10000100,     0x14000100,
        0x18000100,        0x1C000100,      0x12345678,
    };
    static host::Host host;
    [[maybe_unused]] static const bool started = (host.Start(REALPluginMain), true);
    {
        unsigned int encoding = input.PickValueInArray(kEncodings);
        std::string order = input.ConsumeBytesAsString(8); // which view is asked for first
        host::Owned<REALstringStruct> string(host::NewString(input.ConsumeRemainingBytesAsString(), encoding));
        rbText text(string.Get());
        for (char view : order)
            looks[view & 7](text);
    }
    assert(host.Complaints().empty());
    return 0;
}
