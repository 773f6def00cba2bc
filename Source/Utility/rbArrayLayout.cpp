// Where the host keeps the elements of its arrays, and the self-test that decides whether to count on it.
//
// Only the self-test reads an array's memory before it has passed.
#include "rbArray.h"

#include "Source/SDK/GlueCode/PluginMain.h"
#include "rbDebug.h"
#include "rbReference.h"

#include <cstring>

namespace {

// A number in the header of an array, 64 bits or 32 bits wide.
struct HeaderField {
    std::size_t offset;
    bool isWide;
};

struct ArrayLayout {
    HeaderField referenceCount;
    HeaderField data; // the address of the first element
    HeaderField dimensionCount;
    HeaderField allocatedSize;
    HeaderField upperBound;
};

constexpr ArrayLayout layoutSince2021 = {{24, true}, {56, true}, {64, true}, {72, true}, {84, false}};
constexpr ArrayLayout layoutBefore2021 = {{24, true}, {56, true}, {64, false}, {68, false}, {76, false}};

bool layoutTested = false; // the self-test has run
bool directAccess = false; // and it passed

const ArrayLayout &Layout()
{
    return gHostVersion >= 2021.0 ? layoutSince2021 : layoutBefore2021;
}

template <typename Value>
Value Load(const void *memory, std::size_t offset)
{
    Value value;
    std::memcpy(&value, static_cast<const char *>(memory) + offset, sizeof value);
    return value;
}

long ReadField(const void *array, HeaderField field)
{
    return field.isWide ? Load<std::int64_t>(array, field.offset) : Load<std::int32_t>(array, field.offset);
}

void *ReadData(const void *array)
{
    return Load<void *>(array, Layout().data.offset);
}

bool HasDirectAccess()
{
    if (!layoutTested) [[unlikely]]
        TestArray();
    return directAccess;
}

bool Expect(long value, long expected, const char *failure)
{
    if (value != expected) TRACE(failure, value);
    return value == expected;
}

// Whether the host's own operations work. Sets elements 0 and 9, which TestHeader looks for.
bool TestOperations(_REALarrayInteger *array)
{
    if (!Expect(REALGetArrayUBound(array), 1234, "ubound failed")) return false;
    REALSetArrayValue(array, 0, 12345);
    REALSetArrayValue(array, 9, 123456);
    long first = 0, second = 0, tenth = 0;
    REALGetArrayValue(array, 0, &first);
    REALGetArrayValue(array, 1, &second);
    REALGetArrayValue(array, 9, &tenth);
    return Expect(first, 12345, "Index 0 failed") && Expect(second, 0, "Index 1 failed") &&
           Expect(tenth, 123456, "Index 9 failed");
}

bool TestHeader(const void *array)
{
    const ArrayLayout &layout = Layout();
    if (!Expect(ReadField(array, layout.referenceCount), 1, "refCount wrong")) return false;
    if (!Expect(ReadField(array, layout.dimensionCount), 1, "DimensionCount wrong")) return false;
    if (!Expect(ReadField(array, layout.upperBound), 1234, "ubound wrong")) return false;
    const void *data = ReadData(array);
    if (data == nullptr) {
        TRACE("data is nil");
        return false;
    }
    return Expect(Load<std::int64_t>(data, 0), 12345, "Index 0 failed") &&
           Expect(Load<std::int64_t>(data, 9 * sizeof(std::int64_t)), 123456, "Index 9 failed");
}

} // namespace

void TestArray()
{
    TRACE("TestArray", gHostVersion);
    _REALarrayInteger *array = REALCreateArrayInteger(1234);
    TestArray(array);
    Release(reinterpret_cast<REALobjectStruct *>(array));
}

void TestArray(_REALarrayInteger *array)
{
    // Before anything else: the operations must go through the host, and must not start another test.
    layoutTested = true;
    directAccess = false;
    if (array == nullptr) {
        TRACE("Failed to allocate array");
        return;
    }
    directAccess = TestOperations(array) && TestHeader(array);
}

void *GetArrayStorage(void *array)
{
    return HasDirectAccess() && array != nullptr ? ReadData(array) : nullptr;
}

long GetArrayReferenceCount(void *array)
{
    return HasDirectAccess() && array != nullptr ? ReadField(array, Layout().referenceCount) : 0;
}

long GetArrayAllocatedSize(void *array)
{
    return HasDirectAccess() && array != nullptr ? ReadField(array, Layout().allocatedSize) : 0;
}
