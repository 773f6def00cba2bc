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

// A standard accessor stays within the instance block; without a block there is none.
bool Fits(const Class *owner, const REALproperty &property, const Type &type)
{
    if (property.getter.word != kStandardAccessor && property.setter.word != kStandardAccessor) return true;
    auto offset = static_cast<std::int32_t>(property.parameter);
    return owner != nullptr && offset >= 0 && static_cast<std::size_t>(offset) + WidthOf(type.kind) <= owner->dataSize;
}

bool IsHidden(const REALproperty &property)
{
    auto hides = [](const REALattribute &attribute) { return SameName(TextOf(attribute.name), "Hidden"); };
    return std::ranges::any_of(Members(property.attributes, property.attributeCount), hides);
}

// What a declaration doesn't say, in parentheses. Flags are told unless they are usual.
std::string RemarkOn(std::uint32_t flags, std::initializer_list<std::uint32_t> usual, const char *others = "")
{
    char text[20] = "";
    if (std::ranges::count(usual, flags) == 0) std::snprintf(text, sizeof text, ", flags 0x%x", flags);
    std::string remarks = std::string(others) + text;
    return remarks.empty() ? "" : " (" + remarks.substr(2) + ")";
}

} // namespace

Class &Classes::AddClass(REALclassDefinition &definition)
{
    const Class *super = definition.superName != nullptr ? Find(definition.superName) : nullptr;
    Class &type = classes.emplace_back();
    type.name = TextOf(definition.name);
    type.super = super;
    type.definition = &definition;
    type.dataSize = definition.dataSize;
    type.remark = RemarkOn(definition.flags, {kConsoleSafe});
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
    auto found = std::ranges::find_if(type.methods, Named("Destructor"));
    if (found != type.methods.end()) type.destructor = reinterpret_cast<decltype(type.destructor)>(found->address);
    return type;
}

void Classes::AddOwnClasses(std::span<REALclassDefinition> definitions)
{
    for (REALclassDefinition &definition : definitions)
        AddClass(definition).isOwn = true;
}

void Classes::AddModule(REALmoduleDefinition &definition)
{
    Class &module = classes.emplace_back(Class{.name = TextOf(definition.name), .isModule = true});
    AddFunctions(module.sharedMethods, Members(definition.methods, definition.methodCount));
    AddProperties(module.sharedProperties, nullptr, Members(definition.properties, definition.propertyCount));
    AddConstants(module.constants, Members(definition.constants, definition.constantCount));
}

void Classes::AddFunction(REALmethodDefinition &method, bool isOwn)
{
    auto fits = [&](const Class &type) { return type.isModule && type.name.empty() && type.isOwn == isOwn; };
    auto module = std::ranges::find_if(classes, fits);
    if (module == classes.end()) module = classes.insert(module, Class{.isModule = true, .isOwn = isOwn});
    AddFunctions(module->sharedMethods, {&method, 1});
}

void Classes::AddFunctions(std::vector<Function> &to, std::span<REALmethodDefinition> methods)
{
    for (const REALmethodDefinition &method : methods) {
        auto declaration = ParseDeclaration(TextOf(method.declaration));
        if (declaration && method.function != nullptr && declaration->parameters.size() <= mostParameters) {
            declaration->text += RemarkOn(method.flags, {kMethodFlags, kMethodFlags | kScopeGlobal});
            to.push_back({std::move(*declaration), method.function});
        } else {
            Finding(TextOf(method.declaration), "no method can be made of it");
        }
    }
}

void Classes::AddProperties(std::vector<Property> &to, const Class *owner, std::span<REALproperty> properties)
{
    for (const REALproperty &property : properties) {
        Type type = ParseType(TextOf(property.type));
        if (property.name != nullptr && property.getter.word != 0 && Fits(owner, property, type)) {
            std::string others = property.setter.word == 0 ? ", read-only" : "";
            if (IsHidden(property)) others += ", hidden";
            std::string remark = RemarkOn(property.flags, {kPropertyFlags, kSharedPropertyFlags}, others.c_str());
            to.push_back(
                {property.name, property.name + (" As " + type.name) + remark, owner, std::move(type), &property});
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
        Event &event = type.events.emplace_back(Event{parsed->name, parsed->name, number++, {}});
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
            to.push_back({text.substr(0, equals), text, text.substr(equals + 3)});
        } else {
            Finding(text, "no constant can be made of it");
        }
    }
}

const Class *Classes::Find(std::string_view name) const
{
    for (auto type = classes.rbegin(); type != classes.rend(); ++type) {
        if (!type->isModule && SameName(type->name, name)) return &*type;
    }
    return nullptr;
}

bool Classes::Owns(const Class *type) const
{
    return std::ranges::any_of(classes, [&](const Class &owned) { return &owned == type; });
}

std::vector<const Function *> Classes::AllFunctions() const
{
    std::vector<const Function *> all;
    for (const Class &type : classes) {
        for (const Function &function : type.sharedMethods) {
            if (type.isModule) all.push_back(&function);
        }
    }
    return all;
}

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
    return &Host::Current().classes.AddClass(*definition);
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
