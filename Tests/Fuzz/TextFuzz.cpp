// Views of a host string of any bytes in any encoding.
#include "Fuzz.h"
#include "Source/Utility/rbText.h"

void Fuzz(Input &input)
{
    host::Host &host = TheHost();
    {
        constexpr unsigned int kEncodings[] = {
            kEncodingMacRoman, kEncodingLatin1, kEncodingWindows, kEncodingASCII, kEncodingNone,
            kEncodingUTF8,     kEncodingUTF16,  kEncodingUTF32,   0x10000100,     0x14000100,
            0x18000100,        0x1C000100,      0x12345678,
        };
        unsigned int encoding = input.PickValueInArray(kEncodings);
        std::string order = input.ConsumeBytesAsString(8); // which view is asked for first
        host::Owned<REALstringStruct> string(host::NewString(input.ConsumeRemainingBytesAsString(), encoding));
        rbText text(string.Get());
        for (char view : order) {
            switch (view & 7) {
            case 0:
                Expect(text.GetWindows()[text.LengthWindows()] == 0, "Windows text ends");
                break;
            case 1:
                Expect(text.GetMacRoman()[text.LengthMacRoman()] == 0, "Mac text ends");
                break;
            case 2:
                Expect(text.GetASCII()[text.LengthASCII()] == 0, "ASCII text ends");
                break;
            case 3:
                Expect(text.GetUTF8()[text.LengthUTF8()] == 0, "UTF-8 text ends");
                break;
            case 4:
                Expect(text.GetLatin1()[text.LengthLatin1()] == 0, "Latin-1 text ends");
                break;
            case 5:
                Expect(text.GetUTF16()[text.LengthUTF16()] == 0, "UTF-16 text ends");
                break;
            case 6:
                Expect(text.GetUTF32()[text.LengthUTF32()] == 0, "UTF-32 text ends");
                break;
            default:
                rbText copy(text);
                Expect(copy.GetUTF8() != nullptr, "a copy has a text");
            }
        }
    }
    Expect(host.Complaints().empty(), "every reference is given back");
}
