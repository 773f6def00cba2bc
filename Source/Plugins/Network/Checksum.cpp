#include "Checksum.h"

#include "ChecksumSums.h"

#include "Source/SDK/GlueCode/Relaxed.h"
#include "Source/Utility/CpuFeatures.h"

using SumFunction = std::uint64_t (*)(const unsigned char *bytes, std::size_t count);

// The fastest implementation that this machine can run.
static SumFunction ChooseSum()
{
#if defined(__x86_64__)
    return HasAVX2() ? SumWordsAVX2 : SumWordsSSE2;
#elif defined(__aarch64__)
    return SumWordsNEON;
#else
    return SumWordsPortable;
#endif
}

std::uint16_t csumb(const void *words, std::int32_t count)
{
    static constinit Relaxed<SumFunction> chosen = nullptr; // null: not chosen yet
    if (count < 1) return 0xFFFF;
    SumFunction sumWords = chosen;
    if (sumWords == nullptr) [[unlikely]]
        chosen = sumWords = ChooseSum();

    auto bytes = static_cast<const unsigned char *>(words);
    auto sum = static_cast<std::int64_t>(sumWords(bytes, static_cast<std::size_t>(count)));
    sum = (sum >> 16) + (sum & 0xFFFF);
    sum += sum >> 16;
    return static_cast<std::uint16_t>(~sum);
}
