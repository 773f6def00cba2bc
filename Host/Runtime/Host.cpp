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
using Length = Provided<LengthInBytes, lengthName>;

REALmethodDefinition framework[] = {
    METHOD("LenB(s as String) as Integer", Length::Call),
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

Declaration Parsed(const char *prototype)
{
    auto declaration = ParseDeclaration(prototype);
    if (!declaration) throw std::invalid_argument(std::string("this is no prototype: ") + prototype);
    return *declaration;
}

void *Existing(const Function *function, const char *prototype)
{
    if (function == nullptr) throw std::invalid_argument(std::string("there is no method ") + prototype);
    return function->address;
}

} // namespace

Host::Host(const Options &options) : version(options.version)
{
    if (options.ignoresBrokenPipes) std::signal(SIGPIPE, SIG_IGN);
    TakeEntriesAway(options);
    AddMemoryBlockClass(classes);
    AddExceptionClasses(classes);
    AddSocketClasses(classes);
    AddArrayClass(classes);
    for (REALmethodDefinition &method : framework)
        classes.AddFunction(method, true);
    for (const auto &[name, offset] : options.offsets) {
        if (offset < sizeof(Value))
            throw std::invalid_argument("the instance block of " + name + " lies in the header");
        classes.offsets[name] = offset;
    }
    current = this;
}

Host::~Host()
{
    current = nullptr;
}

std::string Host::Complaints() const
{
    std::string text;
    for (const std::string &leak : ledger.Leaks())
        text += "still alive: " + leak + "\n";
    for (const std::string &error : ledger.Errors())
        text += error + "\n";
    if (ledger.RestingIsTouched()) text += "a released value was written to\n";
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

void *Host::MethodAddress(REALobjectStruct *object, const char *prototype) const
{
    const Class *type = ClassOf(object, prototype);
    return Existing(type != nullptr ? FindMethod(*type, Parsed(prototype)) : nullptr, prototype);
}

void *Host::SharedMethodAddress(const std::string &className, const char *prototype) const
{
    Declaration wanted = Parsed(prototype);
    const auto &methods = ClassNamed(className).sharedMethods;
    auto matches = [&](const Function &method) { return SamePrototype(method.declaration, wanted); };
    auto found = std::find_if(methods.begin(), methods.end(), matches);
    return Existing(found != methods.end() ? &*found : nullptr, prototype);
}

void *Host::FunctionAddress(const char *prototype) const
{
    return Existing(classes.FindFunction(Parsed(prototype)), prototype);
}

} // namespace host
