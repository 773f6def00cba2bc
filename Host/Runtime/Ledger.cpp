#include "Host/Runtime/Ledger.h"

#include "Host/Runtime/Classes.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>

// Under the address sanitiser even reading a resting value, or past the end of a living one, is an error.
#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, size) ((void)(address), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(address, size) ((void)(address), (void)(size))
#endif

namespace host {
namespace {

constexpr unsigned char restingPattern = 0xDD;
constexpr std::size_t markedHead = 128, markedTail = 64; // bytes of a released value
constexpr std::size_t restingBytes = 256 * 1024;         // of each size class, before a place is used again
constexpr std::size_t restingValues = 1024;              // but not more of them
constexpr std::size_t keptErrors = 100;

std::size_t CellBytes(unsigned sizeClass)
{
    return std::size_t{1} << sizeClass;
}

// The class of the smallest cell that holds the header and `size` bytes.
unsigned SizeClass(std::size_t size)
{
    return std::max(6u, static_cast<unsigned>(std::bit_width(sizeof(Value) + size - 1)));
}

// A short value is marked whole, a long one at both ends: a write through a stale pointer goes to the beginning or runs
// over the end, and to fill all of a payload would cost more than the call it came from.
std::span<unsigned char> Head(Value &value, std::size_t size)
{
    return {value.Bytes(), std::min(size, markedHead)};
}

std::span<unsigned char> Tail(Value &value, std::size_t size)
{
    auto count = size > markedHead ? markedTail : 0;
    return {value.Bytes() + size - count, count};
}

void Fill(std::span<unsigned char> bytes)
{
    if (!bytes.empty()) std::memset(bytes.data(), restingPattern, bytes.size());
}

bool IsFilled(std::span<const unsigned char> bytes)
{
    if (bytes.empty()) return true;
    return bytes[0] == restingPattern && std::memcmp(bytes.data(), bytes.data() + 1, bytes.size() - 1) == 0;
}

std::string Describe(Value &value)
{
    if (value.kind == Kind::Object || value.kind == Kind::Dying) return "object " + value.type->name;
    auto length = std::min<std::size_t>(static_cast<std::size_t>(value.size), 40);
    std::string content(reinterpret_cast<char *>(value.Bytes()), length);
    for (char &character : content) {
        if (static_cast<unsigned char>(character) < ' ') character = '.';
    }
    return (value.kind == Kind::Text ? "text \"" : "string \"") + content + "\"";
}

} // namespace

void AddressSet::Insert(const void *address)
{
    if ((used + 1) * 2 > slots.size()) {
        std::vector<const void *> old(slots.size() * 2);
        old.swap(slots);
        for (const void *moved : old) {
            if (moved != nullptr) slots[Slot(moved)] = moved;
        }
    }
    slots[Slot(address)] = address;
    ++used;
}

Ledger::~Ledger()
{
    for (Value *value : cells) {
        ASAN_UNPOISON_MEMORY_REGION(value, CellBytes(value->sizeClass));
        std::free(value);
    }
}

// The value that has rested longest, if enough others of its size rest; null otherwise.
Value *Ledger::TakeRested(unsigned sizeClass)
{
    auto &queue = resting[sizeClass];
    if (queue.count <= std::clamp<std::size_t>(restingBytes >> sizeClass, 2, restingValues)) return nullptr;
    Value *value = queue.first;
    queue.first = value->next;
    queue.count--;

    auto bytes = CellBytes(sizeClass) - sizeof(Value);
    ASAN_UNPOISON_MEMORY_REGION(value->Bytes(), bytes);
    auto used = std::min(bytes, static_cast<std::size_t>(value->size));
    bool untouched = IsFilled(Head(*value, used)) && IsFilled(Tail(*value, used));
    if (!untouched) Error("a value was written to after its release");
    return value;
}

Value *Ledger::Create(Kind kind, std::size_t size, const Class *type)
{
    auto sizeClass = SizeClass(size);
    Value *value = TakeRested(sizeClass);
    if (value == nullptr) {
        value = static_cast<Value *>(std::calloc(1, CellBytes(sizeClass)));
        if (value == nullptr) return nullptr;
        std::unique_ptr<Value, decltype(&std::free)> kept(value, std::free);
        cells.push_back(value);
        value = kept.release();
        addresses.Insert(value);
    }
    *value = {kind, static_cast<std::uint16_t>(sizeClass), {0}, static_cast<std::int64_t>(size), {type}, 1};
    if (kind == Kind::Object) std::memset(value->Bytes(), 0, size);
    ASAN_POISON_MEMORY_REGION(value->Bytes() + size, CellBytes(sizeClass) - sizeof(Value) - size);
    Count(live, *value, 1);
    Count(handedOut, *value, 1);
    return value;
}

void Ledger::RecordFault(const void *handle, const char *operation)
{
    const char *fault = "was never handed out";
    if (addresses.Contains(handle)) {
        fault = static_cast<const Value *>(handle)->kind == Kind::Dead ? "is released already" : "is of another kind";
    }
    Error(std::string(operation) + ": the handle " + fault);
}

void Ledger::Lock(const void *handle, Kind kind, const char *operation)
{
    if (Value *value = Find(handle, kind, operation)) {
        ++value->references;
        Count(handedOut, *value, 1);
    }
}

bool Ledger::Unlock(Value *value)
{
    --value->references;
    if (value->kind != Kind::Dying) return value->references == 0;
    if (value->references < 0) Error("a destructor released its own " + Describe(*value) + " without a lock");
    return false;
}

void Ledger::Bury(Value *value)
{
    Count(live, *value, -1);
    value->kind = Kind::Dead;
    auto size = static_cast<std::size_t>(value->size);
    Fill(Head(*value, size));
    Fill(Tail(*value, size));
    ASAN_POISON_MEMORY_REGION(value->Bytes(), size);
    auto &queue = resting[value->sizeClass];
    value->next = nullptr;
    (queue.count++ == 0 ? queue.first : queue.last->next) = value;
    queue.last = value;
}

void Ledger::Error(std::string text)
{
    if (errors.size() < keptErrors) errors.push_back(std::move(text));
}

std::vector<std::string> Ledger::Leaks() const
{
    std::vector<std::string> leaks;
    for (Value *value : cells) {
        if (value->kind == Kind::Dead) continue;
        auto count = value->references;
        leaks.push_back(Describe(*value) + ", " + std::to_string(count) + (count == 1 ? " reference" : " references"));
    }
    return leaks;
}

void Ledger::Count(References &account, const Value &value, long change)
{
    if (value.type == nullptr) {
        account.strings += change;
    } else {
        (value.type->isMemoryBlock ? account.memoryBlocks : account.objects) += change;
    }
}

} // namespace host
