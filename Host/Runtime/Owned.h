// The owner of one reference, which it releases at its end.
#pragma once

#include "Host/Runtime/Objects.h"
#include "Host/Runtime/Strings.h"

#include <utility>

namespace host {

// Owns one reference on a string, a text or an object.
template <typename Handle>
class Owned {
  public:
    explicit Owned(Handle *owned = nullptr) : handle(owned) {}
    Owned(Owned &&other) noexcept : handle(other.Leave()) {}
    Owned &operator=(Owned &&other) noexcept
    {
        std::swap(handle, other.handle);
        return *this;
    }
    ~Owned()
    {
        if (handle != nullptr) host::Release(handle);
    }

    Handle *Get() const { return handle; }
    Handle **Variable() { return &handle; } // to be handed over byref
    Handle *Leave() { return std::exchange(handle, nullptr); }

  private:
    Handle *handle;
};

} // namespace host
