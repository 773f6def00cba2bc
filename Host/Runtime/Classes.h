// What the host knows of classes, modules and functions: its own and those that a plugin registers.
//
// The host's own classes are described by the same records as a plugin's. Records stay where they are, and this file
// keeps pointers into them. An invalid member is left out and noted as a finding.
#pragma once

#include "Host/Runtime/Declarations.h"
#include "Source/SDK/GlueCode/HostRecords.h"

#include <algorithm>
#include <deque>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace host {

struct Class;

// Every member has a name, and a text that declares it to its users.
struct Function : Declaration {
    void *address;
};

struct Property {
    std::string name, text;
    const Class *owner; // whose block a standard accessor reads; null for a shared one
    Type type;
    const REALproperty *record;

    bool ReadOnly() const { return record->setter.word == 0; }
};

// An event's address is the token by which a plugin asks for its handler.
struct Event {
    std::string name, text;
    std::size_t number; // in its class, those of the superclasses first
    REALevent step;     // what an old plugin's record points to instead: it holds the token
};

struct Constant {
    std::string name, text;
    std::string value; // as it was written
};

// A class, or a module: a class without objects, whose functions are shared methods. The functions that are registered
// one by one are in a module without a name.
struct Class {
    std::string name{}, remark{};
    bool isModule = false;
    bool isOwn = false; // the host's
    const Class *super = nullptr;
    REALclassDefinition *definition = nullptr;
    std::size_t offset = 0; // of the instance block, from the handle
    std::size_t dataSize = 0;
    bool isMemoryBlock = false;
    std::vector<Function> methods{}, sharedMethods{}; // extensions are in modules
    std::vector<Property> properties{}, sharedProperties{};
    std::deque<Event> events{};
    std::vector<Constant> constants{};
    void (*destructor)(REALobjectStruct *) = nullptr; // its method of that name

    bool IsA(std::string_view className) const
    {
        return SameName(name, className) || (super != nullptr && super->IsA(className));
    }
};

constexpr std::size_t mostParameters = 8; // of a function

class Classes {
  public:
    // Where the instance block of a class lies; 48 for those not named here. At least 32.
    std::map<std::string, std::size_t> offsets;
    int sdkVersion = 0;                 // as announced; 0 before
    const Class *memoryBlock = nullptr; // the host's own

    Class &AddClass(REALclassDefinition &definition);
    void AddOwnClasses(std::span<REALclassDefinition> definitions);
    void AddModule(REALmoduleDefinition &definition);
    void AddFunction(REALmethodDefinition &method, bool isOwn);

    // Null for a name that no class has; the one registered last for a name that several have.
    const Class *Find(std::string_view name) const;

    bool Owns(const Class *type) const;

    const std::deque<Class> &All() const { return classes; }
    const std::vector<std::string> &Findings() const { return findings; }

    // Every function of the modules.
    std::vector<const Function *> AllFunctions() const;

  private:
    void AddFunctions(std::vector<Function> &to, std::span<REALmethodDefinition> methods);
    void AddProperties(std::vector<Property> &to, const Class *owner, std::span<REALproperty> properties);
    void AddEvents(Class &type, std::span<REALevent> events);
    void AddConstants(std::vector<Constant> &to, std::span<REALconstant> constants);
    void Finding(const std::string &subject, const char *fault) { findings.push_back(subject + ": " + fault); }

    std::deque<Class> classes; // which stay where they are
    std::vector<std::string> findings;
};

// The first member of the list that matches, in the class or its superclasses, or null.
template <typename List, typename Matches>
const typename List::value_type *FindMember(const Class &type, List Class::*list, Matches matches)
{
    for (const Class *level = &type; level != nullptr; level = level->super) {
        auto found = std::ranges::find_if(level->*list, matches);
        if (found != (level->*list).end()) return &*found;
    }
    return nullptr;
}

// For members of this name, and for functions of this prototype.
inline auto Named(std::string_view name)
{
    return [name](const auto &member) { return SameName(member.name, name); };
}

inline auto Like(const Declaration &prototype)
{
    return [&prototype](const Function &function) { return SamePrototype(function, prototype); };
}

} // namespace host
