// Each form looks at the top bits of a step together; what is left goes to the next smaller form.
#include "rbTextWiden.h"

#include "CpuFeatures.h"
#include "Slot.h"

template <typename Unit>
long WidenASCIIPortable(const unsigned char *text, long count, Unit *out)
{
    long taken = 0;
    for (; count - taken >= kWidenStep && IsASCIIStep(text + taken); taken += kWidenStep)
        WidenStep(text + taken, out + taken);
    return taken;
}

template long WidenASCIIPortable(const unsigned char *text, long count, unsigned short *out);
template long WidenASCIIPortable(const unsigned char *text, long count, unsigned int *out);

#if defined(__x86_64__)

#include <immintrin.h>

__attribute__((target("avx2"))) static void Widen32(const unsigned char *text, unsigned short *out)
{
    for (long i = 0; i < 32; i += 16) {
        __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(text + i));
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + i), _mm256_cvtepu8_epi16(bytes));
    }
}

__attribute__((target("avx2"))) static void Widen32(const unsigned char *text, unsigned int *out)
{
    for (long i = 0; i < 32; i += 8) {
        __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(text + i));
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + i), _mm256_cvtepu8_epi32(bytes));
    }
}

template <typename Unit>
__attribute__((target("avx2"))) long WidenASCIIAVX2(const unsigned char *text, long count, Unit *out)
{
    constexpr long kStep = 32;
    long taken = 0;
    for (; count - taken >= kStep; taken += kStep) {
        __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(text + taken));
        if (_mm256_movemask_epi8(bytes) != 0) break;
        Widen32(text + taken, out + taken);
    }
    return taken + WidenASCIIPortable(text + taken, count - taken, out + taken);
}

template long WidenASCIIAVX2(const unsigned char *text, long count, unsigned short *out);
template long WidenASCIIAVX2(const unsigned char *text, long count, unsigned int *out);

template <typename Unit>
static auto ChooseForm()
{
    return HasAVX2() ? WidenASCIIAVX2<Unit> : WidenASCIIPortable<Unit>;
}

#else

template <typename Unit>
static auto ChooseForm()
{
    return WidenASCIIPortable<Unit>;
}

#endif

template <typename Unit>
long WidenASCII(const unsigned char *text, long count, Unit *out)
{
    static constinit Slot<decltype(ChooseForm<Unit>())> slot;
    auto form = slot.Get();
    if (form == nullptr) [[unlikely]]
        form = slot.Set(ChooseForm<Unit>());
    return form(text, count, out);
}

template long WidenASCII(const unsigned char *text, long count, unsigned short *out);
template long WidenASCII(const unsigned char *text, long count, unsigned int *out);
