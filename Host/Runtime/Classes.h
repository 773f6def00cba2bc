// What the host knows of classes, modules and functions: its own and those that a plugin registers.
//
// The host's own classes are described by the same records as a plugin's. The records given stay where they
// are; what is kept here points into them. A member that makes no sense is left out and noted as a finding.
#pragma once

#include "Host/Runtime/Declarations.h"
#include "Source/SDK/GlueCode/HostRecords.h"

#include <deque>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace host {

struct Class;

struct Function {
    Declaration declaration;
    void *address;
};

struct Property {
    const Class *owner; // whose block a standard accessor reads; null in a module
    std::string name;
    Type type;
    const REALproperty *record;

    bool IsField() const { return record->getter.word == kStandardAccessor; } // read from the block itself
    bool ReadOnly() const { return record->setter.word == 0; }
    bool Hidden() const;
};

// An event's address is the token by which a plugin asks for its handler.
struct Event {
    std::string name;
    std::size_t number; // in its class, those of the superclasses first
    REALevent step;     // what an old plugin's record points to instead: it holds the token
};

struct Constant {
    std::string name;
    std::string text; // of the value
};

struct Class {
    std::string name;
    const Class *super = nullptr;
    REALclassDefinition *definition = nullptr;
    std::size_t offset = 0; // of the instance block, from the handle
    std::size_t dataSize = 0;
    bool isOwn = false; // the host's
    bool isMemoryBlock = false;
    std::vector<Function> methods, sharedMethods;
    std::vector<Property> properties, sharedProperties;
    std::deque<Event> events;
    std::vector<Constant> constants;
    void *destructor = nullptr; // its method of that name

    bool IsA(const Class &other) const;
};

struct Module {
    std::string name;
    std::vector<Function> functions; // extensions too
    std::vector<Property> properties;
    std::vector<Constant> constants;
};

class Classes {
  public:
    // Where the instance block of a class lies; 48 for those not named here. At least 32.
    std::map<std::string, std::size_t> offsets;
    int sdkVersion = 0;                 // as announced; 0 before
    const Class *memoryBlock = nullptr; // the host's own

    Class &AddClass(REALclassDefinition &definition, bool isOwn);
    void AddModule(REALmoduleDefinition &definition);
    void AddFunction(REALmethodDefinition &method, bool isOwn);

    // Null for a name that no class has; the one registered last for a name that several have.
    const Class *Find(std::string_view name) const;

    bool Owns(const Class *type) const;

    const std::deque<Class> &All() const { return classes; }
    const std::deque<Module> &Modules() const { return modules; }
    std::span<const Function> PluginFunctions() const; // registered one by one
    const std::vector<std::string> &Findings() const { return findings; }

    // Every function of modules and method tables.
    std::vector<const Function *> AllFunctions() const;
    const Function *FindFunction(const Declaration &prototype) const;

  private:
    void AddFunctions(std::vector<Function> &to, std::span<REALmethodDefinition> methods);
    void AddFunction(std::vector<Function> &to, const char *declaration, void *address);
    void AddProperties(std::vector<Property> &to, const Class *owner, std::span<REALproperty> properties);
    void AddEvents(Class &type, std::span<REALevent> events);
    void AddConstants(std::vector<Constant> &to, std::span<REALconstant> constants);
    void Finding(const std::string &subject, const char *fault);

    std::deque<Class> classes; // which stay where they are
    std::deque<Module> modules;
    std::vector<Function> functions;
    std::size_t ownFunctions = 0; // the first ones
    std::vector<std::string> findings;
};

// Looks a method of this prototype up in the class and its superclasses; null when there is none.
const Function *FindMethod(const Class &type, const Declaration &prototype);

// The same by name alone.
const Function *FindMethod(const Class &type, std::string_view name);
const Property *FindProperty(const Class &type, std::string_view name);
const Event *FindEvent(const Class &type, std::string_view name);

} // namespace host
