// The handlers of the program, by object and event.
#pragma once

#include "Source/SDK/GlueCode/HostTypes.h"

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <unordered_map>

namespace host {

constexpr std::size_t eventLimit = 16; // of a class

using Handler = std::function<void(REALobjectStruct *)>;

class Events {
  public:
    // An empty handler takes the old one away. Throws std::invalid_argument for an event that the object does not have.
    void SetHandler(REALobjectStruct *object, const std::string &event, Handler handler);

    // The function that fires the event on the object; null when the program does not handle it.
    void *Find(REALobjectStruct *object, const void *token);

    void Fire(REALobjectStruct *object, std::size_t number);
    void Forget(const REALobjectStruct *object) { handlers.erase(object); }

    long Fired() const { return fired; }

  private:
    std::unordered_map<const REALobjectStruct *, std::array<Handler, eventLimit>> handlers;
    long fired = 0;
};

} // namespace host
