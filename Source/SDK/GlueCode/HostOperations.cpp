// The bridge to the host: entries are found by name on first use and kept in slots. Apart from start-up, which asks for
// two entries by itself, nothing else in the library knows their names.
#include "FurtherHostOperations.h"
#include "PluginMain.h"
#include "Relaxed.h"

#include <algorithm>

namespace {

template <typename Signature, typename Lookup>
class HostEntry;

// One function of the host, which Lookup finds by name. It is looked for until it is found. Until then the slot holds a
// function of the same type that looks for it, so that Call tests nothing.
template <typename Result, typename... Arguments, typename Lookup>
class HostEntry<Result(Arguments...), Lookup> {
  public:
    using Function = Result (*)(Arguments...);

    static Function Find()
    {
        Function function = slot;
        if (function != ResolveAndCall) [[likely]]
            return function;
        return Resolve();
    }

    static Result Call(Arguments... arguments) { return Function(slot)(arguments...); }

  private:
    [[gnu::cold, gnu::noinline]] static Function Resolve()
    {
        auto function = reinterpret_cast<Function>(Lookup::Find());
        if (function != nullptr) slot = function;
        return function;
    }

    [[gnu::cold]] static Result ResolveAndCall(Arguments... arguments)
    {
        Function function = Resolve();
        return function != nullptr ? function(arguments...) : Result();
    }

    // Threads may look for it at the same time: all find the same.
    static inline constinit Relaxed<Function> slot = ResolveAndCall;
};

// Of a yes/no answer only the low byte is defined, except for the five whole-word getters.
constexpr bool IsYes(unsigned long answer)
{
    return (answer & 0xFF) != 0;
}

// Reads an element by the procedure that the host named, which for Booleans gives a yes/no answer.
template <typename Element>
void ReadElement(void *procedure, void *array, long index, Element *out)
{
    if (procedure == nullptr || out == nullptr) return;
    if constexpr (std::is_same_v<Element, bool>) {
        *out = IsYes(reinterpret_cast<unsigned long (*)(void *, long)>(procedure)(array, index));
    } else {
        *out = reinterpret_cast<Element (*)(void *, long)>(procedure)(array, index);
    }
}

} // namespace

// Defines the type that calls the entry, which that function, or the resolver, finds.
#define DEFINE_ENTRY_BY(find, operation, signature, entry)                                                             \
    struct operation##Lookup {                                                                                         \
        static void *Find() { return find(entry); }                                                                    \
    };                                                                                                                 \
    using operation##Entry = HostEntry<signature, operation##Lookup>;
#define DEFINE_ENTRY(operation, signature, entry) DEFINE_ENTRY_BY(gHostResolver, operation, signature, entry)
#define HOST_CALL_AS(result, operation, parameters, arguments, entry)                                                  \
    DEFINE_ENTRY(operation, result parameters, entry)                                                                  \
    result operation parameters                                                                                        \
    {                                                                                                                  \
        return operation##Entry::Call arguments;                                                                       \
    }
