// Host strings built and read back, in every encoding and on every host.
#include "Source/SDK/GlueCode/HostOperations.h"
#include "Source/Utility/rbDebug.h"
#include "Source/Utility/rbText.h"
#include "Source/Utility/rbUtil.h"
#include "Tests/Unit/Faults.h"
#include "Tests/Unit/OnHost.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

using namespace std::literals;

namespace {

class Text : public OnHost {
  protected:
    void SetUp() override { StartHost(); }
};

std::string_view Bytes(const String &string)
{
    return host::BytesOf(string.Get());
}

} // namespace

TEST_F(Text, BuildersDeclareWhatTheyBuild)
{
    const struct {
        std::string given;
        unsigned int encoding, declared;
        std::string built;
    } rows[] = {
        {"AB", kEncodingNone, kEncodingASCII, "AB"},      {"A\0B"s, kEncodingNone, kEncodingASCII, "A\0B"s},
        {"\x7F", kEncodingNone, kEncodingASCII, "\x7F"},  {"\x80", kEncodingNone, kEncodingNone, "\x80"},
        {"AB", kEncodingLatin1, kEncodingASCII, "AB"},    {"A\xE9", kEncodingLatin1, kEncodingLatin1, "A\xE9"},
        {"AB", kEncodingWindows, kEncodingASCII, "AB"},   {"AB", kEncodingMacRoman, kEncodingASCII, "AB"},
        {"AB", kEncodingUTF8, kEncodingUTF8, "AB"},       {"A\0B\0"s, kEncodingUTF16, kEncodingUTF8, "AB"},
        {"A\0\0\0"s, kEncodingUTF32, kEncodingUTF8, "A"},
    };
    for (const auto &row : rows) {
        String string(REALBuildUnicodeString(row.given.data(), std::ssize(row.given), row.encoding));
        EXPECT_EQ(Bytes(string), row.built);
        EXPECT_EQ(host::EncodingOf(string.Get()), row.declared) << row.given;
    }
    const auto pascal = reinterpret_cast<const unsigned char *>("\3abcdef");
    EXPECT_EQ(Bytes(String(PString2RB(pascal, kEncodingUTF8))), "abc");
    for (auto [maximum, built] : {std::pair(0UL, ""), {1, "a"}, {3, "abc"}, {4, "abc"}})
        EXPECT_EQ(Bytes(String(CString2RBmax("abc", kEncodingUTF8, maximum))), built);
}

