// Host arrays, by way of the host and straight in their memory.
#include "Source/Utility/rbArray.h"
#include "Source/Utility/rbDebug.h"
#include "Tests/Unit/OnHost.h"

#include <cstring>
#include <limits>

namespace {

// Every way of access: both layouts of arrays, and a host whose arrays have another one.
struct HostKind {
    double version;
    bool direct;
};
constexpr HostKind hostKinds[] = {{2020.999, true}, {2021.0, true}, {2021.03, false}};

class Array : public OnHost, public testing::WithParamInterface<HostKind> {
  protected:
    void SetUp() override
    {
        StartHost({.version = GetParam().version});
        if (!GetParam().direct) gHostVersion = 2020.0; // the plugin takes the host for an older one than it is
    }
};

template <typename Handle>
void ReleaseArray(Handle *array)
{
    REALUnlockObject(reinterpret_cast<REALobjectStruct *>(array));
}

// Reads an element, of which the reference that comes with it is given back.
template <typename Element, typename Handle>
Element Get(Handle *array, long index)
{
    Element element = {};
    REALGetArrayValue(array, index, &element);
    if constexpr (std::is_same_v<Element, REALstringStruct *>)
        String release(element);
    else if constexpr (std::is_pointer_v<Element>)
        Object release(reinterpret_cast<REALobjectStruct *>(element));
    return element;
}

// An array of three elements keeps what is set, inserted and appended, and the neighbours stay; as far as there are
// operations for its type.
template <typename Element, typename Handle>
void ExpectKept(Handle *array, Element first, Element second)
{
    ASSERT_NE(array, nullptr);
    constexpr bool canSet = requires
    {
        REALSetArrayValue(array, 0, first);
    };
    if constexpr (canSet) {
        REALSetArrayValue(array, 0, first);
        REALSetArrayValue(array, 2, second);
    }
    REALAppendArrayValue(array, first);
    REALInsertArrayValue(array, 0, second);
    EXPECT_EQ(REALGetArrayUBound(array), 4);
    const Element none = {};
    const Element wanted[] = {second, canSet ? first : none, none, canSet ? second : none, first};
    if constexpr (requires(Element * out) { REALGetArrayValue(array, 0, out); }) {
        for (long index = 0; index < 5; index++)
            EXPECT_EQ(Get<Element>(array, index), wanted[index]) << index;
        REALGetArrayValue(array, 0, static_cast<Element *>(nullptr));
        Element untouched = first;
        REALGetArrayValue(static_cast<Handle *>(nullptr), 0, &untouched);
        EXPECT_EQ(untouched, first);
    }
    ASSERT_EQ(GetArrayBasePointer(array) != nullptr, Array::GetParam().direct);
    for (long index = 0; index < 5 && Array::GetParam().direct; index++)
        EXPECT_EQ(GetArrayBasePointer(array)[index], wanted[index]) << index;
    ReleaseArray(array);
    if constexpr (canSet) REALSetArrayValue(static_cast<Handle *>(nullptr), 0, second);
    REALAppendArrayValue(static_cast<Handle *>(nullptr), second);
    EXPECT_EQ(REALGetArrayUBound(static_cast<Handle *>(nullptr)), -1);
}

template <typename Element, typename Handle>
void ExpectNumbersKept(Handle *array)
{
    ExpectKept<Element>(array, std::numeric_limits<Element>::lowest(), std::numeric_limits<Element>::max());
}

template <typename Element, typename Handle>
void ExpectObjectsKept(Handle *array, const Object &object)
{
    ExpectKept<Element>(array, reinterpret_cast<Element>(object.Get()), nullptr);
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Hosts, Array, testing::ValuesIn(hostKinds), [](const auto &kind) {
    return kind.param.direct ? kind.param.version < 2021.0 ? "OldLayout" : "NewLayout" : "ByWayOfTheHost";
});

TEST_P(Array, ElementsOfEveryTypeAreKept)
{
    ExpectNumbersKept<long>(REALCreateArrayInteger(2));
    ExpectNumbersKept<std::int8_t>(REALCreateArrayInt8(2));
    ExpectNumbersKept<std::uint8_t>(REALCreateArrayUInt8(2));
    ExpectNumbersKept<std::int16_t>(REALCreateArrayInt16(2));
    ExpectNumbersKept<std::uint16_t>(REALCreateArrayUInt16(2));
    ExpectNumbersKept<std::int32_t>(REALCreateArrayInt32(2));
    ExpectNumbersKept<std::uint32_t>(REALCreateArrayUInt32(2));
    ExpectNumbersKept<std::int64_t>(REALCreateArrayInt64(2));
    ExpectNumbersKept<std::uint64_t>(REALCreateArrayUInt64(2));
    ExpectNumbersKept<float>(REALCreateArraySingle(2));
    ExpectNumbersKept<double>(REALCreateArrayDouble(2));
    ExpectKept<signed char>(REALCreateArrayBoolean(2), 1, 0);

    Object block(host::NewMemoryBlock("abc", 3));
    ExpectObjectsKept<REALobjectStruct *>(REALCreateArrayObject(2), block);
    ExpectObjectsKept<REALmemoryBlockStruct *>(REALCreateArrayMemoryBlock(2), block);
    ExpectObjectsKept<REALfolderItemStruct *>(REALCreateArrayFolderItem(2), block);
    ExpectObjectsKept<_REALdictionary *>(REALCreateArrayDictionary(2), block);
    ExpectObjectsKept<_REALdate *>(REALCreateArrayDate(2), block);
    ExpectObjectsKept<_REALdateTime *>(REALCreateArrayDateTime(2), block);
    String string(host::NewString("string"));
    ExpectKept<REALstringStruct *>(REALCreateArrayString(2), string.Get(), nullptr);
    RuntimeText *text = host::NewText("text");
    ExpectKept<RuntimeText *>(REALCreateArrayText(2), text, nullptr);
    host::Release(text);
}

// Colours and currencies come from the host; there is no operation that sets one.
TEST_P(Array, ElementsThatAreOnlyReadComeAsTheHostHasThem)
{
    auto check = [](auto *array, auto setInHost, auto value) {
        setInHost(array, 1, value);
        EXPECT_EQ(Get<decltype(value)>(array, 1), value);
        EXPECT_EQ(REALGetArrayUBound(array), 1);
        EXPECT_EQ(GetArrayBasePointer(array) != nullptr, GetParam().direct);
        ReleaseArray(array);
    };
    check(static_cast<_REALarrayColor *>(REALCreateArray(18, 1)), REALSetArrayValueColor, 0xFF8000U);
    check(static_cast<_REALarrayCurrency *>(REALCreateArray(19, 1)), REALSetArrayValueCurrency, -12345L);
    auto pointers = reinterpret_cast<_REALarrayPtr *>(REALCreateArrayObject(3));
    EXPECT_EQ(REALGetArrayUBound(pointers), 3);
    EXPECT_EQ(GetArrayBasePointer(pointers) != nullptr, GetParam().direct);
    ReleaseArray(pointers);
}

// As the result, an element comes with a reference as well; the array has one of its own.
TEST_P(Array, ElementsAreGivenAsResultsToo)
{
    auto integers = REALCreateArrayInteger(0);
    auto objects = REALCreateArrayObject(0);
    auto strings = REALCreateArrayString(1);
    REALSetArrayValue(integers, 0, -7L);
    EXPECT_EQ(REALGetArrayInt(integers, 0), -7);
    REALobjectStruct *block = host::NewMemoryBlock("abc", 3);
    REALSetArrayValue(objects, 0, Object(block).Get());
    EXPECT_EQ(Object(REALGetArrayObject(objects, 0)).Get(), block);
    EXPECT_EQ(Object(REALGetArrayVariant(objects, 0)).Get(), block);
    REALstringStruct *string = host::NewString("string");
    REALSetArrayValue(strings, 0, String(string).Get());
    REALSetArrayValue(strings, 0, string); // the same once more, when the array's is the only reference
    EXPECT_EQ(String(REALGetArrayString(strings, 0)).Get(), string);
    EXPECT_EQ(REALGetArrayString(strings, 1), nullptr);
    ReleaseArray(integers);
    ReleaseArray(objects);
    ReleaseArray(strings);
}

TEST_P(Array, AnIndexOutOfRangeRaisesAndChangesNothing)
{
    _REALarrayUInt64 *numbers = REALCreateArrayUInt64(9);
    _REALarrayInteger *integers = REALCreateArrayInteger(9);
    std::vector<std::string> texts;
    for (long index : {-1L, 10L, std::numeric_limits<long>::min(), std::numeric_limits<long>::max()}) {
        std::uint64_t value = 5;
        REALGetArrayValue(numbers, index, &value);
        REALSetArrayValue(numbers, index, value);
        EXPECT_EQ(value, 5U);
        EXPECT_EQ(REALGetArrayInt(integers, index), 0);
        Object taken(running->exceptions.TakePending());
        texts.insert(texts.end(), 3,
                     std::string("OutOfBoundsException: The parameter index  is too ") + (index < 0 ? "small" : "big") +
                         ". Range is 0 to 9, but value is " + std::to_string(index) + ".");
    }
    ASSERT_EQ(running->exceptions.Raised().size(), texts.size());
    for (std::size_t i = 0; i < texts.size(); i++)
        EXPECT_EQ(running->exceptions.Raised()[i].Text(), texts[i]);
    for (long index = 0; index < 10; index++) {
        std::uint64_t value = 5;
        REALGetArrayValue(numbers, index, &value);
        EXPECT_EQ(value, 0U);
    }
    ReleaseArray(numbers);
    ReleaseArray(integers);
}

TEST(ArrayNull, ResultsOfNullArraysAreNoneAndTold)
{
    gDebugging = true;
    EXPECT_EQ(CaptureLog([] {
                  EXPECT_EQ(REALGetArrayInt(static_cast<_REALarrayInteger *>(nullptr), 0), 0);
                  EXPECT_EQ(REALGetArrayString(static_cast<_REALarrayString *>(nullptr), 0), nullptr);
                  EXPECT_EQ(REALGetArrayObject(static_cast<_REALarrayObject *>(nullptr), 0), nullptr);
                  EXPECT_EQ(REALGetArrayVariant(nullptr, 0), nullptr);
              }),
              Lines({"VYN Debug: REALGetArrayInt Array is nil", "VYN Debug: REALGetArrayString Array is nil",
                     "VYN Debug: REALGetArrayObject Array is nil", "VYN Debug: REALGetArrayVariant Array is nil"}));
}

// A host that answers for one array, which lies in the test's own memory and can be spoilt.
namespace {

struct FakeArray {
    unsigned char header[96];
    long elements[1235];
    long bound;
} fake;

void Put(std::size_t offset, auto value)
{
    std::memcpy(fake.header + offset, &value, sizeof value);
}

void StartFake(double version)
{
    FakeHost::Start(version);
    FakeHost::Provide("RuntimeArrayCreateSingleDimBoundedArray",
                      [](unsigned int, long) -> void * { return fake.bound == 0 ? nullptr : &fake; });
    FakeHost::Provide("RuntimeUBound", [](void *) { return fake.bound; });
    FakeHost::Provide("PluginIntegerArrayGetProc",
                      [](void *, long, long *) { return +[](void *, long index) { return fake.elements[index]; }; });
    FakeHost::Provide("PluginIntegerArraySetProc", [](void *, long, long) {
        return +[](void *, long value, long index) { fake.elements[index] = value; };
    });
    fake = {};
    fake.bound = 1234;
    Put(24, 1L);
    Put(56, &fake.elements[0]);
    Put(64, 1L);
    Put(84, 1234);
}

} // namespace

TEST(ArrayLayout, DirectAccessNeedsEveryFieldInItsPlace)
{
    struct {
        double hostVersion;
        void (*spoil)();
        const char *failure;
    } const rows[] = {
        // clang-format off
        {2021.0, [] {}, nullptr},
        {2020.999, [] {}, "ubound wrong 0"},
        {2021.0, [] { fake.bound = 0; }, "Failed to allocate array"},
        {2021.0, [] { fake.bound = 1233; }, "ubound failed 1233"},
        {2021.0, [] { fake.elements[1] = 3; }, "Index 1 failed 3"},
        {2021.0, [] { Put(24, 2L); }, "refCount wrong 2"},
        {2021.0, [] { Put(64, 0x100000001L); }, "DimensionCount wrong 4294967297"},
        {2020.999, [] { Put(64, 0x100000001L); Put(76, 1234); }, nullptr},
        {2021.0, [] { Put(84, 1235); }, "ubound wrong 1235"},
        {2021.0, [] { Put(56, nullptr); }, "data is nil"},
        {2021.0, [] { Put(56, &fake.elements[1]); }, "Index 0 failed 0"},
        {2021.0, [] { Put(56, &fake.header); Put(0, 12345L); Put(72, 6L); }, "Index 9 failed 6"},
        // clang-format on
    };
    for (const auto &row : rows) {
        StartFake(row.hostVersion);
        row.spoil();
        gDebugging = true;
        Lines log = CaptureLog([] { TestArray(); });
        gDebugging = false;
        Lines expected = {"VYN Debug: TestArray " + std::to_string(row.hostVersion)};
        if (row.failure != nullptr) expected.push_back(std::string("VYN Debug: ") + row.failure);
        EXPECT_EQ(log, expected);
        bool direct = row.failure == nullptr;
        EXPECT_EQ(GetArrayStorage(nullptr), nullptr);
        EXPECT_EQ(GetArrayReferenceCount(nullptr) + GetArrayAllocatedSize(nullptr), 0);
        EXPECT_EQ(GetArrayStorage(&fake), direct ? fake.elements : nullptr);
        EXPECT_EQ(GetArrayReferenceCount(&fake), direct ? 1 : 0);
        Put(68, 3);
        Put(72, 0x100000004L);
        EXPECT_EQ(GetArrayAllocatedSize(&fake), !direct ? 0 : row.hostVersion < 2021 ? 3 : 0x100000004L);
    }
}

TEST(ArrayLayout, ATestOfAnArrayIsTheLastWord)
{
    StartFake(2021.0);
    auto array = reinterpret_cast<_REALarrayInteger *>(&fake);
    TestArray(array);
    EXPECT_EQ(GetArrayStorage(&fake), fake.elements);
    TestArray(nullptr);
    EXPECT_EQ(GetArrayStorage(&fake), nullptr);
    TestArray(array);
    fake.elements[1] = 3;
    TestArray(array);
    EXPECT_EQ(GetArrayStorage(&fake), nullptr);
}

TEST(ArrayLayout, ABooleanIs0Or1AndStaysWhenItCannotBeRead)
{
    StartFake(2021.0);
    TestArray();
    fake.bound = std::numeric_limits<long>::max(); // which has no next index
    auto booleans = reinterpret_cast<_REALarrayBoolean *>(&fake);
    REALSetArrayValue(booleans, 3, static_cast<signed char>(0x40));
    EXPECT_EQ(reinterpret_cast<signed char *>(fake.elements)[3], 1);

    TestArray(nullptr); // from now on by way of the host, which has no procedure for it
    signed char out = 1;
    REALGetArrayValue(booleans, 4, &out);
    EXPECT_EQ(out, 1);
}

// Releasing an element may run the program's code, which finds the new one in its place.
TEST(ArrayLayout, AnElementIsReleasedOnceTheNewOneIsInItsPlace)
{
    StartFake(2021.0);
    TestArray();
    fake.elements[3] = 66;
    static long atRelease = 0;
    FakeHost::Provide("REALLockObject", [](REALobjectStruct *) {});
    FakeHost::Provide("REALUnlockObject", [](REALobjectStruct *) { atRelease = fake.elements[3]; });
    REALSetArrayValue(reinterpret_cast<_REALarrayObject *>(&fake), 3, reinterpret_cast<REALobjectStruct *>(77));
    EXPECT_EQ(atRelease, 77);
}
