// The class MemoryBlock: bytes on the heap, or a view of memory that belongs to someone else.
#include "Host/Runtime/Host.h"

#include <cstdlib>
#include <cstring>

namespace host {
namespace {

struct Block {
    MemoryBlockView view;
    bool owned;
};

const Class &BlockClass()
{
    return *Host::Current().classes.memoryBlock;
}

Block &BlockOf(REALobjectStruct *object)
{
    return *static_cast<Block *>(InstanceBlock(object, BlockClass()));
}

void Raise(const char *className, const char *message)
{
    Owned exception(NewException({className, message}));
    if (exception.Get() != nullptr) Host::Current().exceptions.Raise(exception.Get());
}

void Destroy(REALobjectStruct *object)
{
    Block &block = BlockOf(object);
    if (block.owned) std::free(block.view.data);
    block = {};
}

// Even an empty block has an address.
bool Allocate(REALobjectStruct *object, std::int64_t size)
{
    Destroy(object);
    auto data = static_cast<unsigned char *>(std::calloc(static_cast<std::size_t>(size) + 1, 1));
    if (data == nullptr) return false;
    BlockOf(object) = {{data, size}, true};
    return true;
}

void Construct(REALobjectStruct *object, long size)
{
    if (size < 0) {
        Raise("OutOfBoundsException", "A memory block can't have a negative size.");
    } else if (!Allocate(object, size)) {
        Raise("OutOfMemoryException", "There is no memory for the memory block.");
    }
}

void ConstructFromString(REALobjectStruct *object, REALstringStruct *content)
{
    auto bytes = BytesOf(content);
    Construct(object, static_cast<long>(bytes.size()));
    if (auto data = BlockOf(object).view.data) std::copy(bytes.begin(), bytes.end(), data);
}

void *ToPointer(REALobjectStruct *object)
{
    return BlockOf(object).view.data;
}

void FromPointer(REALobjectStruct *object, void *data)
{
    Destroy(object);
    BlockOf(object) = {{static_cast<unsigned char *>(data), -1}, false};
}

long GetSize(REALobjectStruct *object, long)
{
    return BlockOf(object).view.size;
}

REALstringStruct *GetBytes(REALobjectStruct *object)
{
    auto block = BlockOf(object).view;
    if (block.size >= 0) return NewString({reinterpret_cast<char *>(block.data), static_cast<std::size_t>(block.size)});
    Raise("UnsupportedOperationException", "The size of this memory block is not known.");
    return nullptr;
}

unsigned char *ByteAt(REALobjectStruct *object, long offset)
{
    auto block = BlockOf(object).view;
    if (offset >= 0 && offset < block.size) return block.data + offset;
    Raise("OutOfBoundsException", "The memory block has no such byte.");
    return nullptr;
}

long GetByte(REALobjectStruct *object, long offset)
{
    const unsigned char *byte = ByteAt(object, offset);
    return byte != nullptr ? *byte : 0;
}

void SetByte(REALobjectStruct *object, long offset, long value)
{
    if (value < 0 || value > UINT8_MAX) {
        Raise("OutOfBoundsException", "The value is no byte.");
    } else if (unsigned char *byte = ByteAt(object, offset)) {
        *byte = static_cast<unsigned char>(value);
    }
}

// The constructor is a call into the host like any entry: it can be made to fail.
constexpr char constructorName[] = "MemoryBlock.Constructor";
using Constructor = Provided<Construct, constructorName, true>;

MethodRow methods[] = {
    UNGUARDED_METHOD("Constructor(bytes as Integer)", Constructor::Call),
    UNGUARDED_METHOD("Constructor(content as String)", ConstructFromString),
    UNGUARDED_METHOD("Operator_Convert() As Ptr", ToPointer),
    UNGUARDED_METHOD("Operator_Convert(value as Ptr)", FromPointer),
    UNGUARDED_METHOD("bytes() as String", GetBytes),
    UNGUARDED_METHOD("byte(offset as Integer) as Integer", GetByte),
    UNGUARDED_METHOD("byte(offset as Integer, value as Integer)", SetByte),
};

REALproperty properties[] = {
    UnguardedProperty<GetSize>("Size", "Integer"),
};

REALclassDefinition definitions[] = {
    {.name = "MemoryBlock",
     .dataSize = sizeof(Block),
     .destructor = Destroy,
     .properties = properties,
     .propertyCount = std::size(properties),
     .methods = methods,
     .methodCount = std::size(methods)},
};

} // namespace

constinit const std::span<REALclassDefinition> memoryBlockClasses = definitions;

REALobjectStruct *NewMemoryBlock(const void *bytes, std::size_t count)
{
    Owned block(NewInstance(BlockClass()));
    if (block.Get() == nullptr || !Allocate(block.Get(), static_cast<std::int64_t>(count))) return nullptr;
    if (count != 0) std::memcpy(BlockOf(block.Get()).view.data, bytes, count);
    return block.Leave();
}

MemoryBlockView ViewOf(REALobjectStruct *object)
{
    const Class *type = ClassOf(object, "reading of a memory block");
    if (type != nullptr && type->isMemoryBlock) return BlockOf(object).view;
    if (type != nullptr) Host::Current().ledger.Error("a memory block was expected, but found: " + type->name);
    return {};
}

void *entry::REALMemoryBlockGetPtr(REALmemoryBlockStruct *block)
{
    return ViewOf(AsObject(block)).data;
}

long entry::REALMemoryBlockGetSize(REALmemoryBlockStruct *block)
{
    return ViewOf(AsObject(block)).size;
}

REALmemoryBlockStruct *entry::REALPtrToMemoryBlock(void *data)
{
    REALobjectStruct *object = NewInstance(BlockClass());
    if (object != nullptr) FromPointer(object, data);
    return AsMemoryBlock(object);
}

} // namespace host
