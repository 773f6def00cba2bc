// Views of short host values, beside the host calls that every view needs.
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

// The views of texts that members take. The sources are in UTF-8.
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

[[maybe_unused]] static const bool registeredTexts[] = {
    Register("view 7-bit as ASCII", "ours", ViewText<&kPlain, &rbText::GetASCII>, {kSize}),
    Register("view 7-bit as ASCII", "limit", AskText, {kSize}),
    Register("view 7-bit as UTF-8", "ours", ViewText<&kPlain, &rbText::GetUTF8>, {kSize}),
    Register("view 7-bit as UTF-8", "limit", AskText, {kSize}),
    Register("view mixed as UTF-8", "ours", ViewText<&kMixed, &rbText::GetUTF8>, {kSize}),
    Register("view mixed as UTF-8", "limit", AskText, {kSize}),
};
