// A function that is looked for on first use.
#pragma once

#include <atomic>

// The function's address once it is known, null before. Threads may look for it at the same time: all find the same.
template <typename Function>
class Slot {
  public:
    Function Get() const { return function.load(std::memory_order_relaxed); }

    // Result: the function.
    Function Set(Function found)
    {
        function.store(found, std::memory_order_relaxed);
        return found;
    }

  private:
    std::atomic<Function> function = nullptr;
};
