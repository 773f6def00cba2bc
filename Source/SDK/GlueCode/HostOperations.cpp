// The bridge to the host: one slot an entry, found by name on first use. Nothing else in the library
// knows the names of entries, and the one cast from an address to a function stands here.
#include "HostOperations.h"

#include "PluginMain.h"

#include <algorithm>

namespace {

template <typename Signature>
class HostEntry;

// One entry of the host. Once found it stays; one that is missing is asked for again on every call.
// The slot is a plain word: threads that fill it at the same time write the same value. Looking for an entry stands
// out of line, so that a call of one that is found costs a load and a test.
template <typename Result, typename... Arguments>
class HostEntry<Result(Arguments...)> {
  public:
    using Function = Result (*)(Arguments...);

    constexpr explicit HostEntry(const char *entryName) : name(entryName) {}

    // Whether a call has found it.
    bool IsFound() const { return slot != nullptr; }

    Function Find()
    {
        if (slot == nullptr) [[unlikely]]
            return Resolve();
        return Found();
    }

    Result Call(Arguments... arguments)
    {
        if (slot == nullptr) [[unlikely]]
            return ResolveAndCall(arguments...);
        return Found()(arguments...);
    }

  private:
    Function Found() const { return reinterpret_cast<Function>(slot); }

    [[gnu::cold, gnu::noinline]] Function Resolve()
    {
        slot = gHostResolver(name);
        return Found();
    }

    [[gnu::cold, gnu::noinline]] Result ResolveAndCall(Arguments... arguments)
    {
        Function function = Resolve();
        return function != nullptr ? function(arguments...) : Result();
    }

    const char *name;
    void *slot = nullptr;
};

// Of a yes/no answer only the low byte is defined, except for the five whole-word getters.
constexpr bool IsYes(unsigned long answer)
{
    return (answer & 0xFF) != 0;
}

// How an element procedure answers: a Boolean is a yes/no answer, every other element itself.
template <typename Element>
struct ElementAnswer {
    using Type = Element;
    static Element Value(Element answer) { return answer; }
};
template <>
struct ElementAnswer<bool> {
    using Type = unsigned long;
    static bool Value(unsigned long answer) { return IsYes(answer); }
};

} // namespace

#define HOST_CALL_AS(result, operation, parameters, arguments, entry)                                                  \
    static constinit HostEntry<result parameters> operation##Entry{entry};                                             \
    result operation parameters                                                                                        \
    {                                                                                                                  \
        return operation##Entry.Call arguments;                                                                        \
    }
