// The stand-in host as one object: what a test or a program makes first and ends last.
//
//   host::Host host({.version = 2021.03});
//   host.Start(REALPluginMain);
//   host::Owned socket(host.New("UDPSocketVYN"));
//   host.Call<void>(socket.Get(), "Bind(Port as Integer, IP as String)", 0, nullptr);
//   ... host.Complaints() is empty when nothing leaked and nothing was released twice.
//
// One host at a time, used by one thread. Entries reach it as Host::Current().
#pragma once

#include "Host/Runtime/Classes.h"
#include "Host/Runtime/Entries.h"
#include "Host/Runtime/Events.h"
#include "Host/Runtime/Exceptions.h"
#include "Host/Runtime/Ledger.h"
#include "Host/Runtime/MemoryBlocks.h"
#include "Host/Runtime/Objects.h"
#include "Host/Runtime/Owned.h"
#include "Host/Runtime/Properties.h"
#include "Host/Runtime/Sockets.h"
#include "Host/Runtime/Strings.h"
#include "Host/Runtime/Tasks.h"

#include <new>
#include <type_traits>

namespace host {

using Resolver = void *(*)(const char *);

struct Options {
    double version = 2021.03;
    std::map<std::string, std::size_t> offsets{}; // of instance blocks, by class; 48 otherwise
    std::vector<std::string> without{};           // entries that this host lacks
    bool bare = false;                            // lacks all but the two of start-up
    bool ignoresBrokenPipes = true;               // whoever sends to a peer that has gone gets an error, no signal
};

class Host {
  public:
    explicit Host(const Options &options = {});
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;
    ~Host();

    static Host &Current() { return *current; }

    // Hands the resolver over, as at the loading of a plugin.
    void Start(void (*pluginMain)(Resolver)) { pluginMain(Resolve); }

    // A new object after its constructor, with one reference. A class without a constructor takes no arguments.
    // Throws Exception, or std::invalid_argument for an unknown class.
    template <typename... Arguments>
    REALobjectStruct *New(const std::string &className, Arguments... arguments);

    // Calls the method of this prototype. Numbers go as Integer, bool as Boolean. Throws Exception when the
    // method raised one, std::invalid_argument when there is no such method.
    template <typename Result, typename... Arguments>
    Result Call(REALobjectStruct *object, const char *prototype, Arguments... arguments);

    // The same for a shared method ("Class.Method(...)" is given as the two), a module function or an extension,
    // whose object is then the first argument.
    template <typename Result, typename... Arguments>
    Result CallShared(const std::string &className, const char *prototype, Arguments... arguments);
    template <typename Result, typename... Arguments>
    Result CallGlobal(const char *prototype, Arguments... arguments);

    // Calls a function of the plugin and throws the exception that it raised, if any; its result is then released.
    template <typename Result, typename... Arguments>
    Result Invoke(void *function, Arguments... arguments);

    // Properties by name; a string or an object that is read carries a reference. Throw as Call does.
    template <typename Result>
    Result Get(REALobjectStruct *object, const std::string &property);
    template <typename Argument>
    void Set(REALobjectStruct *object, const std::string &property, Argument value);

    // Leaks and errors, one a line; empty when all is well.
    std::string Complaints() const;

    const double version;
    Ledger ledger;
    Faults faults;
    Exceptions exceptions;
    Classes classes;
    Events events;
    Tasks tasks;

  private:
    void *MethodAddress(REALobjectStruct *object, const char *prototype) const;
    void *SharedMethodAddress(const std::string &className, const char *prototype) const;
    void *FunctionAddress(const char *prototype) const;
    const Class &ClassNamed(const std::string &name) const;
    const Property &PropertyNamed(REALobjectStruct *object, const std::string &name) const;

    static inline Host *current = nullptr;
};

// How an argument travels: integers as 64-bit words, Boolean as one byte, nil as a null pointer.
template <typename Argument>
auto AsArgument(Argument argument)
{
    if constexpr (std::is_same_v<Argument, bool>) {
        return static_cast<HostBoolean>(argument);
    } else if constexpr (std::is_integral_v<Argument> && !std::is_same_v<Argument, HostBoolean>) {
        return static_cast<long>(argument);
    } else if constexpr (std::is_null_pointer_v<Argument>) {
        return static_cast<void *>(nullptr);
    } else {
        return argument;
    }
}

template <typename Result, typename... Arguments>
Result Host::Invoke(void *function, Arguments... arguments)
{
    auto call = reinterpret_cast<Result (*)(decltype(AsArgument(arguments))...)>(function);
    if constexpr (std::is_void_v<Result>) {
        call(AsArgument(arguments)...);
        exceptions.ThrowPending();
    } else if constexpr (std::is_same_v<Result, REALobjectStruct *> || std::is_same_v<Result, REALstringStruct *>) {
        Owned result(call(AsArgument(arguments)...));
        exceptions.ThrowPending();
        return result.Leave();
    } else {
        Result result = call(AsArgument(arguments)...);
        exceptions.ThrowPending();
        return result;
    }
}

template <typename Result, typename... Arguments>
Result Host::Call(REALobjectStruct *object, const char *prototype, Arguments... arguments)
{
    return Invoke<Result>(MethodAddress(object, prototype), object, arguments...);
}

template <typename Result, typename... Arguments>
Result Host::CallShared(const std::string &className, const char *prototype, Arguments... arguments)
{
    return Invoke<Result>(SharedMethodAddress(className, prototype), arguments...);
}

template <typename Result, typename... Arguments>
Result Host::CallGlobal(const char *prototype, Arguments... arguments)
{
    return Invoke<Result>(FunctionAddress(prototype), arguments...);
}

template <typename... Arguments>
REALobjectStruct *Host::New(const std::string &className, Arguments... arguments)
{
    const Class &type = ClassNamed(className);
    Owned object(NewInstance(type));
    if (object.Get() == nullptr) throw std::bad_alloc();
    if (const Function *constructor = FindMethod(type, "Constructor")) {
        Invoke<void>(constructor->address, object.Get(), arguments...);
    }
    return object.Leave();
}

template <typename Result>
Result Host::Get(REALobjectStruct *object, const std::string &property)
{
    Word word = ReadProperty(object, PropertyNamed(object, property));
    exceptions.ThrowPending();
    if constexpr (std::is_pointer_v<Result>) {
        return reinterpret_cast<Result>(word);
    } else {
        return static_cast<Result>(word);
    }
}

template <typename Argument>
void Host::Set(REALobjectStruct *object, const std::string &property, Argument value)
{
    Word word = 0;
    if constexpr (std::is_pointer_v<Argument>) {
        word = reinterpret_cast<Word>(value);
    } else if constexpr (!std::is_null_pointer_v<Argument>) {
        word = static_cast<Word>(value);
    }
    WriteProperty(object, PropertyNamed(object, property), word);
    exceptions.ThrowPending();
}

} // namespace host
