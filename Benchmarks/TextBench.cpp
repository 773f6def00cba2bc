// The 7-bit test and the conversions from UTF-8, which no member of the library exposes by themselves.
#include "Benchmarks/Bench.h"
#include "Benchmarks/ReadLimit.h"
#include "Benchmarks/TextCases.h"

#include "Source/Utility/rbText.h"
#include "Source/Utility/rbTextDecode.h"
#include "Source/Utility/rbUtil.h"

#include <type_traits>

using namespace bench;

// --- the 7-bit test ------------------------------------------------------------------------------------------

static void TestOurs(benchmark::State &state, long size)
{
    const std::string text(static_cast<std::size_t>(size), 'x');
    for (auto _ : state)
        Require(IsASCII(text.data(), text.size()), "the 7-bit test failed");
}

static void TestLimit(benchmark::State &state, long size)
{
    const std::string text(static_cast<std::size_t>(size), 'x');
    for (auto _ : state)
        Require(!AnyTopBit(text.data(), text.size()), "the 7-bit test failed");
}

static const std::vector<long> kTestSizes = {64, 1500, 65536};

[[maybe_unused]] static const bool registered[] = {
    Register("ascii", "ours", TestOurs, kTestSizes),
    Register("ascii", "limit", TestLimit, kTestSizes),
};

// --- conversions ---------------------------------------------------------------------------------------------

// What the library calls a unit of UTF-16 and of UTF-32.
template <typename Unit>
using LibraryUnit = std::conditional_t<sizeof(Unit) == 2, unsigned short, unsigned int>;

template <typename Unit, bool isMixed>
static void Decode(benchmark::State &state, long size)
{
    Conversion<Unit, isMixed> conversion(size);
    auto text = reinterpret_cast<const unsigned char *>(conversion.text.data());
    auto count = static_cast<long>(conversion.text.size());
    auto out = reinterpret_cast<LibraryUnit<Unit> *>(conversion.units.data());
    for (auto _ : state) {
        long illegal;
        long length = DecodeUTF8(text, count, out, &illegal);
        conversion.Check(static_cast<std::size_t>(length));
    }
}

// The view that the library's own functions take of a host string: with the reference, the test and the buffer.
template <typename Unit, bool isMixed>
static void MakeView(benchmark::State &state, long size)
{
    Conversion<Unit, isMixed> conversion(size);
    String string(NewString(conversion.text, kEncodingUTF8));
    for (auto _ : state) {
        rbText text(string.get());
        if constexpr (sizeof(Unit) == 2) {
            Require(text.LengthUTF16() > 0, "a text was not converted");
        } else {
            Require(text.LengthUTF32() > 0, "a text was not converted");
        }
    }
}

REGISTER_CONVERSIONS("ours", Decode)
REGISTER_CONVERSIONS("whole view", MakeView)