#define HOST_CALL(result, operation, parameters, arguments)                                                            \
    HOST_CALL_AS(result, operation, parameters, arguments, #operation)
#define HOST_CALL_OR(missing, result, operation, parameters, arguments, entry)                                         \
    static constinit HostEntry<result parameters> operation##Entry{entry};                                             \
    result operation parameters                                                                                        \
    {                                                                                                                  \
        return operation##Entry.Find() != nullptr ? operation##Entry.Call arguments : missing;                         \
    }
#define HOST_YES_NO_AS(operation, parameters, arguments, entry)                                                        \
    static constinit HostEntry<unsigned long parameters> operation##Entry{entry};                                      \
    bool operation parameters                                                                                          \
    {                                                                                                                  \
        return IsYes(operation##Entry.Call arguments);                                                                 \
    }
#define HOST_YES_NO(operation, parameters, arguments) HOST_YES_NO_AS(operation, parameters, arguments, #operation)
#define HOST_YES_NO_WORD_AS(operation, parameters, arguments, entry)                                                   \
    static constinit HostEntry<unsigned long parameters> operation##Entry{entry};                                      \
    bool operation parameters                                                                                          \
    {                                                                                                                  \
        return operation##Entry.Call arguments != 0;                                                                   \
    }
#define HOST_YES_NO_WORD(operation, parameters, arguments)                                                             \
    HOST_YES_NO_WORD_AS(operation, parameters, arguments, #operation)
#define HOST_ENTRY(result, operation, parameters, entry)                                                               \
    static constinit HostEntry<result parameters> operation##Entry{entry};

// Elements go in two stages: the host's entry names the procedure that moves an element of this array.
#define HOST_ARRAY_FIXED(type, element)                                                                                \
    void REALGetArrayValue##type(void *array, long index, element *out)                                                \
    {                                                                                                                  \
        static constinit HostEntry<void *(void *, long, element *)> entry{"Plugin" #type "ArrayGetProc"};              \
        using Answer = ElementAnswer<element>;                                                                         \
        auto get = reinterpret_cast<Answer::Type (*)(void *, long)>(entry.Call(array, index, out));                    \
        if (get != nullptr && out != nullptr) *out = Answer::Value(get(array, index));                                 \
    }                                                                                                                  \
    void REALSetArrayValue##type(void *array, long index, element value)                                               \
    {                                                                                                                  \
        static constinit HostEntry<void *(void *, long, element)> entry{"Plugin" #type "ArraySetProc"};                \
        auto set = reinterpret_cast<void (*)(void *, element, long)>(entry.Call(array, index, value));                 \
        if (set != nullptr) set(array, value, index);                                                                  \
    }
#define HOST_ARRAY_ELEMENT(type, element)                                                                              \
    HOST_ARRAY_FIXED(type, element)                                                                                    \
    void REALInsertArrayValue##type(void *array, long index, element value)                                            \
    {                                                                                                                  \
        static constinit HostEntry<void *(void *, long, element)> entry{"Plugin" #type "ArrayInsertProc"};             \
        auto insert = reinterpret_cast<void (*)(void *, long, element)>(entry.Call(array, index, value));              \
        if (insert != nullptr) insert(array, index, value);                                                            \
    }

#include "HostOperations.inc"
#include "HostOperationsEnd.inc"

REALstringStruct *REALBuildString(const char *bytes, int count, unsigned int encoding)
{
    return REALBuildStringWithEncoding(bytes, count, encoding);
}

const char *REALGetStringContents(REALstringStruct *string, std::int64_t *length)
{
    using LengthFunction = long (*)(REALstringStruct *);
    static constinit void *lengthSlot = nullptr;

    if (string == nullptr) return nullptr;
    auto contents = StringGetCStringEntry.Find();
    if (lengthSlot == nullptr) lengthSlot = REALLoadFrameworkMethod("LenB( s as string ) as integer");
    if (length != nullptr && lengthSlot != nullptr) *length = reinterpret_cast<LengthFunction>(lengthSlot)(string);
    return contents != nullptr ? contents(string) : nullptr;
}

StringBytes REALGetStringBytes(REALstringStruct *string)
{
    std::int64_t length = 0;
    const char *bytes = REALGetStringContents(string, &length);
    return {bytes, std::max<std::int64_t>(length, 0)};
}

REALobjectStruct *REALnewInstance(REALclassRefStruct *classRef)
{
    return REALnewInstanceWithClass(classRef);
}

REALobjectStruct *REALnewInstanceWithClass(REALclassRefStruct *classRef)
{
    return classRef != nullptr ? CreateInstanceEntry.Call(classRef) : nullptr;
}

void *REALLoadFrameworkMethod(const char *prototype)
{
    return REALLoadGlobalMethodEntry.Call(nullptr, prototype);
}

void *REALGetEventInstance(REALobjectStruct *object, REALevent *event)
{
    auto getEvent = GetEventInstanceEntry.Find();
    if (gSDKVersion == 9) event = static_cast<REALevent *>(event->token);
    return getEvent != nullptr && event != nullptr ? getEvent(object, event->token) : nullptr;
}

REALobjectStruct *REALCallFunctionWithExceptionHandler(void (*function)(void *), void *data)
{
    if (auto guarded = PluginCallFunctionWithExceptionHandlerEntry.Find()) return guarded(function, data);
    function(data);
    return nullptr;
}

bool REALCanUnregisterBackgroundTask()
{
    return REALUnregisterBackgroundTaskEntry.Find() != nullptr;
}

REALstringStruct *REALTryRetainString(REALstringStruct *string)
{
    if (string == nullptr) return nullptr;
    auto lock = REALLockStringEntry.Find();
    if (lock == nullptr) return nullptr;
    lock(string);
    return string;
}

REALobjectStruct *REALTryRetainObject(REALobjectStruct *object)
{
    if (object == nullptr) return nullptr;
    auto lock = REALLockObjectEntry.Find();
    if (lock == nullptr) return nullptr;
    lock(object);
    return object;
}

REALstringStruct *REALRetainString(REALstringStruct *string)
{
    REALTryRetainString(string);
    return string;
}

REALobjectStruct *REALRetainObject(REALobjectStruct *object)
{
    REALTryRetainObject(object);
    return object;
}

void REALReleaseString(REALstringStruct *string)
{
    if (string != nullptr && REALLockStringEntry.IsFound()) REALUnlockString(string);
}

void REALReleaseObject(REALobjectStruct *object)
{
    if (object != nullptr && REALLockObjectEntry.IsFound()) REALUnlockObject(object);
}

bool REALGetPropValueBoolean(REALobjectStruct *object, const char *name, bool *value)
{
    auto get = REALGetPropValueBoolEntry.Find();
    if (get == nullptr) return false;
    unsigned char byte = 0;
    bool found = IsYes(get(object, name, &byte));
    *value = byte != 0;
    return found;
}

void REALGraphicsDrawString(REALgraphicsStruct *graphics, REALstringStruct *text, int x, int y, int width)
{
    if (gHostVersion >= 2018.02) {
        RuntimeGraphicsDrawStringDoubleEntry.Call(graphics, text, x, y, width, x, y, width);
    } else {
        RuntimeGraphicsDrawStringEntry.Call(graphics, text, x, y, width);
    }
}

double REALGraphicsStringWidth(REALgraphicsStruct *graphics, REALstringStruct *text)
{
    if (gHostVersion >= 2007.02) return RuntimeGraphicsStringWidthDoubleEntry.Call(graphics, text);
    return RuntimeGraphicsStringWidthEntry.Call(graphics, text);
}

// Looks an entry up through the resolver for scripts, which is asked for once per process. The entry stays in its
// slot once it is found.
static void *FindScriptEntry(void *&slot, const char *name)
{
    static const auto resolver = reinterpret_cast<HostResolver>(GetRBScriptResolverEntry.Call());
    if (slot == nullptr && resolver != nullptr) slot = resolver(name);
    return slot;
}

static REALclassRefStruct *ClassOf(REALobjectStruct *object)
{
    static constinit void *slot = nullptr;
    auto classOf =
        reinterpret_cast<REALclassRefStruct *(*)(REALobjectStruct *)>(FindScriptEntry(slot, "RuntimeClassOf"));
    return classOf != nullptr ? classOf(object) : nullptr;
}

int REALCountClassProperties(REALobjectStruct *object)
{
    static constinit void *slot = nullptr;
    auto count = reinterpret_cast<int (*)(REALclassRefStruct *)>(FindScriptEntry(slot, "REALCountClassProperties"));
    return count != nullptr ? count(ClassOf(object)) : 0;
}

void *REALGetClassProperty(REALobjectStruct *object, int index)
{
    static constinit void *slot = nullptr;
    auto property =
        reinterpret_cast<void *(*)(REALclassRefStruct *, int)>(FindScriptEntry(slot, "REALGetClassProperty"));
    return property != nullptr ? property(ClassOf(object), index) : nullptr;
}
