// Each form joins the bytes of a step and looks at the joined top bits once; what is left goes to the next
// smaller form.
#include "rbUtilASCII.h"

#include "CpuFeatures.h"
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

#if defined(__x86_64__)

#include <immintrin.h>

static __m128i Load128(const char *data)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(data));
}

bool IsASCIISSE2(const char *data, std::size_t count)
{
    constexpr std::size_t kStep = 64;
    for (; count >= kStep; data += kStep, count -= kStep) {
        __m128i first = _mm_or_si128(Load128(data), Load128(data + 16));
        __m128i second = _mm_or_si128(Load128(data + 32), Load128(data + 48));
        if (_mm_movemask_epi8(_mm_or_si128(first, second)) != 0) return false;
    }
    return IsASCIIPortable(data, count);
}

__attribute__((target("avx2"))) static __m256i Load256(const char *data)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(data));
}

// Whether the 64 bytes at each of both places are 7-bit.
__attribute__((target("avx2"))) static bool AreASCII(const char *first, const char *second)
{
    __m256i joined = _mm256_or_si256(_mm256_or_si256(Load256(first), Load256(first + 32)),
                                     _mm256_or_si256(Load256(second), Load256(second + 32)));
    return _mm256_movemask_epi8(joined) == 0;
}

__attribute__((target("avx2"))) bool IsASCIIAVX2(const char *data, std::size_t count)
{
    constexpr std::size_t kHalf = 64, kStep = 2 * kHalf;
    if (count < kHalf) return IsASCIIPortable(data, count);
    const char *end = data + count;
    const char *last = end - std::min(count, kStep); // the last step, which may overlap itself or the one before it
    for (; data < last; data += kStep) {
        if (!AreASCII(data, data + kHalf)) return false;
    }
    return AreASCII(last, end - kHalf);
}

static auto ChooseForm()
{
    return HasAVX2() ? IsASCIIAVX2 : IsASCIISSE2;
}

#elif defined(__aarch64__)

#include <arm_neon.h>

bool IsASCIINEON(const char *data, std::size_t count)
{
    constexpr std::size_t kStep = 64;
    for (; count >= kStep; data += kStep, count -= kStep) {
        uint8x16x4_t bytes = vld1q_u8_x4(reinterpret_cast<const unsigned char *>(data));
        uint8x16_t joined = vorrq_u8(vorrq_u8(bytes.val[0], bytes.val[1]), vorrq_u8(bytes.val[2], bytes.val[3]));
        if (vmaxvq_u8(joined) >= 0x80) return false;
    }
    return IsASCIIPortable(data, count);
}

static auto ChooseForm()
{
    return IsASCIINEON;
}

#else

static auto ChooseForm()
{
    return IsASCIIPortable;
}

#endif

bool IsASCII(const char *data, unsigned long count)
{
    constexpr unsigned long kShort = 64; // below that the choice of a form costs more than it saves
    if (count < kShort) return IsASCIIPortable(data, count);
    static constinit decltype(ChooseForm()) form = nullptr;
    if (form == nullptr) form = ChooseForm();
    return form(data, count);
}
