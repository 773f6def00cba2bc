// Arrays: objects whose header lies where a host of this version has it, with the elements in a storage of
// their own.
//
// The header is written again after every change; this file reads only its own two fields after it. An element that
// is handed out carries a reference; one that is stored gets a reference of its own.
#include "Host/Runtime/Host.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace host {
namespace {

constexpr unsigned int stringCode = 3, objectCode = 4, integerCode = 11;

// The types of elements: name, C type, and the code by which arrays are created. No entry creates arrays of the last
// two, whose codes are this host's own, and none inserts into them.
// clang-format off
#define ELEMENT_TYPES                                                                                                  \
    ELEMENT(Int32,    std::int32_t,       0)                                                                           \
    ELEMENT(Single,   float,              1)                                                                           \
    ELEMENT(Double,   double,             2)                                                                           \
    ELEMENT(String,   REALstringStruct *, stringCode)                                                                  \
    ELEMENT(Object,   REALobjectStruct *, objectCode)                                                                  \
    ELEMENT(UInt8,    std::uint8_t,       5)                                                                           \
    ELEMENT(Int8,     std::int8_t,        6)                                                                           \
    ELEMENT(UInt16,   std::uint16_t,      7)                                                                           \
    ELEMENT(Int16,    std::int16_t,       8)                                                                           \
    ELEMENT(UInt32,   std::uint32_t,      9)                                                                           \
    ELEMENT(UInt64,   std::uint64_t,      10)                                                                          \
    ELEMENT(UInteger, unsigned long,      10)                                                                          \
    ELEMENT(Integer,  long,               integerCode)                                                                 \
    ELEMENT(Int64,    std::int64_t,       integerCode)                                                                 \
    ELEMENT(Boolean,  bool,               16)                                                                          \
    ELEMENT(Text,     RuntimeText *,      17)                                                                          \
    FIXED  (Color,    unsigned int,       18)                                                                          \
    FIXED  (Currency, std::int64_t,       19)
// clang-format on

// The kind of value of an element that is a handle; Dead for a type that is no handle.
template <typename Element>
constexpr Kind kindOf = std::is_same_v<Element, REALstringStruct *>   ? Kind::String
                        : std::is_same_v<Element, REALobjectStruct *> ? Kind::Object
                        : std::is_same_v<Element, RuntimeText *>      ? Kind::Text
                                                                      : Kind::Dead;

struct ElementType {
    const char *name;
    unsigned int code;
    std::size_t width;
    Kind kind;
};
#define ELEMENT(name, type, code) {#name, code, sizeof(type), kindOf<type>},
#define FIXED(name, type, code) ELEMENT(name, type, code)
constexpr ElementType elementTypes[] = {ELEMENT_TYPES};
#undef ELEMENT
#undef FIXED

// The headers of hosts since 2021, and of those before.
struct WideHeader {
    std::int64_t dimensions, allocated;
    std::int32_t reserved, upperBound;
};
struct NarrowHeader {
    std::int32_t dimensions, allocated, reserved, upperBound;
};

// The instance block: the storage pointer, either header, and this file's own fields.
struct Block {
    unsigned char *storage;
    union {
        WideHeader wide;
        NarrowHeader narrow;
    };
    std::int64_t count;
    const ElementType *type;
};
static_assert(arrayOffset + offsetof(Block, wide.upperBound) == 84 &&
              offsetof(Block, narrow.upperBound) + arrayOffset == 76);

Block *BlockOf(void *array, const char *operation)
{
    auto object = static_cast<REALobjectStruct *>(array);
    const Class *type = ClassOf(object, operation);
    if (type == nullptr) return nullptr;
    if (type->name != "Array") {
        Host::Current().ledger.Error(std::string(operation) + ": an array was expected, but found: " + type->name);
        return nullptr;
    }
    return static_cast<Block *>(InstanceBlock(object, *type));
}

void WriteHeader(Block &block)
{
    auto count = static_cast<std::int32_t>(block.count);
    if (Host::Current().version >= 2021.0) {
        block.wide = {1, count, 0, count - 1};
    } else {
        block.narrow = {1, count, 0, count - 1};
    }
}

// New elements are zero; null when there is no memory.
bool Resize(Block &block, std::int64_t count)
{
    auto width = block.type->width;
    auto bytes = std::max<std::size_t>(static_cast<std::size_t>(count) * width, 1);
    auto grown = static_cast<unsigned char *>(std::realloc(block.storage, bytes));
    if (grown == nullptr) return false;
    auto old = static_cast<std::size_t>(block.count) * width;
    if (bytes > old) std::memset(grown + old, 0, bytes - old);
    block.storage = grown;
    block.count = count;
    WriteHeader(block);
    return true;
}

constexpr char elementUse[] = "an array's element"; // in the ledger's messages

void Destroy(REALobjectStruct *array)
{
    Block &block = *BlockOf(array, "end of an array");
    if (block.type == nullptr) return;
    auto handles = reinterpret_cast<void **>(block.storage);
    for (std::int64_t i = 0; block.type->kind != Kind::Dead && i < block.count; ++i) {
        Release(handles[i], block.type->kind, elementUse);
    }
    std::free(block.storage);
}

// The place of an element that a procedure moves; null, with an error recorded, beyond the end.
unsigned char *Place(Block &block, long index, std::int64_t end)
{
    if (index >= 0 && index < end) return block.storage + static_cast<std::size_t>(index) * block.type->width;
    Host::Current().ledger.Error("an array's element " + std::to_string(index) + " was asked for, of " +
                                 std::to_string(block.count));
    return nullptr;
}

// A Boolean is answered as a word of which the low byte counts.
template <typename Element>
using Answer = std::conditional_t<std::is_same_v<Element, bool>, unsigned long, Element>;

template <typename Element>
Answer<Element> Get(void *array, long index)
{
    Block *block = BlockOf(array, "reading of an element");
    const unsigned char *place = block != nullptr ? Place(*block, index, block->count) : nullptr;
    Element element{};
    if (place == nullptr) return {};
    std::memcpy(&element, place, sizeof element);
    if constexpr (std::is_pointer_v<Element>) Host::Current().ledger.Lock(element, block->type->kind, elementUse);
    return element;
}

template <typename Element>
void Set(void *array, Element element, long index)
{
    Block *block = BlockOf(array, "writing of an element");
    unsigned char *place = block != nullptr ? Place(*block, index, block->count) : nullptr;
    if (place == nullptr) return;
    if constexpr (std::is_pointer_v<Element>) {
        Element old;
        std::memcpy(&old, place, sizeof old);
        Host::Current().ledger.Lock(element, block->type->kind, elementUse);
        std::memcpy(place, &element, sizeof element);
        Release(old, block->type->kind, elementUse);
    } else {
        std::memcpy(place, &element, sizeof element);
    }
}

template <typename Element>
void Insert(void *array, long index, Element element)
{
    Block *block = BlockOf(array, "insertion of an element");
    if (block == nullptr || Place(*block, index, block->count + 1) == nullptr) return;
    if (!Resize(*block, block->count + 1)) return;
    auto place = block->storage + static_cast<std::size_t>(index) * sizeof element;
    std::memmove(place + sizeof element, place, static_cast<std::size_t>(block->count - 1 - index) * sizeof element);
    std::memset(place, 0, sizeof element);
    Set(array, element, index);
}

const ElementType *TypeOfCode(unsigned int code)
{
    auto found = std::ranges::find(elementTypes, code, &ElementType::code);
    return found != std::end(elementTypes) ? &*found : nullptr;
}

// The element procedure, if the array holds elements of this type; null with an error recorded otherwise.
void *ForCode(void *array, unsigned int code, void *procedure)
{
    const Block *block = BlockOf(array, "an element procedure");
    if (block == nullptr || block->type->code == code) return block != nullptr ? procedure : nullptr;
    Host::Current().ledger.Error(std::string("elements of ") + TypeOfCode(code)->name +
                                 " were asked for from an array of " + block->type->name);
    return nullptr;
}

REALclassDefinition definitions[] = {{.name = "Array", .dataSize = sizeof(Block), .destructor = Destroy}};

} // namespace