TEST_F(Text, WhatCannotBeBuiltIsNull)
{
    for (long length : {0L, -1L, 1L << 31})
        EXPECT_EQ(REALBuildUnicodeString("x", length, kEncodingUTF8), nullptr);
    EXPECT_EQ(REALBuildUnicodeString(nullptr, 5, kEncodingUTF8), nullptr);
    for (const char *text : {"", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(CString2RB(text, kEncodingUTF8), nullptr);
        EXPECT_EQ(CString2RBmax(text, kEncodingUTF8, 3), nullptr);
        EXPECT_EQ(PString2RB(reinterpret_cast<const unsigned char *>(text), kEncodingUTF8), nullptr);
    }
    EXPECT_EQ(UnicodeCString2RB(L""), nullptr);
    EXPECT_EQ(UnicodeCString2RB(static_cast<const wchar_t *>(nullptr)), nullptr);
    EXPECT_EQ(UnicodeCString2RB(static_cast<const unsigned short *>(nullptr)), nullptr);
    gDebugging = true; // an unknown encoding is told
    EXPECT_EQ(CaptureLog([] { String(REALBuildUnicodeString("a", 1, 77)); }),
              Lines{"VYN Debug: Unknown encoding in REALBuildUnicodeString 77"});
}

class TextOnHost : public OnHost, public testing::WithParamInterface<double> {};

TEST_P(TextOnHost, WideTextsArriveOnEveryHost)
{
    FakeHost::Start(); // which takes memory for its list of requests
    StartHost({.version = GetParam()});
    FakeHost::Replace(host::Resolve);
    static bool takesUTF32 = false;
    FakeHost::Provide("REALBuildStringWithEncoding", [](const char *bytes, int count, unsigned int encoding) {
        takesUTF32 = takesUTF32 || encoding == kEncodingUTF32;
        return host::entry::REALBuildStringWithEncoding(bytes, count, encoding);
    });
    // Beyond the 16-bit plane, and long enough for the heap.
    std::wstring large;
    for (int i = 0; i < 300; i++)
        large += L"\U0001F600";
    for (const std::wstring &text : {std::wstring(L"a\u00E9\u20AC\U0001F600"), large}) {
        String string(UnicodeCString2RB(text.c_str()));
        rbText read(string.Get());
        EXPECT_EQ(std::wstring(read.GetWChar()), text);
    }
    for (long nth : {1, 2}) {
        gDebugging = nth == 1;
        faults::FailAllocation(nth);
        EXPECT_EQ(String(UnicodeCString2RB(large.c_str())).Get() == nullptr, faults::kAllocationsCanFail);
    }
    String string(UnicodeCString2RB(reinterpret_cast<const unsigned short *>(u"a\u20AC")));
    rbText read(string.Get());
    EXPECT_STREQ(read.GetUTF8(), "a\xE2\x82\xAC");
    EXPECT_EQ(Bytes(String(CString2RB("a", kEncodingUTF8))), "a");
    EXPECT_EQ(FakeHost::Asked("REALBuildString") != 0, GetParam() < 2012.0); // only the oldest hosts build in two steps
    EXPECT_EQ(takesUTF32, GetParam() >= 2013.0);
}

INSTANTIATE_TEST_SUITE_P(Versions, TextOnHost, testing::Values(2011.999, 2012.0, 2012.999, 2013.0),
                         [](const auto &host) { return "In" + std::to_string(int(host.param * 1000)); });

TEST_F(Text, AViewInEachEncodingOfASourceInEach)
{
    const struct {
        std::string source;
        unsigned int encoding;
        std::string utf8, latin1; // no Latin-1: left out
        std::u16string utf16;
        std::u32string utf32;
    } rows[] = {
        {"plain", kEncodingASCII, "plain", "plain", u"plain", U"plain"},
        {"plain", kEncodingMacRoman, "plain", "plain", u"plain", U"plain"},
        {"caf\xC3\xA9", 0x08000100, "caf\xC3\xA9", "caf\xE9", u"caf\u00E9", U"caf\u00E9"}, // the code itself
        {"caf\xE9", kEncodingLatin1, "caf\xC3\xA9", "caf\xE9", u"caf\u00E9", U"caf\u00E9"},
        {"caf\xE9", kEncodingNone, "caf\xC3\xA9", "caf\xE9", u"caf\u00E9", U"caf\u00E9"},
        {"caf\x8E", kEncodingMacRoman, "caf\xC3\xA9", "caf\xE9", u"caf\u00E9", U"caf\u00E9"},
        {"c\0\xE9\0"s, 0x0100, "c\xC3\xA9", "c\xE9", u"c\u00E9", U"c\u00E9"},
        {"\x3D\xD8\x00\xDE"s, kEncodingUTF16, "\xF0\x9F\x98\x80", "", u"\U0001F600", U"\U0001F600"},
        {"c\0\0\0\xE9\0\0\0"s, 0x0C000100, "c\xC3\xA9", "c\xE9", u"c\u00E9", U"c\u00E9"},
        {"a\0b"s, kEncodingASCII, "a\0b"s, "a\0b"s, u"a\0b"s, U"a\0b"s},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.source);
        String source(host::NewString(row.source, row.encoding));
        rbText text(source.Get());
        source = String(); // the text keeps it
        auto expectViews = [&row](rbText &one) {
            auto expect = [&one](auto get, auto length, const auto &wanted) {
                using Texts = std::remove_cvref_t<decltype(wanted)>;
                auto units = reinterpret_cast<const typename Texts::value_type *>((one.*get)());
                long count = (one.*length)();
                EXPECT_TRUE(Texts(units, static_cast<std::size_t>(count)) == wanted);
                EXPECT_EQ(units[count], 0U);
            };
            expect(&rbText::GetUTF8, &rbText::LengthUTF8, row.utf8);
            expect(&rbText::GetUTF16, &rbText::LengthUTF16, row.utf16);
            expect(&rbText::GetUTF32, &rbText::LengthUTF32, row.utf32);
            if (!row.latin1.empty()) {
                std::string mac = row.latin1, ascii = row.latin1;
                std::replace(mac.begin(), mac.end(), '\xE9', '\x8E');
                std::replace(ascii.begin(), ascii.end(), '\xE9', '?');
                expect(&rbText::GetLatin1, &rbText::LengthLatin1, row.latin1);
                expect(&rbText::GetWindows, &rbText::LengthWindows, row.latin1);
                expect(&rbText::GetMacRoman, &rbText::LengthMacRoman, mac);
                expect(&rbText::GetASCII, &rbText::LengthASCII, ascii);
            }
            EXPECT_EQ(one.GetUTF8Nil(), one.GetUTF8());
            EXPECT_EQ(one.GetUTF16Nil(), one.GetUTF16());
            EXPECT_EQ(one.GetWCharNil(), one.GetWChar());
            EXPECT_FALSE(one.hasFailed());
        };
        rbText early(text); // copies have the same views of their own, whenever they are made
        expectViews(text);
        rbText late(text);
        for (rbText *copy : {&early, &late}) {
            expectViews(*copy);
            EXPECT_EQ(copy->getEncoding(), text.getEncoding());
            EXPECT_EQ(copy->getASCIIOnlyState(), text.getASCIIOnlyState());
        }
    }
}

