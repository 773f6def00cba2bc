#include "Host/Runtime/Host.h"

#include "Host/Runtime/OwnClasses.h"

#include <algorithm>
#include <csignal>
#include <stdexcept>

namespace host {
namespace {

long LengthInBytes(REALstringStruct *string)
{
    return static_cast<long>(BytesOf(string).size());
}

constexpr char lengthName[] = "LenB";

REALmethodDefinition framework[] = {
    Method("LenB(s as String) as Integer", Provided<LengthInBytes, lengthName>::Call),
};

void TakeEntriesAway(const Options &options)
{
    ResetEntries();
    for (Entry *entry : AllEntries()) {
        bool needed = entry->name == std::string_view(entry::REALGetRBVersionName) ||
                      entry->name == std::string_view(entry::RegisterPluginVersionName);
        entry->missing = options.bare && !needed;
    }
    for (const std::string &name : options.without) {
        Entry *entry = FindEntry(name);
        if (entry == nullptr) throw std::invalid_argument("there is no entry " + name);
        entry->missing = true;
    }
}

const Declaration Parsed(const char *prototype)
{
    auto declaration = ParseDeclaration(prototype);
    if (!declaration) throw std::invalid_argument(std::string("this is no prototype: ") + prototype);
    return *declaration;
}

void *FindIn(const std::vector<Function> &functions, const Declaration &wanted)
{
    auto matches = [&](const Function &function) { return SamePrototype(function.declaration, wanted); };
    auto found = std::find_if(functions.begin(), functions.end(), matches);
    return found != functions.end() ? found->address : nullptr;
}

void *Existing(void *address, const char *prototype)
{
    if (address == nullptr) throw std::invalid_argument(std::string("there is no method ") + prototype);
    return address;
}

} // namespace

Host::Host(const Options &options) : version(options.version), inRuntime(options.inRuntime)
{
    std::signal(SIGPIPE, SIG_IGN);
    TakeEntriesAway(options);
    current = this;
    AddMemoryBlockClass(classes);
    AddExceptionClasses(classes);
    AddSocketClasses(classes);
    AddArrayClass(classes);
    for (REALmethodDefinition &method : framework) classes.AddFunction(method, true);
    for (const auto &[name, offset] : options.offsets) classes.offsets[name] = offset;
}

Host::~Host()
{
    current = nullptr;
}

std::string Host::Complaints() const
{
    std::string text;
    for (const std::string &leak : ledger.Leaks()) text += "still alive: " + leak + "\n";
    for (const std::string &error : ledger.Errors()) text += error + "\n";
    return text;
}

const Class &Host::ClassNamed(const std::string &name) const
{
    const Class *type = classes.Find(name);
    if (type == nullptr) throw std::invalid_argument("there is no class " + name);
    return *type;
}

const Property &Host::PropertyNamed(REALobjectStruct *object, const std::string &name) const
{
    const Class *type = ClassOf(object, "a property");
    const Property *property = type != nullptr ? FindProperty(*type, name) : nullptr;
    if (property == nullptr) throw std::invalid_argument("there is no property " + name);
    return *property;
}

void *Host::Method(REALobjectStruct *object, const char *prototype) const
{
    const Class *type = ClassOf(object, prototype);
    const Function *method = type != nullptr ? FindMethod(*type, Parsed(prototype)) : nullptr;
    return Existing(method != nullptr ? method->address : nullptr, prototype);
}

void *Host::SharedMethod(const std::string &className, const char *prototype) const
{
    return Existing(FindIn(ClassNamed(className).sharedMethods, Parsed(prototype)), prototype);
}

void *Host::GlobalFunction(const char *prototype) const
{
    Declaration wanted = Parsed(prototype);
    for (const Function *function : classes.AllFunctions()) {
        if (SamePrototype(function->declaration, wanted)) return function->address;
    }
    return Existing(nullptr, prototype);
}

} // namespace host
