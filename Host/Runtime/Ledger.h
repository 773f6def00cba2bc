// The account of everything the host hands out: which values live, who was released twice.
//
// Every value comes from here and goes back here. Its memory is never given back to the system while the
// host lives: a released value rests, marked with a pattern, before its place is used again. So any handle
// can be looked up safely, and whoever uses or changes a released value is found out and recorded.
// The look-up stands in this header: each use of a handle makes one.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace host {

struct Class;

enum class Kind : std::uint16_t { Dead, String, Text, Object, Dying };

// What every value begins with. The two array layouts fix the place of the count.
struct Value {
    Kind kind;
    std::uint16_t sizeClass; // of its place, which may hold more than the size says
    union {
        std::uint32_t encoding; // of a string
        std::uint32_t number;   // of an object: whoever shows objects to a program finds it again by this
    };
    std::int64_t size; // in bytes, of what follows
    union {
        const Class *type; // of an object
        Value *next;       // of a released value: the one that was released after it
    };
    std::int64_t references;

    unsigned char *Bytes() { return reinterpret_cast<unsigned char *>(this + 1); }
};
static_assert(sizeof(Value) == 32 && offsetof(Value, references) == 24);

struct References {
    long strings = 0; // texts too
    long objects = 0; // arrays too
    long memoryBlocks = 0;

    bool operator==(const References &) const = default;
};

// The addresses of all values, living and resting. Open addressing; nothing is ever taken out.
class AddressSet {
  public:
    bool Contains(const void *address) const { return slots[Slot(address)] != nullptr; }
    void Insert(const void *address);

  private:
    // Where the address stands, or the free place where it is to stand.
    std::size_t Slot(const void *address) const
    {
        auto hash = (reinterpret_cast<std::uintptr_t>(address) >> 4) * 0x9E3779B97F4A7C15u;
        auto mask = slots.size() - 1;
        auto slot = static_cast<std::size_t>(hash >> 32) & mask;
        while (slots[slot] != nullptr && slots[slot] != address)
            slot = (slot + 1) & mask;
        return slot;
    }

    std::vector<const void *> slots = std::vector<const void *>(1024); // a power of two of them
    std::size_t used = 0;
};

class Ledger {
  public:
    Ledger() = default;
    Ledger(const Ledger &) = delete;
    Ledger &operator=(const Ledger &) = delete;
    ~Ledger();

    // A value with one reference; null when there is no memory. An object is cleared, a string's bytes are whatever
    // lay there.
    Value *Create(Kind kind, std::size_t size, const Class *type = nullptr);

    // The living value behind a handle. Null for nil; null with an error recorded for a handle of anything
    // else. A dying object is an object still.
    Value *Find(const void *handle, Kind kind, const char *operation)
    {
        if (handle == nullptr) return nullptr;
        auto value = static_cast<Value *>(const_cast<void *>(handle));
        if (addresses.Contains(handle)) {
            if (value->kind == kind || (value->kind == Kind::Dying && kind == Kind::Object)) return value;
        }
        RecordFault(handle, operation);
        return nullptr;
    }

    void Lock(const void *handle, Kind kind, const char *operation);

    // Takes one reference away; true when it was the last one and the value is to be ended and buried.
    bool Unlock(Value *value);

    void Bury(Value *value);

    void Error(std::string text);

    // Living values, each counted once however often it is locked.
    const References &Live() const { return live; }

    // References handed out since the start, by creation or by locking; the same sorts as in Live.
    const References &HandedOut() const { return handedOut; }

    // One line for each living value: its kind, its content and its references.
    std::vector<std::string> Leaks() const;

    // What was done wrong with handles; the first hundred.
    const std::vector<std::string> &Errors() const { return errors; }

  private:
    // Released values, the oldest first. To release must need no memory, so they are linked through themselves.
    struct Resting {
        Value *first = nullptr, *last = nullptr;
        std::size_t count = 0;
    };

    Value *TakeRested(unsigned sizeClass);
    void RecordFault(const void *handle, const char *operation);
    static void Count(References &account, const Value &value, long change);

    AddressSet addresses;
    std::vector<Value *> cells;
    std::array<Resting, 64> resting; // by the power of two of their size
    References live, handedOut;
    std::vector<std::string> errors;
};

} // namespace host
