// Arrays: objects whose header lies where a host of this version has it, with the elements in a storage of
// their own.
//
// What the header shows is written again after every change; what this file goes by are its own two fields
// after it. An element that is handed out carries a reference; one that is stored gets a reference of its own.
#include "Host/Runtime/Host.h"
#include "Host/Runtime/OwnClasses.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace host {
namespace {

constexpr std::size_t storageOffset = 56; // where the instance block begins

// The offsets of the header's fields, from the handle. The last column of a row is the width of the first two.
struct Layout {
    double hostVersion; // from this one on
    std::size_t dimensions, allocated, upperBound, width;
};
constexpr Layout layouts[] = {
    {2021.0, 64, 72, 84, 8},
    {0.0, 64, 68, 76, 4},
};

struct ElementType {
    const char *name;
    unsigned int code; // by which arrays are created
    std::size_t width;
    Kind kind; // Dead for what is no handle
};
// No creator makes the last two; their codes are this host's own.
constexpr ElementType elementTypes[] = {
    {"Int32", 0, 4, Kind::Dead},     {"Single", 1, 4, Kind::Dead},   {"Double", 2, 8, Kind::Dead},
    {"String", 3, 8, Kind::String},  {"Object", 4, 8, Kind::Object}, {"UInt8", 5, 1, Kind::Dead},
    {"Int8", 6, 1, Kind::Dead},      {"UInt16", 7, 2, Kind::Dead},   {"Int16", 8, 2, Kind::Dead},
    {"UInt32", 9, 4, Kind::Dead},    {"UInt64", 10, 8, Kind::Dead},  {"Integer", 11, 8, Kind::Dead},
    {"Boolean", 16, 1, Kind::Dead},  {"Text", 17, 8, Kind::Text},    {"Color", 18, 4, Kind::Dead},
    {"Currency", 19, 8, Kind::Dead},
};

// The names under which elements are moved that no creator names.
constexpr struct {
    const char *alias, *name;
} aliases[] = {{"UInteger", "UInt64"}, {"Int64", "Integer"}};

// The instance block: the storage pointer, the space for either layout, and what this file goes by.
struct Block {
    unsigned char *storage;
    unsigned char header[32];
    std::int64_t count;
    const ElementType *type;
};
static_assert(storageOffset + offsetof(Block, count) >= 88);

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

template <typename Field>
void Put(Block &block, std::size_t offset, std::int64_t value)
{
    auto field = static_cast<Field>(value);
    std::memcpy(reinterpret_cast<unsigned char *>(&block) + (offset - storageOffset), &field, sizeof field);
}

void WriteHeader(Block &block)
{
    auto fits = [](const Layout &layout) { return Host::Current().version >= layout.hostVersion; };
    const Layout &layout = *std::find_if(std::begin(layouts), std::end(layouts), fits);
    auto put = layout.width == 8 ? Put<std::int64_t> : Put<std::int32_t>;
    put(block, layout.dimensions, 1);
    put(block, layout.allocated, block.count);
    Put<std::int32_t>(block, layout.upperBound, block.count - 1);
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

void LockElement(Kind kind, const void *handle)
{
    if (kind != Kind::Dead) Host::Current().ledger.Lock(handle, kind, "an array's element");
}

void ReleaseElement(Kind kind, const void *handle)
{
    if (kind != Kind::Dead) Release(handle, kind, "an array's element");
}

void Destroy(REALobjectStruct *array)
{
    Block &block = *BlockOf(array, "end of an array");
    if (block.type == nullptr) return;
    auto handles = reinterpret_cast<void **>(block.storage);
    for (std::int64_t i = 0; block.type->kind != Kind::Dead && i < block.count; ++i) {
        ReleaseElement(block.type->kind, handles[i]);
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
    if constexpr (std::is_pointer_v<Element>) LockElement(block->type->kind, element);
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
        LockElement(block->type->kind, element);
        std::memcpy(place, &element, sizeof element);
        ReleaseElement(block->type->kind, old);
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

// The element procedure, if the array holds elements of this type; null with an error recorded otherwise.
void *ForType(void *array, const char *type, void *procedure)
{
    const Block *block = BlockOf(array, "an element procedure");
    if (block == nullptr) return nullptr;
    std::string name = type;
    for (const auto &row : aliases) {
        if (name == row.alias) name = row.name;
    }
    if (name == block->type->name) return procedure;
    Host::Current().ledger.Error("elements of " + name + " were asked for from an array of " + block->type->name);
    return nullptr;
}

REALclassDefinition definition{.name = "Array", .dataSize = sizeof(Block), .destructor = Destroy};

} // namespace

void AddArrayClass(Classes &classes)
{
    classes.offsets["Array"] = storageOffset;
    classes.AddClass(definition, true);
}

// --- entries -----------------------------------------------------------------------------------------------

void *entry::REALCreateArray(unsigned int typeCode, long upperBound)
{
    auto matches = [&](const ElementType &type) { return type.code == typeCode; };
    auto type = std::find_if(std::begin(elementTypes), std::end(elementTypes), matches);
    if (type == std::end(elementTypes) || upperBound < -1 || upperBound >= INT32_MAX) return nullptr;

    REALobjectStruct *array = NewInstance(*Host::Current().classes.Find("Array"));
    if (array == nullptr) return nullptr;
    Block &block = *BlockOf(array, REALCreateArrayName);
    block.type = &*type;
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
    return ForType(array, "Integer", array) != nullptr ? Get<long>(array, index) : 0;
}

REALstringStruct *entry::REALGetArrayString(void *array, long index)
{
    return ForType(array, "String", array) != nullptr ? Get<REALstringStruct *>(array, index) : nullptr;
}

REALobjectStruct *entry::REALGetArrayObject(void *array, long index)
{
    return ForType(array, "Object", array) != nullptr ? Get<REALobjectStruct *>(array, index) : nullptr;
}

#define ARRAY_FIXED(type, element)                                                                                     \
    void *entry::REALGetArrayValue##type(void *array, long, element *)                                                 \
    {                                                                                                                  \
        return ForType(array, #type, reinterpret_cast<void *>(Get<element>));                                          \
    }                                                                                                                  \
    void *entry::REALSetArrayValue##type(void *array, long, element)                                                   \
    {                                                                                                                  \
        return ForType(array, #type, reinterpret_cast<void *>(Set<element>));                                          \
    }
#define ARRAY_ELEMENT(type, element)                                                                                   \
    ARRAY_FIXED(type, element)                                                                                         \
    void *entry::REALInsertArrayValue##type(void *array, long, element)                                                \
    {                                                                                                                  \
        return ForType(array, #type, reinterpret_cast<void *>(Insert<element>));                                       \
    }

// clang-format off
ARRAY_FIXED  (Color,    unsigned int)
ARRAY_ELEMENT(Integer,  long)
ARRAY_ELEMENT(UInteger, unsigned long)
ARRAY_ELEMENT(Boolean,  bool)
ARRAY_FIXED  (Currency, std::int64_t)
ARRAY_ELEMENT(Int64,    std::int64_t)
ARRAY_ELEMENT(Int32,    std::int32_t)
ARRAY_ELEMENT(Int16,    std::int16_t)
ARRAY_ELEMENT(Int8,     std::int8_t)
ARRAY_ELEMENT(UInt64,   std::uint64_t)
ARRAY_ELEMENT(UInt32,   std::uint32_t)
ARRAY_ELEMENT(UInt16,   std::uint16_t)
ARRAY_ELEMENT(UInt8,    std::uint8_t)
ARRAY_ELEMENT(Single,   float)
ARRAY_ELEMENT(Double,   double)
ARRAY_ELEMENT(String,   REALstringStruct *)
ARRAY_ELEMENT(Text,     RuntimeText *)
ARRAY_ELEMENT(Object,   REALobjectStruct *)
// clang-format on

} // namespace host