TEST_F(Text, WithoutMemoryATextIsEmpty)
{
    if (!faults::kAllocationsCanFail) GTEST_SKIP() << "the sanitizers' allocators do not fail";
    const std::pair<std::string, unsigned int> sources[] = {{"plain", kEncodingASCII},
                                                            {"caf\xC3\xA9", kEncodingUTF8},
                                                            {"caf\xE9", kEncodingNone},
                                                            {"\xFE\xFF\xD8\x3D\xDE\x00"s, kEncodingUTF16},
                                                            {"\0\0\xFE\xFF\0\0\0a"s, kEncodingUTF32}};
    for (const auto &[bytes, encoding] : sources) {
        String source(host::NewString(bytes, encoding));
        for (auto length : {&rbText::LengthUTF8, &rbText::LengthUTF16, &rbText::LengthUTF32}) {
            for (long nth = 1, failed = true; failed; nth++) {
                gDebugging = nth % 2 == 0;
                faults::FailAllocation(nth);
                rbText text(source.Get());
                long units = (text.*length)();
                failed = faults::AllocationFailed();
                faults::FailAllocation(0);
                EXPECT_TRUE(units > 0 || failed) << bytes << ", allocation " << nth;
            }
        }
    }
}

TEST_F(Text, ByteOrderMarksGoAndTheOtherByteOrderIsUndone)
{
    const std::pair<std::string, std::u16string> rows[] = {
        {"\xFF\xFE\x61\0"s, u"a"}, {"\xFE\xFF\0\x61"s, u"a"},       {"\xFF\xFE\xFE\xFF\x61\0"s, u"a"},
        {"\xFF\xFE"s, u""},        {"\x61\0\xFF\xFE"s, u"a\uFEFF"}, // only at the start
    };
    for (const auto &[bytes, utf16] : rows) {
        String source(host::NewString(bytes, kEncodingUTF16));
        rbText text(source.Get());
        auto units = reinterpret_cast<const char16_t *>(text.GetUTF16());
        EXPECT_EQ(std::u16string(units, static_cast<std::size_t>(text.LengthUTF16())), utf16);
    }
    String swapped(host::NewString("\0\0\xFE\xFF\0\1\xF6\0"s, kEncodingUTF32));
    EXPECT_STREQ(rbText(swapped.Get()).GetWChar(), L"\U0001F600");
}

TEST_F(Text, DataOfTheHostThatDoesNotEndWithAZeroIsCopied)
{
    FakeHost::Replace(host::Resolve);
    FakeHost::Provide("PluginGetStringData", [](REALstringStruct *, unsigned int code, REALstringData *data) {
        data->data = code == kEncodingMacRoman ? nullptr : "ab!!";
        data->length = code == kEncodingASCII ? 0 : 2;
        return 1UL;
    });
    FakeHost::Provide("PluginDisposeStringData", [](REALstringData *) {});
    String source(host::NewString("\xE9", kEncodingLatin1));
    rbText text(source.Get());
    EXPECT_EQ(std::string(text.GetWindows(), static_cast<std::size_t>(text.LengthWindows())), "ab");
    EXPECT_EQ(text.GetWindows()[2], 0);
    EXPECT_EQ(text.GetUTF16()[0], 'a' + 256 * 'b');
    EXPECT_EQ(text.GetUTF16()[text.LengthUTF16()], 0);
    EXPECT_STREQ(text.GetWChar(), L"");  // less than one unit
    EXPECT_EQ(text.LengthMacRoman(), 0); // a length without bytes
    EXPECT_EQ(text.LengthASCII(), 0);    // and bytes without a length
    if (faults::kAllocationsCanFail) {
        rbText without(source.Get());
        gDebugging = true;
        faults::FailAllocation(1);
        EXPECT_STREQ(without.GetWindows(), "");
        EXPECT_TRUE(faults::AllocationFailed());
    }
}

