#include "rbData.h"

#include "rbDebug.h"
#include "rbMemoryBlock.h"
#include "rbUtil.h"

#include <algorithm>
#include <cxxabi.h>
#include <utility>

// The constructors that take a reference delegate to one that is complete, so that the destructor releases it if the
// host throws afterwards.

rbData::rbData(const void *bytes, std::uint64_t byteCount) : rbData()
{
    data = bytes;
    size = byteCount;
    FixSize();
}

rbData::rbData(REALstringStruct *s) : rbData()
{
    if (s == nullptr) return;
    string = Keep(s);
    StringBytes bytes = REALGetStringBytes(s);
    data = bytes.data;
    size = static_cast<std::uint64_t>(bytes.size);
    FixSize();
}

rbData::rbData(REALmemoryBlockStruct *m, std::uint64_t offset, std::uint64_t length) : rbData()
{
    if (m == nullptr) return;
    memoryBlock = AsMemoryBlock(Keep(AsObject(m)));
    auto blockSize = static_cast<std::uint64_t>(std::max(MyREALMemoryBlockGetSize(m), 0L));
    auto bytes = static_cast<const char *>(MyREALMemoryBlockGetPtr(m));
    if (bytes == nullptr) return;
    offset = std::min(offset, blockSize);
    std::uint64_t rest = blockSize - offset;
    data = bytes + offset;
    size = length == 0 ? rest : std::min(length, rest);
}

void rbData::Clear()
{
    string = nullptr;
    memoryBlock = nullptr;
    data = nullptr;
    size = 0;
    next = nullptr;
}

void rbData::leak()
{
    TRACE("leak");
    string = nullptr;
    memoryBlock = nullptr;
}

void rbData::FixSize()
{
    if (data != nullptr || size == 0) return;
    size = 0;
    TRACE("data is NULL, so size fixed to zero.");
}

template <typename... Arguments>
static rbData *NewView(Arguments... arguments)
{
    try {
        return new rbData(arguments...);
    } catch (const abi::__forced_unwind &) {
        throw; // a thread that is cancelled
    } catch (...) {
        TRACE("Failed to allocate rbData object.");
        return nullptr;
    }
}

rbData *NewData(REALstringStruct *s)
{
    return NewView(s);
}

rbData *NewData(REALmemoryBlockStruct *m, std::uint64_t offset, std::uint64_t length)
{
    return NewView(m, offset, length);
}

void AddDataChain(rbData *&head, rbData *item)
{
    TRACE("AddDataChain", static_cast<const void *>(item));
    item->next = head;
    head = item;
}

template <typename Handle>
static rbData *FindData(rbData *head, Handle *rbData::*field, Handle *value)
{
    while (head != nullptr && head->*field != value)
        head = head->next;
    return head;
}

rbData *RecylceData(rbData *head, REALstringStruct *s)
{
    return FindData(head, &rbData::string, s);
}

rbData *RecylceData(rbData *head, REALmemoryBlockStruct *m)
{
    return FindData(head, &rbData::memoryBlock, m);
}

void FreeDataChain(rbData *head)
{
    while (head != nullptr)
        delete std::exchange(head, head->next);
}

bool IsASCIIText(const rbData &view)
{
    return IsASCII(static_cast<const char *>(view.data), view.size);
}
