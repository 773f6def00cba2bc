#include "Host/Runtime/Ledger.h"

#include "Host/Runtime/Classes.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

// Under the address sanitiser even reading a resting value is an error.
#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, size) ((void)(address), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(address, size) ((void)(address), (void)(size))
#endif

namespace host {
namespace {

constexpr unsigned char restingPattern = 0xDD;
constexpr std::size_t restingLimit = 4 << 20; // bytes, except the youngest value
constexpr std::size_t keptErrors = 100;

bool IsFilled(const unsigned char *bytes, std::size_t count)
{
    return bytes[0] == restingPattern && std::memcmp(bytes, bytes + 1, count - 1) == 0;
}

std::string Describe(Value &value)
{
    if (value.type != nullptr) return "object " + value.type->name;
    auto length = std::min<std::size_t>(static_cast<std::size_t>(value.size), 40);
    std::string content(reinterpret_cast<char *>(value.Bytes()), length);
    for (char &character : content) {
        if (static_cast<unsigned char>(character) < ' ') character = '.';
    }
    return (value.kind == Kind::Text ? "text \"" : "string \"") + content + "\"";
}

} // namespace

Ledger::~Ledger()
{
    for (const auto &[address, cell] : cells) {
        ASAN_UNPOISON_MEMORY_REGION(address, cell.bytes);
        std::free(const_cast<void *>(address));
    }
}

Value *Ledger::Create(Kind kind, std::size_t size, const Class *type)
{
    std::size_t bytes = sizeof(Value) + size;
    std::unique_ptr<void, decltype(&std::free)> memory(std::calloc(1, bytes), std::free);
    if (memory == nullptr) return nullptr;
    try {
        cells[memory.get()] = {bytes, true};
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
    auto value = static_cast<Value *>(memory.release());
    *value = {kind, 0, static_cast<std::int64_t>(size), type, 1};
    return value;
}

Value *Ledger::Find(const void *handle, Kind kind, const char *operation)
{
    if (handle == nullptr || kind == Kind::Dead) return nullptr;
    const char *fault = "was never handed out";
    if (auto cell = cells.find(handle); cell != cells.end()) {
        auto value = static_cast<Value *>(const_cast<void *>(handle));
        auto fits = [&] { return value->kind == kind || (value->kind == Kind::Dying && kind == Kind::Object); };
        if (cell->second.lives && fits()) return value;
        fault = cell->second.lives ? "is of another kind" : "is released already";
    }
    Error(std::string(operation) + ": the handle " + fault);
    return nullptr;
}

void Ledger::Lock(const void *handle, Kind kind, const char *operation)
{
    if (Value *value = Find(handle, kind, operation)) ++value->references;
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
    Cell &cell = cells.at(value);
    cell.lives = false;
    std::memset(static_cast<void *>(value), restingPattern, cell.bytes);
    ASAN_POISON_MEMORY_REGION(value, cell.bytes);

    if (restingCount == resting.size()) GiveBackOldest();
    resting[(oldest + restingCount++) % resting.size()] = value;
    restingBytes += cell.bytes;
    while (restingBytes > restingLimit && restingCount > 1)
        GiveBackOldest();
}

void Ledger::GiveBackOldest()
{
    Value *value = resting[oldest];
    auto cell = cells.find(value);
    std::size_t bytes = cell->second.bytes;
    oldest = (oldest + 1) % resting.size();
    restingCount--;
    restingBytes -= bytes;
    ASAN_UNPOISON_MEMORY_REGION(value, bytes);
    if (!IsFilled(reinterpret_cast<unsigned char *>(value), bytes)) Error("a value was written to after its release");
    cells.erase(cell);
    std::free(value);
}

void Ledger::Error(std::string text)
{
    if (errors.size() < keptErrors) errors.push_back(std::move(text));
}

std::vector<std::string> Ledger::Leaks() const
{
    std::vector<std::string> leaks;
    for (Value *value : Living()) {
        auto count = value->references;
        leaks.push_back(Describe(*value) + ", " + std::to_string(count) + (count == 1 ? " reference" : " references"));
    }
    std::sort(leaks.begin(), leaks.end());
    return leaks;
}

std::vector<Value *> Ledger::Living() const
{
    std::vector<Value *> living;
    for (const auto &[address, cell] : cells) {
        if (cell.lives) living.push_back(static_cast<Value *>(const_cast<void *>(address)));
    }
    return living;
}

References Ledger::Live() const
{
    References live;
    for (const Value *value : Living()) {
        ++(value->type == nullptr ? live.strings : value->type->isMemoryBlock ? live.memoryBlocks : live.objects);
    }
    return live;
}

} // namespace host