TEST_F(Text, EmptyTextsAreEmptyAndNilWhereAskedFor)
{
    rbText empty(nullptr);
    EXPECT_STREQ(rbText(empty).GetUTF8(), "");
    EXPECT_STREQ(empty.GetUTF8(), "");
    EXPECT_EQ(empty.GetUTF16()[0], 0);
    for (auto nil : {&rbText::GetWindowsNil, &rbText::GetMacRomanNil, &rbText::GetASCIINil, &rbText::GetUTF8Nil,
                     &rbText::GetLatin1Nil, &rbText::GetNativeNil})
        EXPECT_EQ((empty.*nil)(), nullptr);
    EXPECT_TRUE(empty.GetUTF16Nil() == nullptr && empty.GetUTF32Nil() == nullptr && empty.GetWCharNil() == nullptr);
    EXPECT_EQ(GetPassword(empty), nullptr);
    EXPECT_EQ(empty.getEncoding(), static_cast<unsigned int>(kEncodingASCII));
    EXPECT_EQ(empty.getASCIIOnlyState(), 1U);
}

TEST_F(Text, ChainsKeepEveryLinkOnceSet)
{
    String source(host::NewString("x"));
    rbText *head = nullptr;
    for (int i = 0; i < 3; i++)
        AddTextChain(head, new rbText(source.Get()));
    rbText *second = head->GetNext();
    gDebugging = true;
    auto log = CaptureLog([&] { head->SetNext(nullptr); });
    EXPECT_EQ(log, (Lines{"VYN Debug: Warning: Next already set!"}));
    EXPECT_EQ(head->GetNext(), second);
    FreeTextChain(head);
}

TEST_F(OnHost, AHostThatCannotConvertLeavesAnEmptyText)
{
    StartHost({.without = {"PluginGetStringData", "StringGetCString"}});
    for (unsigned int encoding : std::initializer_list<unsigned int>{
             kEncodingASCII, kEncodingLatin1, kEncodingNone, kEncodingUTF8, kEncodingUTF16, kEncodingUTF32, 77}) {
        String source(host::NewString("caf\xE9", encoding));
        rbText text(source.Get());
        EXPECT_EQ(text.LengthUTF8() + text.LengthUTF16() + text.LengthUTF32(), 0);
    }
}

TEST_F(OnHost, TextThatNoStringCanBeMadeOfAreAnEmptyText)
{
    StartHost({.without = {"REALBuildStringWithEncoding"}});
    String source(host::NewString("caf\xE9", kEncodingNone));
    rbText text(source.Get());
    EXPECT_TRUE(text.hasFailed());
    EXPECT_EQ(text.LengthLatin1(), 0);
}

TEST_F(Text, AHostThatThrowsLosesNoReferenceAndIsNotAskedAgain)
{
    FakeHost::Replace(host::Resolve);
    for (const char *entry : {"REALGetStringEncoding", "REALBuildStringWithEncoding"})
        FakeHost::Provide(entry, [](REALstringStruct *) -> unsigned int { throw std::bad_alloc(); });
    String source(host::NewString("text"));
    EXPECT_THROW(rbText{source.Get()}, std::bad_alloc);
    // The text of the exception can't be made either.
    EXPECT_THROW(REALBuildUnicodeString("text", 4, kEncodingASCII), std::bad_alloc);
}

TEST_F(Text, IsInTheLogWithItsHandle)
{
    String string(host::NewString("caf\xC3\xA9"));
    RuntimeText *text = host::NewText("caf\xC3\xA9");
    std::ostringstream lines;
    lines << "VYN Debug: " << string.Get() << ": caf\xC3\xA9, VYN Debug: x " << text << ": caf\xC3\xA9";
    auto log = CaptureLog([&] {
        LogMessage(string.Get());
        LogMessage("x", text);
    });
    EXPECT_EQ(log.at(0) + ", " + log.at(1), lines.str());
    EXPECT_EQ(CaptureLog([] { LogMessage("x", static_cast<RuntimeText *>(nullptr)); }),
              Lines{"VYN Debug: x (nil) and no text"});
    host::Release(text);
}

// The host gives its data wherever that lies.
TEST(TextOfAHost, WideTextIsReadAtAnyAddress)
{
    FakeHost::Start();
    static const std::u16string units = u"\u20ACuro \U0001F600";
    static unsigned char memory[64];
    static std::size_t place, size;
    FakeHost::Provide("REALGetStringEncoding", [](REALstringStruct *) -> unsigned int { return kEncodingUTF16; });
    FakeHost::Provide("PluginGetStringData", [](REALstringStruct *, unsigned int, REALstringData *data) {
        data->data = memory + place;
        data->length = static_cast<long>(size);
        return 1UL;
    });
    for (place = 0; place < 8; place++) {
        size = units.size() * 2;
        std::memcpy(memory + place, units.data(), size + 2);
        rbText narrow(reinterpret_cast<REALstringStruct *>(memory));
        EXPECT_EQ(units, reinterpret_cast<const char16_t *>(narrow.GetUTF16()));
        EXPECT_EQ(std::wstring(narrow.GetWChar()), L"\u20ACuro \U0001F600");
    }
}
