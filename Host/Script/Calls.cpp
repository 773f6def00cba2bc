#include "Host/Script/Calls.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace host {
namespace {

constexpr std::size_t slotLimit = 8;

// Words in memory serve narrower types too: a number's low bytes come first.
ffi_type *TypeInC(TypeKind kind)
{
    switch (kind) {
    case TypeKind::None:
        return &ffi_type_void;
    case TypeKind::Boolean:
        return &ffi_type_sint8;
    case TypeKind::Integer:
        return &ffi_type_sint64;
    case TypeKind::UInt16:
        return &ffi_type_uint16;
    case TypeKind::UInt32:
        return &ffi_type_uint32;
    default:
        return &ffi_type_pointer;
    }
}

void ReadDefault(Form::Slot &slot, const std::string &text)
{
    if (slot.type.kind == TypeKind::String) {
        slot.defaultText = text.size() >= 2 ? text.substr(1, text.size() - 2) : "";
    } else if (slot.type.kind == TypeKind::Boolean) {
        slot.defaultWord = SameName(text, "true");
    } else {
        slot.defaultWord = std::strtol(text.c_str(), nullptr, 0); // nil is 0
    }
}

// What one call works on. What came back and was not handed on to the program is released with it.
class Frame {
  public:
    explicit Frame(const Form &called) : form(called) {}
    Frame(const Frame &) = delete;
    Frame &operator=(const Frame &) = delete;
    ~Frame()
    {
        for (std::size_t i = 0; i < form.slots.size(); ++i) {
            if (form.slots[i].byref) Drop(form.slots[i].type.kind, returned[i]);
        }
        Drop(form.result.kind, returned[slotLimit]);
    }

    void TakeArguments(lua_State *state, int next)
    {
        for (std::size_t i = 0; i < form.slots.size(); ++i) {
            const Form::Slot &slot = form.slots[i];
            if (slot.byref) {
                arguments[i].word = reinterpret_cast<Word>(&returned[i]);
            } else if (next > lua_gettop(state) || (slot.omittable && lua_isnil(state, next))) {
                arguments[i].string = Owned(NewString(slot.defaultText));
                arguments[i].word = slot.defaultWord;
                if (slot.type.kind == TypeKind::String) {
                    arguments[i].word = reinterpret_cast<Word>(arguments[i].string.Get());
                }
                ++next;
            } else {
                ToArgument(state, next++, slot.type, arguments[i]);
                if (i > 0 && slot.type.kind == TypeKind::Integer) CheckCount(state, i, next - 2);
            }
        }
    }

    void Run(REALobjectStruct *object)
    {
        std::array<void *, slotLimit + 1> addresses{};
        std::size_t count = 0;
        if (form.takesObject) addresses[count++] = &object;
        for (std::size_t i = 0; i < form.slots.size(); ++i)
            addresses[count++] = &arguments[i].word;
        auto cif = const_cast<ffi_cif *>(&form.cif);
        ffi_call(cif, reinterpret_cast<void (*)()>(form.function->address), &returned[slotLimit], addresses.data());
        Host::Current().exceptions.ThrowPending();
    }

    int GiveResults(lua_State *state)
    {
        int count = 0;
        auto give = [&](TypeKind kind, Word &word) {
            PushWord(state, kind, std::exchange(word, 0));
            ++count;
        };
        if (form.result.kind != TypeKind::None) give(form.result.kind, returned[slotLimit]);
        for (std::size_t i = 0; i < form.slots.size(); ++i) {
            if (form.slots[i].byref) give(form.slots[i].type.kind, returned[i]);
        }
        return count;
    }

  private:
    // By custom a pointer is followed by the number of bytes it points to: not more than the memory block has.
    void CheckCount(lua_State *state, std::size_t slot, int pointer) const
    {
        if (form.slots[slot - 1].type.kind != TypeKind::Ptr) return;
        const Proxy *block = ToProxy(state, pointer);
        if (block == nullptr) return; // nil, or an address: the plugin has to cope
        auto view = ViewOf(static_cast<REALobjectStruct *>(block->handle));
        if (view.size < 0 || arguments[slot].word <= view.size) return;
        throw Mistake(std::to_string(arguments[slot].word) + " bytes were asked for of the " +
                      std::to_string(view.size) + " in the memory block");
    }

    static void Drop(TypeKind kind, Word word)
    {
        if (word == 0) return;
        if (kind == TypeKind::String) Release(reinterpret_cast<REALstringStruct *>(word));
        if (kind == TypeKind::Object) Release(reinterpret_cast<REALobjectStruct *>(word));
    }

    const Form &form;
    std::array<Argument, slotLimit> arguments;
    std::array<Word, slotLimit + 1> returned{}; // through byref parameters, and the result last
};

bool Takes(lua_State *state, const Form &form, int first)
{
    int argument = first;
    for (const Form::Slot &slot : form.slots) {
        if (slot.byref) continue;
        bool given = argument <= lua_gettop(state) && !(slot.omittable && lua_isnil(state, argument));
        if (given ? !Accepts(state, argument, slot.type) : !slot.omittable) return false;
        ++argument;
    }
    return argument > lua_gettop(state);
}

const Form *Choose(lua_State *state, const Method &method, int first)
{
    auto takes = [&](const auto &form) { return Takes(state, *form, first); };
    auto found = std::find_if(method.forms.begin(), method.forms.end(), takes);
    return found != method.forms.end() ? found->get() : nullptr;
}

[[noreturn]] void Refuse(lua_State *state, const Method &method, int first)
{
    std::string given;
    for (int argument = first; argument <= lua_gettop(state); ++argument) {
        given += (argument == first ? "" : ", ") + NameOfValue(state, argument);
    }
    std::string text = method.name + " does not take (" + given + "), but:";
    for (const auto &form : method.forms)
        text += "\n  " + form->function->declaration.text;
    throw Mistake(text);
}

} // namespace

std::unique_ptr<Form> MakeForm(const Host &host, const Function &function, bool takesObject)
{
    auto form = std::make_unique<Form>();
    form->function = &function;
    form->takesObject = takesObject;
    form->result = ResolveType(host, function.declaration.result);
    if (takesObject) form->types.push_back(&ffi_type_pointer);
    bool afterByref = false;
    for (const Parameter &parameter : function.declaration.parameters) {
        Form::Slot slot;
        slot.type = ResolveType(host, parameter.type);
        slot.byref = parameter.byref;
        afterByref |= parameter.byref;
        slot.omittable = parameter.defaultText.has_value() || (afterByref && slot.type.kind == TypeKind::Object);
        if (parameter.defaultText) ReadDefault(slot, *parameter.defaultText);
        form->types.push_back(parameter.byref ? &ffi_type_pointer : TypeInC(slot.type.kind));
        form->slots.push_back(std::move(slot));
    }
    auto count = static_cast<unsigned>(form->types.size());
    if (form->slots.size() > slotLimit ||
        ffi_prep_cif(&form->cif, FFI_DEFAULT_ABI, count, TypeInC(form->result.kind), form->types.data()) != FFI_OK) {
        throw std::invalid_argument("no call can be made of " + function.declaration.text);
    }
    return form;
}

int CallMethod(lua_State *state, const Method &method, REALobjectStruct *object, int first)
{
    const Form *form = Choose(state, method, first);
    if (form == nullptr) Refuse(state, method, first);
    Frame frame(*form);
    frame.TakeArguments(state, first);
    frame.Run(object);
    return frame.GiveResults(state);
}

} // namespace host
