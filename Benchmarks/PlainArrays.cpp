// The plain host's arrays: an object whose instance data are the header, and a separate storage of elements.
#include "Benchmarks/PlainArrays.h"
#include "Benchmarks/Bench.h"

#include <cstdlib>
#include <cstring>

namespace bench {

static bool layoutIsHidden = false;

void HideArrayLayout(bool hidden)
{
    layoutIsHidden = hidden;
}

namespace {

// An array as hosts since 2021 lay it out. The count of references, at 24, is the object's.
struct Array {
    unsigned char object[56];
    void *elements;
    std::int64_t dimensions, allocated;
    std::int32_t gap, upperBound;
    unsigned int typeCode;
};
static_assert(offsetof(Array, elements) == 56 && offsetof(Array, upperBound) == 84);

void DestroyArray(REALobjectStruct *object)
{
    std::free(reinterpret_cast<Array *>(object)->elements);
}

void *CreateArray(unsigned int typeCode, long upperBound)
{
    auto array = reinterpret_cast<Array *>(entries.newInstance("Array"));
    array->elements =
        std::calloc(static_cast<std::size_t>(upperBound + 1), sizeof(std::int64_t)); // no element is larger
    array->dimensions = layoutIsHidden ? 0 : 1;
    array->allocated = upperBound + 1;
    array->upperBound = static_cast<std::int32_t>(upperBound);
    array->typeCode = typeCode;
    return array;
}

long UpperBound(void *array)
{
    return static_cast<Array *>(array)->upperBound;
}

// The procedures of an element type, for arrays of its code.
template <typename Element, unsigned int code>
struct Elements {
    static Element &At(void *array, long index)
    {
        return static_cast<Element *>(static_cast<Array *>(array)->elements)[index];
    }
    static Element Get(void *array, long index) { return At(array, index); }
    static void Set(void *array, Element value, long index) { At(array, index) = value; }

    template <auto procedure>
    static void *Procedure(void *array)
    {
        return static_cast<Array *>(array)->typeCode == code ? reinterpret_cast<void *>(procedure) : nullptr;
    }
};
using Integers = Elements<long, 11>;
using Doubles = Elements<double, 2>;

} // namespace

REALclassDefinition arrayClass = {.name = "Array", .dataSize = sizeof(Array) - 48, .destructor = DestroyArray};

void *FindArrayEntry(const char *name)
{
    static const struct {
        const char *name;
        void *function;
    } rows[] = {
        {"RuntimeArrayCreateSingleDimBoundedArray", reinterpret_cast<void *>(CreateArray)},
        {"RuntimeUBound", reinterpret_cast<void *>(UpperBound)},
        {"PluginIntegerArrayGetProc", reinterpret_cast<void *>(Integers::Procedure<Integers::Get>)},
        {"PluginIntegerArraySetProc", reinterpret_cast<void *>(Integers::Procedure<Integers::Set>)},
        {"PluginDoubleArrayGetProc", reinterpret_cast<void *>(Doubles::Procedure<Doubles::Get>)},
        {"PluginDoubleArraySetProc", reinterpret_cast<void *>(Doubles::Procedure<Doubles::Set>)},
    };
    for (const auto &row : rows) {
        if (std::strcmp(row.name, name) == 0) return row.function;
    }
    return nullptr;
}

} // namespace bench
