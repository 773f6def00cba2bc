#include "rbMemoryBlock.h"

#include "Source/SDK/GlueCode/HostOperations.h"
#include "Source/SDK/GlueCode/Relaxed.h"
#include "rbData.h"
#include "rbDebug.h"
#include "rbException.h"

#include <cstring>
#include <new>
#include <utility>

void *MyREALMemoryBlockGetPtr(REALmemoryBlockStruct *m)
{
    return m != nullptr ? REALMemoryBlockGetPtr(m) : nullptr;
}

long MyREALMemoryBlockGetSize(REALmemoryBlockStruct *m)
{
    return m != nullptr ? REALMemoryBlockGetSize(m) : 0;
}

void *myREALMemoryBlockGetPtr(REALmemoryBlockStruct *m)
{
    using Convert = void *(*)(REALmemoryBlockStruct *);
    static constinit Relaxed<Convert> found = nullptr;
    if (m == nullptr) return nullptr;
    Convert convert = found;
    if (convert == nullptr)
        found = convert = reinterpret_cast<Convert>(REALLoadObjectMethod(AsObject(m), "Operator_Convert() As Ptr"));
    return convert != nullptr ? convert(m) : nullptr;
}

long myREALMemoryBlockGetSize(REALmemoryBlockStruct *m)
{
    long size = 0;
    return m != nullptr && REALGetPropValueInteger(AsObject(m), "Size", &size) ? size : 0;
}

REALmemoryBlockStruct *MyREALNewMemoryBlock(long size)
{
    return size < 0 ? nullptr : myREALNewMemoryBlock(size);
}

// Lets the host run the function and drops the exception that it may raise.
static void RunAndDropException(void (*function)(void *), void *record)
{
    REALobjectStruct *exception = REALCallFunctionWithExceptionHandler(function, record);
    rbFreeLater drop(&exception);
}

REALmemoryBlockStruct *myREALNewMemoryBlock(long size)
{
    NewMemoryBlockRecord record = {size, nullptr};
    RunAndDropException(REALNewMemoryBlockWork, &record);
    return record.result;
}

void REALNewMemoryBlockWork(void *data)
{
    auto record = static_cast<NewMemoryBlockRecord *>(data);
    REALobjectStruct *block = REALnewInstance("MemoryBlock");
    if (block == nullptr) return;
    rbFreeLater release(&block);

    void *constructor = REALLoadObjectMethod(block, "Constructor(bytes as Integer)");
    if (constructor == nullptr) return;
    reinterpret_cast<void (*)(REALobjectStruct *, long)>(constructor)(block, record->size);
    if (MyREALMemoryBlockGetSize(AsMemoryBlock(block)) < record->size) return;
    record->result = AsMemoryBlock(std::exchange(block, nullptr));
}

REALmemoryBlockStruct *MyREALPtrToMemoryBlock(void *p)
{
    return p != nullptr ? REALPtrToMemoryBlock(p) : nullptr;
}

namespace {

struct PtrToMemoryBlockRecord {
    void *data;
    REALmemoryBlockStruct *result;
};

void PtrToMemoryBlockWork(void *data)
{
    auto record = static_cast<PtrToMemoryBlockRecord *>(data);
    REALobjectStruct *block = REALnewInstance("MemoryBlock");
    if (block == nullptr) return;
    rbFreeLater release(&block);

    void *convert = REALLoadObjectMethod(block, "Operator_Convert(value as Ptr)");
    if (convert == nullptr) return;
    reinterpret_cast<void (*)(REALobjectStruct *, void *)>(convert)(block, record->data);
    record->result = AsMemoryBlock(std::exchange(block, nullptr));
}

} // namespace

REALmemoryBlockStruct *myREALPtrToMemoryBlock(void *p)
{
    if (p == nullptr) return nullptr;
    PtrToMemoryBlockRecord record = {p, nullptr};
    RunAndDropException(PtrToMemoryBlockWork, &record);
    return record.result;
}

static REALmemoryBlockStruct *BuildFilledBlock(const unsigned char *data, long size)
{
    REALobjectStruct *block = AsObject(MyREALNewMemoryBlock(size));
    rbFreeLater release(&block);
    void *bytes = MyREALMemoryBlockGetPtr(AsMemoryBlock(block));
    if (bytes == nullptr) return nullptr;
    std::memcpy(bytes, data, static_cast<std::size_t>(size));
    return AsMemoryBlock(std::exchange(block, nullptr));
}

static void RaiseOutOfMemory(long size)
{
    RaiseFormatted("OutOfMemoryException", "Failed to allocate a memoryblock with %ld bytes in size.", size);
}

REALmemoryBlockStruct *REALBuildMemoryblock(const unsigned char *data, long size)
{
    if (data == nullptr || size <= 0) return nullptr;
    try {
        if (REALmemoryBlockStruct *block = BuildFilledBlock(data, size)) return block;
        TRACE("Error: Failed to allocate memoryblock", size);
        RaiseOutOfMemory(size);
    } catch (const std::bad_alloc &error) {
        TRACE("Got C++ exception in REALBuildMemoryblock: ", error.what());
        RaiseOutOfMemory(size);
    }
    return nullptr;
}
