// The C library's iconv, with a converter that is opened once.
#include "Benchmarks/TextCases.h"

#include <bit>
#include <iconv.h>

using namespace bench;

template <typename Unit>
static const char *EncodingName()
{
    constexpr bool isLittle = std::endian::native == std::endian::little;
    if (sizeof(Unit) == 2) return isLittle ? "UTF-16LE" : "UTF-16BE";
    return isLittle ? "UTF-32LE" : "UTF-32BE";
}

template <typename Unit, bool isMixed>
static void ConvertIconv(benchmark::State &state, long size)
{
    Conversion<Unit, isMixed> conversion(size);
    iconv_t converter = iconv_open(EncodingName<Unit>(), "UTF-8");
    for (auto _ : state) {
        char *in = conversion.text.data();
        auto out = reinterpret_cast<char *>(conversion.units.data());
        std::size_t inLeft = conversion.text.size(), room = conversion.units.size() * sizeof(Unit);
        iconv(converter, &in, &inLeft, &out, &room);
        conversion.Check(conversion.units.size() - room / sizeof(Unit));
    }
    iconv_close(converter);
}

REGISTER_CONVERSIONS("iconv", ConvertIconv)
