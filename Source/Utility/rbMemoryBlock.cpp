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

// A new block, on which that method was called; null where the host lacks one of them.
template <typename Argument>
static REALobjectStruct *NewBlock(const char *method, Argument argument)
{
    REALobjectStruct *block = REALnewInstance("MemoryBlock");
    if (block == nullptr) return nullptr;
    rbFreeLater release(&block);
    void *function = REALLoadObjectMethod(block, method);
    if (function == nullptr) return nullptr;
    reinterpret_cast<void (*)(REALobjectStruct *, Argument)>(function)(block, argument);
    return std::exchange(block, nullptr);
}

void REALNewMemoryBlockWork(void *data)
{
    auto record = static_cast<NewMemoryBlockRecord *>(data);
    REALobjectStruct *block = NewBlock("Constructor(bytes as Integer)", record->size);
    rbFreeLater release(&block);
    if (MyREALMemoryBlockGetSize(AsMemoryBlock(block)) < record->size) return;
    record->result = AsMemoryBlock(std::exchange(block, nullptr));
}

REALmemoryBlockStruct *MyREALPtrToMemoryBlock(void *p)
{
    return p != nullptr ? REALPtrToMemoryBlock(p) : nullptr;
}

REALmemoryBlockStruct *myREALPtrToMemoryBlock(void *p)
{
    struct Record {
        void *data;
        REALobjectStruct *result;
    } record = {p, nullptr};
    auto work = [](void *data) {
        auto asked = static_cast<Record *>(data);
        asked->result = NewBlock("Operator_Convert(value as Ptr)", asked->data);
    };
    if (p != nullptr) RunAndDropException(work, &record);
    return AsMemoryBlock(record.result);
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
