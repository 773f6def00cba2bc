// Each form works in blocks that are short enough for its lanes: with all words at their worst (65,535, or
// for the biased forms 0) a lane holds just so many before it runs over.
#include "ChecksumSums.h"

#include <algorithm>
#include <cstring>

// The words that fill no vector any more, one by one.
static std::uint64_t SumRest(const unsigned char *bytes, std::size_t count)
{
    std::uint64_t sum = 0;
    std::uint16_t word;
    for (; count >= 2; bytes += 2, count -= 2) {
        std::memcpy(&word, bytes, sizeof word);
        sum += word;
    }
    if (count == 1) {
        word = 0;
        std::memcpy(&word, bytes, 1);
        sum += word;
    }
    return sum;
}

std::uint64_t SumWordsPortable(const unsigned char *bytes, std::size_t count)
{
    constexpr std::size_t kStep = 8, kMostSteps = 65536; // 65,536 words in a lane of 32 bits
    constexpr std::uint64_t kLane = 0xFFFFFFFF, kEvenWords = 0x0000FFFF0000FFFF;
    std::uint64_t sum = 0;
    while (count >= kStep) {
        std::size_t steps = std::min(count / kStep, kMostSteps);
        std::uint64_t even = 0, odd = 0;
        for (std::size_t i = 0; i < steps; i++) {
            std::uint64_t words;
            std::memcpy(&words, bytes + i * kStep, kStep);
            even += words & kEvenWords;
            odd += (words >> 16) & kEvenWords;
        }
        sum += (even & kLane) + (even >> 32) + (odd & kLane) + (odd >> 32);
        bytes += steps * kStep;
        count -= steps * kStep;
    }
    return sum + SumRest(bytes, count);
}

#if defined(__x86_64__)

#include <immintrin.h>

// The multiply-add of these machines is signed: each word is taken less 32,768, and what that makes too
// little is added at the end. A lane takes two words a step, at worst -65,536 together.
static constexpr std::size_t kMostBiasedSteps = 32767;
static constexpr std::uint64_t kBias = 32768;

// The sum of 32-bit lanes, which are signed.
template <typename Vector>
static std::int64_t SumLanes(const Vector &vector)
{
    std::int32_t lanes[sizeof(Vector) / 4];
    std::memcpy(lanes, &vector, sizeof lanes);
    std::int64_t sum = 0;
    for (std::int32_t lane : lanes)
        sum += lane;
    return sum;
}

static __m128i Load128(const unsigned char *bytes)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes));
}

std::uint64_t SumWordsSSE2(const unsigned char *bytes, std::size_t count)
{
    constexpr std::size_t kStep = 64;
    const __m128i bias = _mm_set1_epi16(-32768), ones = _mm_set1_epi16(1);
    std::uint64_t sum = 0;
    while (count >= kStep) {
        std::size_t steps = std::min(count / kStep, kMostBiasedSteps);
        __m128i sums[4] = {};
        for (std::size_t i = 0; i < steps; i++) {
            for (std::size_t j = 0; j < 4; j++) {
                __m128i words = _mm_xor_si128(Load128(bytes + i * kStep + j * 16), bias);
                sums[j] = _mm_add_epi32(sums[j], _mm_madd_epi16(words, ones));
            }
        }
        for (__m128i lanes : sums)
            sum += static_cast<std::uint64_t>(SumLanes(lanes));
        sum += steps * kStep / 2 * kBias;
        bytes += steps * kStep;
        count -= steps * kStep;
    }
    return sum + SumWordsPortable(bytes, count);
}

__attribute__((target("avx2"))) static __m256i Load256(const unsigned char *bytes)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes));
}

__attribute__((target("avx2"))) std::uint64_t SumWordsAVX2(const unsigned char *bytes, std::size_t count)
{
    constexpr std::size_t kStep = 128;
    const __m256i bias = _mm256_set1_epi16(-32768), ones = _mm256_set1_epi16(1);
    std::uint64_t sum = 0;
    while (count >= kStep) {
        std::size_t steps = std::min(count / kStep, kMostBiasedSteps);
        __m256i sums[4] = {};
        for (std::size_t i = 0; i < steps; i++) {
            for (std::size_t j = 0; j < 4; j++) {
                __m256i words = _mm256_xor_si256(Load256(bytes + i * kStep + j * 32), bias);
                sums[j] = _mm256_add_epi32(sums[j], _mm256_madd_epi16(words, ones));
            }
        }
        for (__m256i lanes : sums)
            sum += static_cast<std::uint64_t>(SumLanes(lanes));
        sum += steps * kStep / 2 * kBias;
        bytes += steps * kStep;
        count -= steps * kStep;
    }
    return sum + SumWordsSSE2(bytes, count);
}

#elif defined(__aarch64__)

#include <arm_neon.h>

std::uint64_t SumWordsNEON(const unsigned char *bytes, std::size_t count)
{
    constexpr std::size_t kStep = 64, kMostSteps = 32768; // two words a lane and step
    std::uint64_t sum = 0;
    while (count >= kStep) {
        std::size_t steps = std::min(count / kStep, kMostSteps);
        uint32x4_t sums[4] = {vdupq_n_u32(0), vdupq_n_u32(0), vdupq_n_u32(0), vdupq_n_u32(0)};
        for (std::size_t i = 0; i < steps; i++) {
            for (std::size_t j = 0; j < 4; j++) {
                uint16x8_t words = vreinterpretq_u16_u8(vld1q_u8(bytes + i * kStep + j * 16));
                sums[j] = vpadalq_u16(sums[j], words);
            }
        }
        for (uint32x4_t lanes : sums)
            sum += vaddlvq_u32(lanes);
        bytes += steps * kStep;
        count -= steps * kStep;
    }
    return sum + SumWordsPortable(bytes, count);
}

#endif
