// Each implementation joins the bytes of a step and looks at the joined top bits once. A text shorter than half a step
// goes to the portable one.
#include "rbUtilASCII.h"

#include "CpuFeatures.h"
#include "Source/SDK/GlueCode/Relaxed.h"
#include "rbUtil.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

constexpr std::uint64_t kTopBits = 0x8080808080808080;

template <typename Word>
static Word Load(const char *data)
{
    Word word;
    std::memcpy(&word, data, sizeof word);
    return word;
}

// Up to seven bytes, in two loads that may overlap.
static bool IsShortASCII(const char *data, std::size_t count)
{
    if (count >= 4) {
        std::uint32_t joined = Load<std::uint32_t>(data) | Load<std::uint32_t>(data + count - 4);
        return (joined & kTopBits) == 0;
    }
    if (count == 0) return true;
    auto joined = static_cast<unsigned char>(data[0] | data[count / 2] | data[count - 1]);
    return joined < 0x80;
}

bool IsASCIIPortable(const char *data, std::size_t count)
{
    constexpr std::size_t kStep = sizeof(std::uint64_t);
    if (count < kStep) return IsShortASCII(data, count);
    const char *last = data + count - kStep; // the last step, which may overlap the one before it
    for (; data < last; data += kStep) {
        if ((Load<std::uint64_t>(data) & kTopBits) != 0) return false;
    }
    return (Load<std::uint64_t>(last) & kTopBits) == 0;
}

// Tests two halves of a step at a time. The last step may overlap the one before it, or its halves each other.
template <std::size_t kHalf>
[[gnu::always_inline]] static inline bool IsASCIIInSteps(const char *data, std::size_t count,
                                                         bool (*areASCII)(const char *, const char *))
{
    constexpr std::size_t kStep = 2 * kHalf;
    if (count < kHalf) return IsASCIIPortable(data, count);
    const char *end = data + count;
    const char *last = end - std::min(count, kStep);
    for (; data < last; data += kStep) {
        if (!areASCII(data, data + kHalf)) return false;
    }
    return areASCII(last, end - kHalf);
}

#if defined(__x86_64__)

#include <immintrin.h>

static __m128i Load128(const char *data)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(data));
}

static bool AreASCII128(const char *first, const char *second)
{
    __m128i joined = _mm_or_si128(_mm_or_si128(Load128(first), Load128(first + 16)),
                                  _mm_or_si128(Load128(second), Load128(second + 16)));
    return _mm_movemask_epi8(joined) == 0;
}

bool IsASCIISSE2(const char *data, std::size_t count)
{
    return IsASCIIInSteps<2 * sizeof(__m128i)>(data, count, AreASCII128);
}

__attribute__((target("avx2"))) static __m256i Load256(const char *data)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(data));
}

__attribute__((target("avx2"))) static bool AreASCII256(const char *first, const char *second)
{
    __m256i joined = _mm256_or_si256(_mm256_or_si256(Load256(first), Load256(first + 32)),
                                     _mm256_or_si256(Load256(second), Load256(second + 32)));
    return _mm256_movemask_epi8(joined) == 0;
}

__attribute__((target("avx2"))) bool IsASCIIAVX2(const char *data, std::size_t count)
{
    return IsASCIIInSteps<2 * sizeof(__m256i)>(data, count, AreASCII256);
}

#elif defined(__aarch64__)

#include <arm_neon.h>

static bool AreASCIINEON(const char *first, const char *second)
{
    uint8x16x2_t one = vld1q_u8_x2(reinterpret_cast<const unsigned char *>(first));
    uint8x16x2_t other = vld1q_u8_x2(reinterpret_cast<const unsigned char *>(second));
    uint8x16_t joined = vorrq_u8(vorrq_u8(one.val[0], one.val[1]), vorrq_u8(other.val[0], other.val[1]));
    return vmaxvq_u8(joined) < 0x80;
}

bool IsASCIINEON(const char *data, std::size_t count)
{
    return IsASCIIInSteps<2 * sizeof(uint8x16_t)>(data, count, AreASCIINEON);
}

#endif

using TestFunction = bool (*)(const char *data, std::size_t count);

// The fastest implementation that this machine can run.
static TestFunction ChooseTest()
{
#if defined(__x86_64__)
    return HasAVX2() ? IsASCIIAVX2 : IsASCIISSE2;
#elif defined(__aarch64__)
    return IsASCIINEON;
#else
    return IsASCIIPortable;
#endif
}

bool IsASCII(const char *data, unsigned long count)
{
    constexpr unsigned long kShort = 64; // below that the choice of an implementation costs more than it saves
    if (count < kShort) return IsASCIIPortable(data, count);
    static constinit Relaxed<TestFunction> chosen = nullptr; // null: not chosen yet
    TestFunction isASCII = chosen;
    if (isASCII == nullptr) [[unlikely]]
        chosen = isASCII = ChooseTest();
    return isASCII(data, count);
}
