// The handlers of the program, by object and event.
#pragma once

#include "Source/SDK/GlueCode/HostTypes.h"

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <unordered_map>

namespace host {

using Handler = std::function<void(REALobjectStruct *)>;

class Events {
  public:
    // An empty handler takes the old one away. Throws std::invalid_argument for an event that the object has not.
    void SetHandler(REALobjectStruct *object, const std::string &event, Handler handler);

    // The function that fires the event on the object; null when the program does not handle it.
    void *Find(REALobjectStruct *object, const void *token);

    void Fire(REALobjectStruct *object, std::size_t number);
    void Forget(const REALobjectStruct *object) { handlers.erase(object); }

    long Fired() const { return fired; }

  private:
    std::unordered_map<const REALobjectStruct *, std::map<std::size_t, Handler>> handlers;
    long fired = 0;
};

} // namespace host
