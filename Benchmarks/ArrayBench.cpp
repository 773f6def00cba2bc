// Reading the elements of a host array one by one in every possible way, beside a vector. Times are for an element.
//
// The short way calls the host only for the array's bound, which is the limit. The host's way is what the library does
// where it does not recognise the layout of arrays.
#include "Benchmarks/Bench.h"
#include "Benchmarks/PlainArrays.h"

#include "Source/Utility/rbArray.h"

using namespace bench;

static constexpr int kElements = 1000;

// Times the body, which is called with each index.
template <typename Body>
static void TimeIndices(benchmark::State &state, Body body)
{
    TimeBatches(
        state, kElements, [] {},
        [&] {
            for (long i = 0; i < kElements; i++)
                body(i);
        });
}

// An array of one type, whose layout the library recognises or not.
template <typename Array, Array *(*create)(long)>
struct Elements {
    explicit Elements(bool hidden = false)
    {
        HideArrayLayout(hidden);
        TestArray();
        handle = create(kElements - 1);
        Require((GetArrayBasePointer(handle) == nullptr) == hidden, "the layout of arrays is not as expected");
    }
    Elements(const Elements &) = delete;
    Elements &operator=(const Elements &) = delete;
    ~Elements() { REALUnlockObject(reinterpret_cast<REALobjectStruct *>(handle)); }

    Array *handle;
};

// The ways to the elements of one type.
template <typename Array, Array *(*create)(long), typename Element>
struct Ways {
    static void Get(benchmark::State &state, bool hidden)
    {
        Elements<Array, create> array(hidden);
        TimeIndices(state, [&](long i) {
            Element value = 0;
            REALGetArrayValue(array.handle, i, &value);
            benchmark::DoNotOptimize(value);
        });
    }
    static void Short(benchmark::State &state, long) { Get(state, false); }
    static void Host(benchmark::State &state, long) { Get(state, true); }
    static void Bound(benchmark::State &state, long)
    {
        Elements<Array, create> array;
        TimeIndices(state, [&](long) { benchmark::DoNotOptimize(REALGetArrayUBound(array.handle)); });
    }
    static void Base(benchmark::State &state, long)
    {
        Elements<Array, create> array;
        Element *base = GetArrayBasePointer(array.handle);
        TimeIndices(state, [=](long i) { benchmark::DoNotOptimize(base[i]); });
    }
    static void Vector(benchmark::State &state, long)
    {
        std::vector<Element> vector(kElements);
        TimeIndices(state, [&](long i) { benchmark::DoNotOptimize(vector[static_cast<std::size_t>(i)]); });
    }

    static bool RegisterAll(const char *row)
    {
        RegisterBatched(row, "ours", Short, {kElements});
        RegisterBatched(row, "limit", Bound, {kElements});
        RegisterBatched(row, "host's way", Host, {kElements});
        RegisterBatched(row, "base pointer", Base, {kElements});
        return RegisterBatched(row, "vector", Vector, {kElements});
    }
};

[[maybe_unused]] static const bool registered[] = {
    Ways<_REALarrayInteger, REALCreateArrayInteger, long>::RegisterAll("element Integer"),
    Ways<_REALarrayDouble, REALCreateArrayDouble, double>::RegisterAll("element Double"),
};
