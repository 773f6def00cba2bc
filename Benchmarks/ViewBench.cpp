// The views of short host values that the library's functions take, beside the host calls that they can't do without.
#include "Benchmarks/Bench.h"

#include "Source/Utility/rbData.h"
#include "Source/Utility/rbText.h"

using namespace bench;

static const std::string kPlain = "sixteen letters.", kMixed = "Zwölf Boxkämpf";
static constexpr long kSize = 16;

// --- bytes -----------------------------------------------------------------------------------------------------

static void ViewString(benchmark::State &state, long)
{
    String string(NewString(kPlain, kEncodingUTF8));
    for (auto _ : state) {
        rbData view(string.get());
        benchmark::DoNotOptimize(view.data);
    }
}

static void ViewBlock(benchmark::State &state, long)
{
    Object block(NewMemoryBlock(kPlain.data(), kPlain.size()));
    for (auto _ : state) {
        rbData view(AsMemoryBlock(block.get()), 0, 0);
        benchmark::DoNotOptimize(view.data);
    }
}

static void AskString(benchmark::State &state, long)
{
    String string(NewString(kPlain, kEncodingUTF8));
    for (auto _ : state) {
        REALLockString(string.get());
        benchmark::DoNotOptimize(REALGetStringBytes(string.get()).data);
        REALUnlockString(string.get());
    }
}

static void AskBlock(benchmark::State &state, long)
{
    Object block(NewMemoryBlock(kPlain.data(), kPlain.size()));
    for (auto _ : state) {
        REALLockObject(block.get());
        benchmark::DoNotOptimize(REALMemoryBlockGetSize(AsMemoryBlock(block.get())));
        benchmark::DoNotOptimize(REALMemoryBlockGetPtr(AsMemoryBlock(block.get())));
        REALUnlockObject(block.get());
    }
}

[[maybe_unused]] static const bool registered[] = {
    Register("view bytes of a string", "ours", ViewString, {kSize}),
    Register("view bytes of a string", "limit", AskString, {kSize}),
    Register("view bytes of a block", "ours", ViewBlock, {kSize}),
    Register("view bytes of a block", "limit", AskBlock, {kSize}),
};

// --- texts -----------------------------------------------------------------------------------------------------

// All texts are in UTF-8. What is not 7-bit is decoded by the library for the wide views alone.
template <const std::string *content, auto get>
static void ViewText(benchmark::State &state, long)
{
    String string(NewString(*content, kEncodingUTF8));
    for (auto _ : state) {
        rbText text(string.get());
        benchmark::DoNotOptimize((text.*get)());
        Require(!text.hasFailed(), "a text was not converted");
    }
}

static void AskText(benchmark::State &state, long)
{
    String string(NewString(kPlain, kEncodingUTF8));
    for (auto _ : state) {
        REALLockString(string.get());
        benchmark::DoNotOptimize(REALGetStringEncoding(string.get()));
        benchmark::DoNotOptimize(REALGetStringBytes(string.get()).data);
        REALUnlockString(string.get());
    }
}

#define REGISTER_VIEW(row, content, get)                                                                               \
    Register("view " row, "ours", ViewText<&content, &rbText::get>, {kSize}),                                          \
        Register("view " row, "limit", AskText, {kSize})

[[maybe_unused]] static const bool registeredTexts[] = {
    REGISTER_VIEW("7-bit as ASCII", kPlain, GetASCII),    REGISTER_VIEW("7-bit as UTF-8", kPlain, GetUTF8),
    REGISTER_VIEW("7-bit as Latin-1", kPlain, GetLatin1), REGISTER_VIEW("7-bit as Windows", kPlain, GetWindows),
    REGISTER_VIEW("7-bit as Roman", kPlain, GetMacRoman), REGISTER_VIEW("7-bit as UTF-16", kPlain, GetUTF16),
    REGISTER_VIEW("7-bit as UTF-32", kPlain, GetUTF32),   REGISTER_VIEW("mixed as UTF-8", kMixed, GetUTF8),
    REGISTER_VIEW("mixed as UTF-16", kMixed, GetUTF16),   REGISTER_VIEW("mixed as UTF-32", kMixed, GetUTF32),
};