#define HOST_CALL(result, operation, parameters, arguments)                                                            \
    HOST_CALL_AS(result, operation, parameters, arguments, #operation)
#define HOST_CALL_OR(missing, result, operation, parameters, arguments, entry)                                         \
    DEFINE_ENTRY(operation, result parameters, entry)                                                                  \
    result operation parameters                                                                                        \
    {                                                                                                                  \
        return operation##Entry::Find() != nullptr ? operation##Entry::Call arguments : missing;                       \
    }
#define HOST_ANSWER(isYes, operation, parameters, arguments, entry)                                                    \
    DEFINE_ENTRY(operation, unsigned long parameters, entry)                                                           \
    bool operation parameters                                                                                          \
    {                                                                                                                  \
        return isYes(operation##Entry::Call arguments);                                                                \
    }
#define HOST_YES_NO_AS(operation, parameters, arguments, entry)                                                        \
    HOST_ANSWER(IsYes, operation, parameters, arguments, entry)
#define HOST_YES_NO(operation, parameters, arguments) HOST_YES_NO_AS(operation, parameters, arguments, #operation)
#define HOST_YES_NO_WORD_AS(operation, parameters, arguments, entry)                                                   \
    HOST_ANSWER(bool, operation, parameters, arguments, entry)
#define HOST_YES_NO_WORD(operation, parameters, arguments)                                                             \
    HOST_YES_NO_WORD_AS(operation, parameters, arguments, #operation)
#define HOST_ENTRY(result, operation, parameters, entry) DEFINE_ENTRY(operation, result parameters, entry)

// Elements go in two stages: the host's entry names the procedure that moves an element of this array.
#define HOST_ARRAY_FIXED(type, element)                                                                                \
    void REALGetArrayValue##type(void *array, long index, element *out)                                                \
    {                                                                                                                  \
        DEFINE_ENTRY(Get, void *(void *, long, element *), "Plugin" #type "ArrayGetProc")                              \
        ReadElement(GetEntry::Call(array, index, out), array, index, out);                                             \
    }                                                                                                                  \
    void REALSetArrayValue##type(void *array, long index, element value)                                               \
    {                                                                                                                  \
        DEFINE_ENTRY(Set, void *(void *, long, element), "Plugin" #type "ArraySetProc")                                \
        auto set = reinterpret_cast<void (*)(void *, element, long)>(SetEntry::Call(array, index, value));             \
        if (set != nullptr) set(array, value, index);                                                                  \
    }
#define HOST_ARRAY_ELEMENT(type, element)                                                                              \
    HOST_ARRAY_FIXED(type, element)                                                                                    \
    void REALInsertArrayValue##type(void *array, long index, element value)                                            \
    {                                                                                                                  \
        DEFINE_ENTRY(Insert, void *(void *, long, element), "Plugin" #type "ArrayInsertProc")                          \
        auto insert = reinterpret_cast<void (*)(void *, long, element)>(InsertEntry::Call(array, index, value));       \
        if (insert != nullptr) insert(array, index, value);                                                            \
    }

#define HOST_ALL_OPERATIONS
#include "HostOperations.inc"

REALstringStruct *REALBuildString(const char *bytes, int count, unsigned int encoding)
{
    return REALBuildStringWithEncoding(bytes, count, encoding);
}

DEFINE_ENTRY_BY(REALLoadFrameworkMethod, StringLength, long(REALstringStruct *), "LenB( s as string ) as integer")

const char *REALGetStringContents(REALstringStruct *string, std::int64_t *length)
{
    if (string == nullptr) return nullptr;
    auto contentsOf = StringGetCStringEntry::Find();
    auto lengthOf = StringLengthEntry::Find();
    if (length != nullptr && lengthOf != nullptr) *length = lengthOf(string);
    return contentsOf != nullptr ? contentsOf(string) : nullptr;
}

StringBytes REALGetStringBytes(REALstringStruct *string)
{
    if (string == nullptr) return {nullptr, 0};
    const char *bytes = StringGetCStringEntry::Call(string);
    long length = StringLengthEntry::Call(string);
    return {bytes, std::max(length, 0L)};
}

REALobjectStruct *REALnewInstance(REALclassRefStruct *classRef)
{
    return REALnewInstanceWithClass(classRef);
}

REALobjectStruct *REALnewInstanceWithClass(REALclassRefStruct *classRef)
{
    return classRef != nullptr ? CreateInstanceEntry::Call(classRef) : nullptr;
}

void *REALLoadFrameworkMethod(const char *prototype)
{
    return REALLoadGlobalMethodEntry::Call(nullptr, prototype);
}

void *REALGetEventInstance(REALobjectStruct *object, REALevent *event)
{
    auto getEvent = GetEventInstanceEntry::Find();
    if (gSDKVersion == 9) event = static_cast<REALevent *>(event->token);
    return getEvent != nullptr && event != nullptr ? getEvent(object, event->token) : nullptr;
}

REALobjectStruct *REALCallFunctionWithExceptionHandler(void (*function)(void *), void *data)
{
    if (auto guarded = PluginCallFunctionWithExceptionHandlerEntry::Find()) return guarded(function, data);
    function(data);
    return nullptr;
}

bool REALCanUnregisterBackgroundTask()
{
    return REALUnregisterBackgroundTaskEntry::Find() != nullptr;
}

// Adds a reference by that entry, if the host has it.
template <typename Lock, typename Value>
static Value *AddReferenceBy(Value *value)
{
    auto lock = value != nullptr ? Lock::Find() : nullptr;
    if (lock == nullptr) return nullptr;
    lock(value);
    return value;
}

// Finds the entry that removes references if the host can add them, too.
template <typename Lock, typename Unlock>
struct UnlockLookup {
    static void *Find() { return Lock::Find() != nullptr ? reinterpret_cast<void *>(Unlock::Find()) : nullptr; }
};

REALstringStruct *AddReference(REALstringStruct *string)
{
    return AddReferenceBy<REALLockStringEntry>(string);
}

REALobjectStruct *AddReference(REALobjectStruct *object)
{
    return AddReferenceBy<REALLockObjectEntry>(object);
}

void RemoveReference(REALstringStruct *string)
{
    using Lookup = UnlockLookup<REALLockStringEntry, REALUnlockStringEntry>;
    if (string != nullptr) HostEntry<void(REALstringStruct *), Lookup>::Call(string);
}

void RemoveReference(REALobjectStruct *object)
{
    using Lookup = UnlockLookup<REALLockObjectEntry, REALUnlockObjectEntry>;
    if (object != nullptr) HostEntry<void(REALobjectStruct *), Lookup>::Call(object);
}

bool REALGetPropValueBoolean(REALobjectStruct *object, const char *name, bool *value)
{
    auto get = REALGetPropValueBoolEntry::Find();
    if (get == nullptr) return false;
    unsigned char byte = 0;
    bool found = IsYes(get(object, name, &byte));
    *value = byte != 0;
    return found;
}

void REALGraphicsDrawString(REALgraphicsStruct *graphics, REALstringStruct *text, int x, int y, int width)
{
    if (gHostVersion >= 2018.02) {
        RuntimeGraphicsDrawStringDoubleEntry::Call(graphics, text, x, y, width, x, y, width);
    } else {
        RuntimeGraphicsDrawStringEntry::Call(graphics, text, x, y, width);
    }
}

double REALGraphicsStringWidth(REALgraphicsStruct *graphics, REALstringStruct *text)
{
    if (gHostVersion >= 2007.02) return RuntimeGraphicsStringWidthDoubleEntry::Call(graphics, text);
    return RuntimeGraphicsStringWidthEntry::Call(graphics, text);
}

// Looks an entry up through the resolver for scripts, which is asked for once per process.
static void *FindScriptEntry(const char *name)
{
    static const auto resolver = reinterpret_cast<HostResolver>(GetRBScriptResolverEntry::Call());
    return resolver != nullptr ? resolver(name) : nullptr;
}

DEFINE_ENTRY_BY(FindScriptEntry, ClassOf, REALclassRefStruct *(REALobjectStruct *), "RuntimeClassOf")
DEFINE_ENTRY_BY(FindScriptEntry, CountClassProperties, int(REALclassRefStruct *), "REALCountClassProperties")
DEFINE_ENTRY_BY(FindScriptEntry, GetClassProperty, void *(REALclassRefStruct *, int), "REALGetClassProperty")

int REALCountClassProperties(REALobjectStruct *object)
{
    auto count = CountClassPropertiesEntry::Find();
    return count != nullptr ? count(ClassOfEntry::Call(object)) : 0;
}

void *REALGetClassProperty(REALobjectStruct *object, int index)
{
    auto property = GetClassPropertyEntry::Find();
    return property != nullptr ? property(ClassOfEntry::Call(object), index) : nullptr;
}