constinit const std::span<REALclassDefinition> arrayClasses = definitions;

void *entry::REALCreateArray(unsigned int typeCode, long upperBound)
{
    const ElementType *type = TypeOfCode(typeCode);
    if (type == nullptr || upperBound < -1 || upperBound >= INT32_MAX) return nullptr;

    REALobjectStruct *array = NewInstance(*Host::Current().classes.Find("Array"));
    if (array == nullptr) return nullptr;
    Block &block = *BlockOf(array, REALCreateArrayName);
    block.type = type;
    if (Resize(block, upperBound + 1)) return array;
    Release(array);
    return nullptr;
}

long entry::REALGetArrayUBound(void *array)
{
    const Block *block = BlockOf(array, REALGetArrayUBoundName);
    return block != nullptr ? block->count - 1 : -1;
}

long entry::REALGetArrayInt(void *array, long index)
{
    return ForCode(array, integerCode, array) != nullptr ? Get<long>(array, index) : 0;
}

REALstringStruct *entry::REALGetArrayString(void *array, long index)
{
    return ForCode(array, stringCode, array) != nullptr ? Get<REALstringStruct *>(array, index) : nullptr;
}

REALobjectStruct *entry::REALGetArrayObject(void *array, long index)
{
    return ForCode(array, objectCode, array) != nullptr ? Get<REALobjectStruct *>(array, index) : nullptr;
}

#define FIXED(name, type, code)                                                                                        \
    void *entry::REALGetArrayValue##name(void *array, long, type *)                                                    \
    {                                                                                                                  \
        return ForCode(array, code, reinterpret_cast<void *>(Get<type>));                                              \
    }                                                                                                                  \
    void *entry::REALSetArrayValue##name(void *array, long, type)                                                      \
    {                                                                                                                  \
        return ForCode(array, code, reinterpret_cast<void *>(Set<type>));                                              \
    }
#define ELEMENT(name, type, code)                                                                                      \
    FIXED(name, type, code)                                                                                            \
    void *entry::REALInsertArrayValue##name(void *array, long, type)                                                   \
    {                                                                                                                  \
        return ForCode(array, code, reinterpret_cast<void *>(Insert<type>));                                           \
    }
ELEMENT_TYPES

} // namespace host
