// The texts that are tested and converted, and the rows of the conversions.
#pragma once

#include "Benchmarks/Bench.h"

namespace bench {

constexpr const char *kASCIISentence = "The quick brown fox jumps over the lazy dog; ";
constexpr const char *kMixedSentence =
    "Zwölf Boxkämpfer, ξεσκεπάζω, 東京の夜, 🙂 and some plain words; ";

// Whole sentences, up to `size` bytes, so that no character is cut.
inline std::string Text(std::string_view sentence, long size)
{
    std::string text;
    while (text.size() + sentence.size() <= static_cast<std::size_t>(size))
        text += sentence;
    return text;
}

constexpr char kASCIITo16[] = "utf8 ASCII to UTF-16";
constexpr char kASCIITo32[] = "utf8 ASCII to UTF-32";
constexpr char kMixedTo16[] = "utf8 mixed to UTF-16";
constexpr char kMixedTo32[] = "utf8 mixed to UTF-32";

// Registers the four conversions of one kind: measurement<Unit, row>. Each has room for a unit a byte.
#define REGISTER_CONVERSIONS(kind, measurement)                                                                        \
    [[maybe_unused]] static const bool registered_##measurement[] = {                                                  \
        bench::Register(bench::kASCIITo16, kind, measurement<char16_t, false>, {8192}),                                \
        bench::Register(bench::kMixedTo16, kind, measurement<char16_t, true>, {8192}),                                 \
        bench::Register(bench::kASCIITo32, kind, measurement<char32_t, false>, {8192}),                                \
        bench::Register(bench::kMixedTo32, kind, measurement<char32_t, true>, {8192}),                                 \
    };

// Text and buffer of a conversion, and the check that all of it was converted.
template <typename Unit, bool isMixed>
struct Conversion {
    explicit Conversion(long size) : text(Text(isMixed ? kMixedSentence : kASCIISentence, size)), units(text.size()) {}

    // The last unit must be the sentence's last character.
    void Check(std::size_t length) const
    {
        Require(length > 0 && length <= units.size() && units[length - 1] == u' ', "a text was not converted");
    }

    std::string text;
    std::vector<Unit> units;
};

} // namespace bench
