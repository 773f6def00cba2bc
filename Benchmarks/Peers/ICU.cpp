// ICU: its string function for UTF-16; for UTF-32 the macro that its own functions go through a text with.
#include "Benchmarks/TextCases.h"

#include <unicode/ustring.h>
#include <unicode/utf8.h>

using namespace bench;

static std::size_t Convert(const std::string &text, std::vector<char16_t> &units)
{
    std::int32_t length = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strFromUTF8(units.data(), static_cast<std::int32_t>(units.size()), &length, text.data(),
                  static_cast<std::int32_t>(text.size()), &error);
    return U_SUCCESS(error) ? static_cast<std::size_t>(length) : 0;
}

static std::size_t Convert(const std::string &text, std::vector<char32_t> &units)
{
    auto bytes = reinterpret_cast<const std::uint8_t *>(text.data());
    auto count = static_cast<std::int32_t>(text.size());
    std::size_t length = 0;
    for (std::int32_t offset = 0; offset < count;) {
        UChar32 code;
        U8_NEXT(bytes, offset, count, code);
        if (code < 0) return 0;
        units[length++] = static_cast<char32_t>(code);
    }
    return length;
}

template <typename Unit, bool isMixed>
static void ConvertICU(benchmark::State &state, long size)
{
    Conversion<Unit, isMixed> conversion(size);
    for (auto _ : state)
        conversion.Check(Convert(conversion.text, conversion.units));
}

REGISTER_CONVERSIONS("ICU", ConvertICU)
