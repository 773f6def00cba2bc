// Each form joins the bytes of a step and looks at the joined top bits once; what is left goes to the next
// smaller form.
#include "rbUtilASCII.h"

#include "CpuFeatures.h"
#include "rbUtil.h"

#include <cstdint>
#include <cstring>

bool IsASCIIPortable(const char *data, std::size_t count)
{
    constexpr std::uint64_t kTopBits = 0x8080808080808080;
    std::uint64_t word;
    for (; count >= sizeof word; data += sizeof word, count -= sizeof word) {
        std::memcpy(&word, data, sizeof word);
        if ((word & kTopBits) != 0) return false;
    }
    if (count == 0) return true;
    word = 0;
    std::memcpy(&word, data, count);
    return (word & kTopBits) == 0;
}

#if defined(__x86_64__)

#include <immintrin.h>

bool IsASCIISSE2(const char *data, std::size_t count)
{
    constexpr std::size_t kStep = 64;
    for (; count >= kStep; data += kStep, count -= kStep) {
        __m128i bytes[4];
        std::memcpy(bytes, data, kStep);
        __m128i joined = _mm_or_si128(_mm_or_si128(bytes[0], bytes[1]), _mm_or_si128(bytes[2], bytes[3]));
        if (_mm_movemask_epi8(joined) != 0) return false;
    }
    return IsASCIIPortable(data, count);
}

__attribute__((target("avx2"))) bool IsASCIIAVX2(const char *data, std::size_t count)
{
    constexpr std::size_t kStep = 128;
    for (; count >= kStep; data += kStep, count -= kStep) {
        __m256i bytes[4];
        std::memcpy(bytes, data, kStep);
        __m256i joined = _mm256_or_si256(_mm256_or_si256(bytes[0], bytes[1]), _mm256_or_si256(bytes[2], bytes[3]));
        if (_mm256_movemask_epi8(joined) != 0) return false;
    }
    return IsASCIISSE2(data, count);
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
    static constinit decltype(ChooseForm()) form = nullptr;
    if (form == nullptr) form = ChooseForm();
    return form(data, count);
}
