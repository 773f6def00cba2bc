// A variable that threads may read and write at the same time, in any order.
#pragma once

#include <atomic>

template <typename Value>
class Relaxed {
  public:
    constexpr Relaxed(Value initial) : value(initial) {}
    Relaxed &operator=(Value next)
    {
        value.store(next, std::memory_order_relaxed);
        return *this;
    }
    operator Value() const { return value.load(std::memory_order_relaxed); }

  private:
    std::atomic<Value> value;
};
