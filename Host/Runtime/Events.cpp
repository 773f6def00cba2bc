#include "Host/Runtime/Events.h"

#include "Host/Runtime/Host.h"

#include <array>
#include <stdexcept>

namespace host {
namespace {

// A handler is called with the object alone, so each event number has a function of its own.
template <std::size_t number>
void FireNumber(REALobjectStruct *object)
{
    Host::Current().events.Fire(object, number);
}

constexpr auto trampolines = []<std::size_t... numbers>(std::index_sequence<numbers...>)
{
    return std::array{FireNumber<numbers>...};
}
(std::make_index_sequence<eventLimit>());

} // namespace

void Events::SetHandler(REALobjectStruct *object, const std::string &event, Handler handler)
{
    const Class *type = ClassOf(object, "setting of a handler");
    const Event *found = type != nullptr ? FindMember(*type, &Class::events, Named(event)) : nullptr;
    if (found == nullptr || found->number >= eventLimit) throw std::invalid_argument("there is no event " + event);
    handlers[object][found->number] = std::move(handler);
}

void *Events::Find(REALobjectStruct *object, const void *token)
{
    const Class *type = ClassOf(object, entry::GetEventInstanceName);
    if (type == nullptr) return nullptr;
    auto isMeant = [&](const Event &known) { return &known == token; };
    const Event *event = FindMember(*type, &Class::events, isMeant);
    if (event == nullptr) {
        Host::Current().ledger.Error("an event was looked up that " + type->name + " does not have");
        return nullptr;
    }
    auto handled = handlers.find(object);
    if (handled == handlers.end() || !handled->second[event->number]) return nullptr;
    return reinterpret_cast<void *>(trampolines[event->number]);
}

// The handler runs as a copy: it may replace itself or end its object.
void Events::Fire(REALobjectStruct *object, std::size_t number)
{
    ++fired;
    auto handled = handlers.find(object);
    Handler handler = handled != handlers.end() ? handled->second[number] : nullptr;
    if (handler) handler(object);
}

void *entry::GetEventInstance(REALobjectStruct *object, void *token)
{
    return Host::Current().events.Find(object, token);
}

} // namespace host
