#include "Host/Script/Calls.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace host {
namespace {

constexpr std::size_t slotLimit = 8;

template <std::size_t>
using WordAt = Word;

// Every type of a declaration travels as a whole word, in a register for integers or on the stack; of a narrower one
// the low bytes count. So the number of the words alone makes the type of the call.
template <std::size_t... index>
Word CallWith(void *function, const Word *words, std::index_sequence<index...>)
{
    return reinterpret_cast<Word (*)(WordAt<index>...)>(function)(words[index]...);
}

template <std::size_t count>
Word CallWithCount(void *function, const Word *words)
{
    return CallWith(function, words, std::make_index_sequence<count>());
}

template <std::size_t... counts>
constexpr std::array<CallThunk, sizeof...(counts)> MakeThunks(std::index_sequence<counts...>)
{
    return {CallWithCount<counts>...};
}

constexpr auto thunks = MakeThunks(std::make_index_sequence<1 + slotLimit + 1>()); // none to all, and the object

void ReadDefault(Overload::Slot &slot, const std::string &text)
{
    if (slot.type.kind == TypeKind::String) {
        slot.defaultText = text.size() >= 2 ? text.substr(1, text.size() - 2) : "";
    } else if (slot.type.kind == TypeKind::Boolean) {
        slot.defaultWord = SameName(text, "true");
    } else {
        slot.defaultWord = std::strtol(text.c_str(), nullptr, 0); // nil is 0
    }
}

// False also for a nil in the place of what is left out.
bool IsGiven(lua_State *state, const Overload::Slot &slot, int argument, int top)
{
    return argument <= top && !(slot.omittable && lua_isnil(state, argument));
}

// What one call works on. What came back and was not handed on to the program is released with it.
class Frame {
  public:
    explicit Frame(const Overload &called) : overload(called) {}
    Frame(const Frame &) = delete;
    Frame &operator=(const Frame &) = delete;
    ~Frame()
    {
        ReleaseWord(overload.result.kind, result);
        for (std::size_t i = 0; overload.hasByref && i < overload.slots.size(); ++i) {
            if (overload.slots[i].byref) ReleaseWord(overload.slots[i].type.kind, returned[i]);
        }
    }

    void TakeArguments(lua_State *state, int next)
    {
        int top = lua_gettop(state);
        for (std::size_t i = 0; i < overload.slots.size(); ++i) {
            const Overload::Slot &slot = overload.slots[i];
            if (slot.byref) {
                words[1 + i] = reinterpret_cast<Word>(&returned[i]);
                continue;
            }
            words[1 + i] = IsGiven(state, slot, next, top) ? ToWord(state, next, slot.type, strings[i])
                                                           : DefaultOf(slot, strings[i]);
            if (slot.counts && next <= top) CheckCount(state, words[1 + i], next - 1);
            ++next;
        }
    }

    void Run(REALobjectStruct *object)
    {
        words[0] = reinterpret_cast<Word>(object);
        result = overload.thunk(overload.function->address, overload.takesObject ? words.data() : words.data() + 1);
        Host::Current().exceptions.ThrowPending();
    }

    int GiveResults(lua_State *state)
    {
        int count = 0;
        auto give = [&](TypeKind kind, Word &word) {
            PushWord(state, kind, std::exchange(word, 0));
            ++count;
        };
        if (overload.result.kind != TypeKind::None) give(overload.result.kind, result);
        for (std::size_t i = 0; overload.hasByref && i < overload.slots.size(); ++i) {
            if (overload.slots[i].byref) give(overload.slots[i].type.kind, returned[i]);
        }
        return count;
    }

  private:
    static Word DefaultOf(const Overload::Slot &slot, Owned<REALstringStruct> &made)
    {
        if (slot.type.kind != TypeKind::String) return slot.defaultWord;
        made = Owned(NewString(slot.defaultText));
        return reinterpret_cast<Word>(made.Get());
    }

    // By custom a pointer is followed by the number of bytes it points to: not more than the memory block has.
    static void CheckCount(lua_State *state, Word count, int pointer)
    {
        const Proxy *block = ToProxy(state, pointer);
        if (block == nullptr) return; // nil, or an address: the plugin has to cope
        auto view = ViewOf(block->object);
        if (view.size < 0 || count <= view.size) return;
        throw Mistake(std::to_string(count) + " bytes were asked for of the " + std::to_string(view.size) +
                      " in the memory block");
    }

    const Overload &overload;
    std::array<Word, 1 + slotLimit> words; // the object, and the arguments from 1 on
    std::array<Owned<REALstringStruct>, slotLimit> strings;
    std::array<Word, slotLimit> returned{}; // through byref parameters
    Word result = 0;
};

bool Takes(lua_State *state, const Overload &overload, int argument)
{
    int top = lua_gettop(state);
    for (const Overload::Slot &slot : overload.slots) {
        if (slot.byref) continue;
        if (IsGiven(state, slot, argument, top) ? !Accepts(state, argument, slot.type) : !slot.omittable) return false;
        ++argument;
    }
    return argument > top;
}

const Overload *Choose(lua_State *state, const OverloadSet &method, int first)
{
    auto takes = [&](const auto &overload) { return Takes(state, overload, first); };
    auto found = std::find_if(method.overloads.begin(), method.overloads.end(), takes);
    return found != method.overloads.end() ? &*found : nullptr;
}

[[noreturn]] void Refuse(lua_State *state, const OverloadSet &method, int first)
{
    std::string given;
    for (int argument = first; argument <= lua_gettop(state); ++argument) {
        given += (argument == first ? "" : ", ") + NameOfValue(state, argument);
    }
    std::string text = method.name + " does not take (" + given + "), but:";
    for (const auto &overload : method.overloads)
        text += "\n  " + overload.function->declaration.text;
    throw Mistake(text);
}

} // namespace

Overload MakeOverload(const Host &host, const Function &function, bool takesObject)
{
    Overload overload;
    overload.function = &function;
    overload.takesObject = takesObject;
    overload.result = ResolveType(host, function.declaration.result);
    auto before = TypeKind::None;
    for (const Parameter &parameter : function.declaration.parameters) {
        Overload::Slot slot;
        slot.type = ResolveType(host, parameter.type);
        slot.byref = parameter.byref;
        overload.hasByref |= parameter.byref;
        slot.omittable = parameter.defaultText.has_value() || (overload.hasByref && slot.type.kind == TypeKind::Object);
        slot.counts = before == TypeKind::Ptr && slot.type.kind == TypeKind::Integer;
        before = slot.type.kind;
        if (parameter.defaultText) ReadDefault(slot, *parameter.defaultText);
        overload.slots.push_back(std::move(slot));
    }
    if (overload.slots.size() > slotLimit) {
        throw std::invalid_argument("no call can be made of " + function.declaration.text);
    }
    overload.thunk = thunks[overload.slots.size() + (takesObject ? 1 : 0)];
    return overload;
}

int CallMethod(lua_State *state, const OverloadSet &method, REALobjectStruct *object, int first)
{
    const Overload *overload = Choose(state, method, first);
    if (overload == nullptr) Refuse(state, method, first);
    Frame frame(*overload);
    frame.TakeArguments(state, first);
    frame.Run(object);
    Script::Of(state).ShowHandlerError();
    return frame.GiveResults(state);
}

} // namespace host
