// The plain host's arrays: a header, and the elements in a storage of their own.
#include "Benchmarks/Bench.h"
#include "Benchmarks/PlainHost.h"
#include "Benchmarks/PlainObjects.h"

#include <cstdlib>

namespace bench {

static bool layoutIsHidden = false;

void HideArrayLayout(bool hidden)
{
    layoutIsHidden = hidden;
}

namespace {

// An array as hosts since 2021 lay it out.
struct Array {
    Value value;
    unsigned char gap[56 - sizeof(Value)];
    void *elements;
    std::int64_t dimensions, allocated;
    std::int32_t gap2, upperBound;
    unsigned int typeCode;
};
static_assert(offsetof(Array, elements) == 56 && offsetof(Array, upperBound) == 84);

void DestroyArray(REALobjectStruct *object)
{
    std::free(reinterpret_cast<Array *>(object)->elements);
}

} // namespace

REALclassDefinition arrayClass = {
    .name = "Array", .dataSize = sizeof(Array) - kBlockOffset, .destructor = DestroyArray};

} // namespace bench

namespace host::entry {

using namespace bench;

void *REALCreateArray(unsigned int typeCode, long upperBound)
{
    auto array = reinterpret_cast<Array *>(bench::NewInstance(*FindClass("Array")));
    auto count = static_cast<std::size_t>(upperBound + 1);
    array->elements = std::calloc(count, sizeof(std::int64_t)); // no element is larger
    array->dimensions = layoutIsHidden ? 0 : 1;
    array->allocated = upperBound + 1;
    array->upperBound = static_cast<std::int32_t>(upperBound);
    array->typeCode = typeCode;
    return array;
}

long REALGetArrayUBound(void *array)
{
    return static_cast<Array *>(array)->upperBound;
}

// The procedures of an element type, for arrays of its code.
#define ARRAY_ELEMENT(type, element, code)                                                                             \
    static element Get##type(void *array, long index)                                                                  \
    {                                                                                                                  \
        return static_cast<element *>(static_cast<Array *>(array)->elements)[index];                                   \
    }                                                                                                                  \
    static void Set##type(void *array, element value, long index)                                                      \
    {                                                                                                                  \
        static_cast<element *>(static_cast<Array *>(array)->elements)[index] = value;                                  \
    }                                                                                                                  \
    void *REALGetArrayValue##type(void *array, long, element *)                                                        \
    {                                                                                                                  \
        return static_cast<Array *>(array)->typeCode == code ? reinterpret_cast<void *>(Get##type) : nullptr;          \
    }                                                                                                                  \
    void *REALSetArrayValue##type(void *array, long, element)                                                          \
    {                                                                                                                  \
        return static_cast<Array *>(array)->typeCode == code ? reinterpret_cast<void *>(Set##type) : nullptr;          \
    }
ARRAY_ELEMENT(Integer, long, 11)
ARRAY_ELEMENT(Double, double, 2)

} // namespace host::entry
