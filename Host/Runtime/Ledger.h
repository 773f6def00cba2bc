// The account of all values of the host: which values live, and which were released twice.
//
// Every value is created and ended here. A released value is filled with a pattern and rests before its memory goes
// back to the system: until then, any use of its handle and any write into it is noticed and recorded. The account
// compares only addresses, so that any handle can be looked up safely.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <string>
#include <unordered_map>
#include <vector>

namespace host {

struct Class;

enum class Kind : std::uint16_t { Dead, String, Text, Object, Dying };

// The head of every value. The two array layouts fix the place of the count.
struct Value {
    Kind kind;
    std::uint32_t encoding; // of a string
    std::int64_t size;      // in bytes, of what follows
    const Class *type;      // of an object
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

class Ledger {
  public:
    Ledger() = default;
    Ledger(const Ledger &) = delete;
    Ledger &operator=(const Ledger &) = delete;
    ~Ledger();

    // A value with one reference and cleared bytes; null when there is no memory.
    Value *Create(Kind kind, std::size_t size, const Class *type = nullptr);

    // The living value of a handle. Null for nil and for Dead, which is no kind of handle. Null, with an error
    // recorded, for a handle of anything else. A dying object still counts as an object.
    Value *Find(const void *handle, Kind kind, const char *operation);

    void Lock(const void *handle, Kind kind, const char *operation);

    // Takes one reference away; true when it was the last one and the value is to be ended and buried.
    bool Unlock(Value *value);

    // Needs no memory.
    void Bury(Value *value);

    void Error(std::string text);

    // Living values, each counted once however often it is locked.
    References Live() const;

    // One line for each living value: its kind, its content and its references.
    std::vector<std::string> Leaks() const;

    // Frees all released values, and records writes into them.
    void GiveBackResting()
    {
        while (restingCount > 0)
            GiveBackOldest();
    }

    // Errors in the use of handles; the first hundred.
    const std::vector<std::string> &Errors() const { return errors; }

  private:
    struct Cell {
        std::size_t bytes; // that the value has from its beginning on
        bool lives;
    };

    void GiveBackOldest();
    std::vector<Value *> Living() const;

    std::pmr::unsynchronized_pool_resource pool;              // so that a value costs one allocation
    std::pmr::unordered_map<const void *, Cell> cells{&pool}; // living and resting
    std::array<Value *, 1024> resting{};                      // a ring: the oldest first, from this place on
    std::size_t oldest = 0, restingCount = 0, restingBytes = 0;
    std::vector<std::string> errors;
};

} // namespace host
