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
#include "Host/Runtime/Objects.h"
#include "Host/Runtime/OwnClasses.h"
#include "Host/Runtime/Owned.h"
#include "Host/Runtime/Properties.h"
#include "Host/Runtime/Strings.h"
#include "Host/Runtime/Tasks.h"

#include <array>

namespace host {

using Resolver = void *(*)(const char *);

struct Options {
    double version = 2021.03;
    std::map<std::string, std::size_t> offsets{}; // of instance blocks, by class; 48 otherwise
    std::vector<std::string> without{};           // entries that this host lacks
    bool bare = false;                            // lacks all but the two of start-up
    bool ignoresBrokenPipes = true;               // a send to a peer that has gone fails without a signal
};

// The words of a call: the object if the function takes one, and the arguments.
using Words = std::array<Word, 1 + mostParameters>;

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
    REALobjectStruct *New(const std::string &className, Arguments... arguments)
    {
        return Construct(className, {0, AsWord(arguments)...});
    }

    // Calls the method of this prototype. Throws Exception when the method raised one, std::invalid_argument when
    // there is no such method.
    template <typename Result, typename... Arguments>
    Result Call(REALobjectStruct *object, const char *prototype, Arguments... arguments)
    {
        return FromWord<Result>(Invoke(MethodOf(object, prototype), {AsWord(object), AsWord(arguments)...}));
    }

    // The same for a shared method, a function of a module or an extension, whose object is then the first argument.
    template <typename Result, typename... Arguments>
    Result CallShared(const char *prototype, Arguments... arguments)
    {
        return FromWord<Result>(Invoke(SharedMethod(prototype), {AsWord(arguments)...}));
    }

    // Calls a function of the plugin and throws the exception that it raised, if any; its result is then released.
    Word Invoke(const Function &function, const Words &words);

    // Properties by name; a string or an object that is read carries a reference. Throw as Call does.
    template <typename Result>
    Result Get(REALobjectStruct *object, const std::string &property)
    {
        Word word = ReadProperty(object, PropertyOf(object, property));
        exceptions.ThrowPending();
        return FromWord<Result>(word);
    }
    template <typename Argument>
    void Set(REALobjectStruct *object, const std::string &property, Argument value)
    {
        WriteProperty(object, PropertyOf(object, property), AsWord(value));
        exceptions.ThrowPending();
    }

    // Leaks and errors, one a line; empty when all is well. Frees the values that were released.
    std::string Complaints();

    const double version;
    Entries entries;
    Ledger ledger;
    Faults faults;
    Exceptions exceptions;
    Classes classes;
    Events events;
    Tasks tasks;

  private:
    REALobjectStruct *Construct(const std::string &className, Words words);
    const Function &MethodOf(REALobjectStruct *object, const char *prototype) const;
    const Function &SharedMethod(const char *prototype) const;
    const Property &PropertyOf(REALobjectStruct *object, const std::string &name) const;

    static inline Host *current = nullptr;
};

} // namespace host
