// Calls of a plugin's functions from Lua. The declaration of a function says how the arguments become words, and which
// of them come back as results.
#include "Host/Script/Members.h"

#include <algorithm>

namespace host {
namespace {

// False also for a nil in the place of what is left out.
bool IsGiven(lua_State *state, const Parameter &parameter, int argument, int top)
{
    return argument <= top && !(parameter.omittable && lua_isnil(state, argument));
}

// The data of one call. At its end it releases results that were not handed to the program.
class Frame {
  public:
    explicit Frame(const Function &called) : function(called) {}
    Frame(const Frame &) = delete;
    Frame &operator=(const Frame &) = delete;
    ~Frame()
    {
        ReleaseWord(function.result.kind, result);
        for (std::size_t i = 0; i < function.parameters.size(); ++i) {
            if (function.parameters[i].byref) ReleaseWord(function.parameters[i].type.kind, returned[i]);
        }
    }

    // With the arguments from the index on. A byref parameter is a variable, empty unless its argument is given.
    void Run(lua_State *state, REALobjectStruct *object, int next, bool givesByref)
    {
        Words words{};
        std::size_t count = 0;
        if (object != nullptr) words[count++] = AsWord(object);
        for (std::size_t i = 0; i < function.parameters.size(); ++i) {
            bool isByref = function.parameters[i].byref;
            bool isGiven = !isByref || givesByref;
            Word argument = isGiven ? TakeArgument(state, i, next++) : 0;
            if (isByref) {
                LockWord(function.parameters[i].type.kind, argument);
                returned[i] = argument;
            }
            words[count++] = isByref ? AsWord(&returned[i]) : argument;
        }
        result = Host::Current().Invoke(function, words);
    }

    int GiveResults(lua_State *state)
    {
        int count = 0;
        auto give = [&](TypeKind kind, Word &word) {
            PushWord(state, kind, std::exchange(word, 0));
            ++count;
        };
        if (function.result.kind != TypeKind::None) give(function.result.kind, result);
        for (std::size_t i = 0; i < function.parameters.size(); ++i) {
            if (function.parameters[i].byref) give(function.parameters[i].type.kind, returned[i]);
        }
        return count;
    }

  private:
    Word TakeArgument(lua_State *state, std::size_t number, int index)
    {
        const Parameter &parameter = function.parameters[number];
        Owned<REALstringStruct> &made = strings[number];
        int top = lua_gettop(state);
        Word word = parameter.defaultWord;
        if (IsGiven(state, parameter, index, top)) {
            word = ToWord(state, index, parameter.type, made);
        } else if (!parameter.defaultText.empty()) {
            made = Owned(NewString(parameter.defaultText));
            word = AsWord(made.Get());
        }
        if (parameter.counts && index <= top) CheckCount(state, word, index - 1);
        return word;
    }

    // By convention, the number after a pointer says how many bytes it points to: at most the size of the memory block.
    static void CheckCount(lua_State *state, Word count, int pointer)
    {
        const Proxy *block = ToProxy(state, pointer);
        if (block == nullptr) return; // nil, or an address: the plugin must handle it
        auto view = ViewOf(block->object);
        if (view.size < 0 || (count >= 0 && count <= view.size)) return;
        throw Mistake(std::to_string(count) + " bytes were asked for of the " + std::to_string(view.size) +
                      " in the memory block");
    }

    const Function &function;
    std::array<Owned<REALstringStruct>, mostParameters> strings;
    std::array<Word, mostParameters> returned{}; // the variables of byref parameters
    Word result = 0;
};

bool Takes(lua_State *state, const Function &function, int argument, bool givesByref)
{
    int top = lua_gettop(state);
    for (const Parameter &parameter : function.parameters) {
        if (parameter.byref && !givesByref) continue;
        bool isGiven = IsGiven(state, parameter, argument, top);
        if (isGiven ? !Accepts(state, argument, parameter.type) : !parameter.omittable) return false;
        ++argument;
    }
    return argument > top;
}

[[noreturn]] void Refuse(lua_State *state, const std::string &name, const Overloads &functions, int first)
{
    std::string given;
    for (int argument = first; argument <= lua_gettop(state); ++argument)
        given += (argument == first ? "" : ", ") + NameOfValue(state, argument);
    std::string text = name + " does not take (" + given + "), but:";
    for (const Function *function : functions)
        text += "\n  " + function->text;
    throw Mistake(text);
}

} // namespace

int CallFunction(lua_State *state, const Member &member, const Overloads &functions, REALobjectStruct *object,
                 int first)
{
    for (bool givesByref : {false, true}) {
        auto takes = [&](const Function *function) { return Takes(state, *function, first, givesByref); };
        auto chosen = std::ranges::find_if(functions, takes);
        if (chosen == functions.end()) continue;
        Frame frame(**chosen);
        frame.Run(state, object, first, givesByref);
        Script::Of(state).ShowHandlerError();
        if (Script::Of(state).TakeStop()) throw Mistake("interrupted");
        return frame.GiveResults(state);
    }
    Refuse(state, member.name, functions, first);
}

} // namespace host
