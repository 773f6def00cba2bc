#include "Host/Runtime/Classes.h"

#include "Host/Runtime/Host.h"

#include <algorithm>
#include <utility>

namespace host {
namespace {

constexpr std::size_t usualOffset = 48;
constexpr std::size_t blockAlignment = 16;

std::string TextOf(const char *text)
{
    return text != nullptr ? text : "";
}

// The members of a list; none where the array is missing.
template <typename Member>
std::span<Member> Members(Member *array, std::uint64_t count)
{
    return {array, array != nullptr ? count : 0};
}

bool IsStandard(std::intptr_t accessor)
{
    return accessor == kStandardAccessor;
}

// A standard accessor stays within the instance block; without a block there is none.
bool Fits(const Class *owner, const REALproperty &property, const Type &type)
{
    if (!IsStandard(property.getter.word) && !IsStandard(property.setter.word)) return true;
    auto offset = static_cast<std::int32_t>(property.parameter);
    return owner != nullptr && offset >= 0 && static_cast<std::size_t>(offset) + WidthOf(type.kind) <= owner->dataSize;
}

// Looks in the class first, then in its superclasses.
template <typename Search>
auto InChain(const Class &type, Search search) -> decltype(search(type))
{
    for (const Class *level = &type; level != nullptr; level = level->super) {
        if (auto found = search(*level)) return found;
    }
    return nullptr;
}

template <typename Members, typename Matches>
auto FirstOf(const Members &members, Matches matches) -> const typename Members::value_type *
{
    auto found = std::find_if(members.begin(), members.end(), matches);
    return found != members.end() ? &*found : nullptr;
}

} // namespace

bool Property::Hidden() const
{
    auto attributes = Members(record->attributes, record->attributeCount);
    auto hides = [](const REALattribute &attribute) { return SameName(TextOf(attribute.name), "Hidden"); };
    return std::any_of(attributes.begin(), attributes.end(), hides);
}

bool Class::IsA(const Class &other) const
{
    return InChain(*this, [&](const Class &level) { return &level == &other ? &level : nullptr; }) != nullptr;
}

void Classes::Finding(const std::string &subject, const char *fault)
{
    findings.push_back(subject + ": " + fault);
}

Class &Classes::AddClass(REALclassDefinition &definition, bool isOwn)
{
    const Class *super = definition.superName != nullptr ? Find(definition.superName) : nullptr;
    Class &type = classes.emplace_back();
    type.name = TextOf(definition.name);
    type.super = super;
    type.definition = &definition;
    type.dataSize = definition.dataSize;
    type.isOwn = isOwn;
    if (definition.superName != nullptr && super == nullptr) Finding(type.name, "its superclass is not known");
    if (auto chosen = offsets.find(type.name); chosen != offsets.end()) {
        type.offset = chosen->second;
    } else if (type.super != nullptr) {
        auto end = type.super->offset + type.super->dataSize;
        type.offset = (end + blockAlignment - 1) / blockAlignment * blockAlignment;
    } else {
        type.offset = usualOffset;
    }
    type.isMemoryBlock = SameName(type.name, "MemoryBlock") || (type.super != nullptr && type.super->isMemoryBlock);
    definition.forSystemUse = static_cast<std::int64_t>(type.offset);

    AddFunctions(type.methods, Members(definition.methods, definition.methodCount));
    AddFunctions(type.sharedMethods, Members(definition.sharedMethods, definition.sharedMethodCount));
    AddProperties(type.properties, &type, Members(definition.properties, definition.propertyCount));
    AddProperties(type.sharedProperties, nullptr, Members(definition.sharedProperties, definition.sharedPropertyCount));
    AddEvents(type, Members(definition.events, definition.eventCount));
    AddConstants(type.constants, Members(definition.constants, definition.constantCount));
    auto isDestructor = [](const Function &method) { return SameName(method.declaration.name, "Destructor"); };
    if (auto destructor = FirstOf(type.methods, isDestructor)) type.destructor = destructor->address;
    return type;
}

void Classes::AddModule(REALmoduleDefinition &definition)
{
    Module &module = modules.emplace_back();
    module.name = TextOf(definition.name);
    AddFunctions(module.functions, Members(definition.methods, definition.methodCount));
    AddProperties(module.properties, nullptr, Members(definition.properties, definition.propertyCount));
    AddConstants(module.constants, Members(definition.constants, definition.constantCount));
}

void Classes::AddFunction(REALmethodDefinition &method, bool isOwn)
{
    AddFunctions(functions, {&method, 1});
    if (isOwn) ownFunctions = functions.size();
}

void Classes::AddFunctions(std::vector<Function> &to, std::span<REALmethodDefinition> methods)
{
    for (REALmethodDefinition &method : methods)
        AddFunction(to, method.declaration, method.function);
}

void Classes::AddFunction(std::vector<Function> &to, const char *declaration, void *address)
{
    auto parsed = ParseDeclaration(TextOf(declaration));
    if (parsed && address != nullptr) {
        to.push_back({std::move(*parsed), address});
    } else {
        Finding(TextOf(declaration), "no method can be made of it");
    }
}

void Classes::AddProperties(std::vector<Property> &to, const Class *owner, std::span<REALproperty> properties)
{
    for (const REALproperty &property : properties) {
        Type type = ParseType(TextOf(property.type));
        if (property.name != nullptr && property.getter.word != 0 && Fits(owner, property, type)) {
            to.push_back({owner, property.name, std::move(type), &property});
        } else {
            Finding(TextOf(property.name), "no property can be made of it");
        }
    }
}

void Classes::AddEvents(Class &type, std::span<REALevent> events)
{
    std::size_t number = 0;
    for (const Class *level = type.super; level != nullptr; level = level->super)
        number += level->events.size();
    for (REALevent &record : events) {
        auto parsed = ParseDeclaration(TextOf(record.declaration));
        if (!parsed) {
            Finding(TextOf(record.declaration), "no event can be made of it");
            continue;
        }
        Event &event = type.events.emplace_back(Event{parsed->name, number++, {}});
        event.step.token = &event;
        record.token = sdkVersion == 9 ? static_cast<void *>(&event.step) : &event;
    }
}

void Classes::AddConstants(std::vector<Constant> &to, std::span<REALconstant> constants)
{
    for (const REALconstant &record : constants) {
        std::string text = TextOf(record.declaration);
        auto equals = text.find(" = ");
        if (equals != std::string::npos) {
            to.push_back({text.substr(0, equals), text.substr(equals + 3)});
        } else {
            Finding(text, "no constant can be made of it");
        }
    }
}

const Class *Classes::Find(std::string_view name) const
{
    for (auto type = classes.rbegin(); type != classes.rend(); ++type) {
        if (SameName(type->name, name)) return &*type;
    }
    return nullptr;
}

bool Classes::Owns(const Class *type) const
{
    return std::any_of(classes.begin(), classes.end(), [&](const Class &owned) { return &owned == type; });
}

std::span<const Function> Classes::PluginFunctions() const
{
    return std::span(functions).subspan(ownFunctions);
}

std::vector<const Function *> Classes::AllFunctions() const
{
    std::vector<const Function *> all;
    for (const Module &module : modules) {
        for (const Function &function : module.functions)
            all.push_back(&function);
    }
    for (const Function &function : functions)
        all.push_back(&function);
    return all;
}

const Function *Classes::FindFunction(const Declaration &prototype) const
{
    for (const Function *function : AllFunctions()) {
        if (SamePrototype(function->declaration, prototype)) return function;
    }
    return nullptr;
}

const Function *FindMethod(const Class &type, const Declaration &prototype)
{
    auto matches = [&](const Function &method) { return SamePrototype(method.declaration, prototype); };
    return InChain(type, [&](const Class &level) { return FirstOf(level.methods, matches); });
}

const Function *FindMethod(const Class &type, std::string_view name)
{
    auto matches = [&](const Function &method) { return SameName(method.declaration.name, name); };
    return InChain(type, [&](const Class &level) { return FirstOf(level.methods, matches); });
}

const Property *FindProperty(const Class &type, std::string_view name)
{
    auto matches = [&](const Property &property) { return SameName(property.name, name); };
    return InChain(type, [&](const Class &level) { return FirstOf(level.properties, matches); });
}

const Event *FindEvent(const Class &type, std::string_view name)
{
    auto matches = [&](const Event &event) { return SameName(event.name, name); };
    return InChain(type, [&](const Class &level) { return FirstOf(level.events, matches); });
}

// --- entries -----------------------------------------------------------------------------------------------

double entry::REALGetRBVersion()
{
    return Host::Current().version;
}

void entry::RegisterPluginVersion(int sdkVersion)
{
    Host::Current().classes.sdkVersion = sdkVersion;
}

void *entry::REALRegisterClass(REALclassDefinition *definition)
{
    return &Host::Current().classes.AddClass(*definition, false);
}

void *entry::REALRegisterModule(REALmoduleDefinition *definition)
{
    Host::Current().classes.AddModule(*definition);
    return definition;
}

void *entry::REALRegisterMethod(REALmethodDefinition *definition)
{
    Host::Current().classes.AddFunction(*definition, false);
    return definition;
}

} // namespace host
