#include "Host/Runtime/Events.h"

#include "Host/Runtime/Host.h"

#include <array>
#include <stdexcept>

namespace host {
namespace {

// A handler is called with the object alone, so each event number has a function of its own.
constexpr std::size_t eventLimit = 16;

template <std::size_t number>
void FireNumber(REALobjectStruct *object)
{
    Host::Current().events.Fire(object, number);
}

using Trampoline = void (*)(REALobjectStruct *);

template <std::size_t... numbers>
constexpr std::array<Trampoline, sizeof...(numbers)> MakeTrampolines(std::index_sequence<numbers...>)
{
    return {FireNumber<numbers>...};
}

constexpr auto trampolines = MakeTrampolines(std::make_index_sequence<eventLimit>());

const Event *EventOfToken(const Class *type, const void *token)
{
    for (; type != nullptr; type = type->super) {
        for (const Event &event : type->events) {
            if (&event == token) return &event;
        }
    }
    return nullptr;
}

} // namespace

void Events::SetHandler(REALobjectStruct *object, const std::string &event, Handler handler)
{
    const Class *type = ClassOf(object, "setting of a handler");
    const Event *found = type != nullptr ? FindEvent(*type, event) : nullptr;
    if (found == nullptr || found->number >= eventLimit) throw std::invalid_argument("there is no event " + event);
    if (handler) {
        handlers[object][found->number] = std::move(handler);
    } else if (auto entry = handlers.find(object); entry != handlers.end()) {
        entry->second.erase(found->number);
    }
}

void *Events::Find(REALobjectStruct *object, const void *token)
{
    const Class *type = ClassOf(object, entry::GetEventInstanceName);
    if (type == nullptr) return nullptr;
    const Event *event = EventOfToken(type, token);
    if (event == nullptr) {
        Host::Current().ledger.Error("an event was looked up that " + type->name + " does not have");
        return nullptr;
    }
    auto handled = handlers.find(object);
    if (handled == handlers.end() || !handled->second.contains(event->number)) return nullptr;
    return reinterpret_cast<void *>(trampolines[event->number]);
}

// The handler runs as a copy: it may replace itself or end its object.
void Events::Fire(REALobjectStruct *object, std::size_t number)
{
    ++fired;
    auto handled = handlers.find(object);
    if (handled == handlers.end()) return;
    auto found = handled->second.find(number);
    if (found == handled->second.end()) return;
    Handler handler = found->second;
    handler(object);
}

void *entry::GetEventInstance(REALobjectStruct *object, void *token)
{
    return Host::Current().events.Find(object, token);
}

} // namespace host
