#include "Host/Script/Describe.h"

#include <algorithm>

namespace host {
namespace {

using Lines = std::vector<MemberLine>;

using Line = std::pair<std::string, std::string>; // name and declaration

Line LineOf(const Function &function)
{
    return {function.declaration.name, function.declaration.text};
}

Line LineOf(const Property &property)
{
    std::string remark = property.ReadOnly() ? "read-only" : "";
    if (property.Hidden()) remark += remark.empty() ? "hidden" : ", hidden";
    return {property.name, property.name + " As " + property.type.name + (remark.empty() ? "" : " (" + remark + ")")};
}

Line LineOf(const Event &event)
{
    return {event.name, event.name};
}

Line LineOf(const Constant &constant)
{
    return {constant.name, constant.name + " = " + constant.text};
}

template <typename Items>
void Add(Lines &lines, const char *section, const Items &items)
{
    for (const auto &item : items) {
        auto [name, text] = LineOf(item);
        lines.push_back({section, name, text});
    }
}

struct Owner {
    std::string heading, name;
    Lines members;
};

std::string Headed(const Owner &owner)
{
    std::string text = owner.heading + "\n";
    const char *section = "";
    for (const MemberLine &member : owner.members) {
        if (section != std::string_view(member.section)) text += std::string("  ") + member.section + "\n";
        section = member.section;
        text += "    " + member.text + "\n";
    }
    return text;
}

std::vector<Owner> Owners(const Host &host, bool ofHostToo)
{
    std::vector<Owner> owners;
    for (const Class &type : host.classes.All()) {
        if (type.isOwn && !ofHostToo) continue;
        std::string super = type.super != nullptr ? ", a " + type.super->name : "";
        owners.push_back({"Class " + type.name + super, type.name, MembersOf(type)});
    }
    for (const Module &module : host.classes.Modules())
        owners.push_back({"Module " + module.name, module.name, MembersOf(module)});
    Owner single{"Functions outside of modules", "", {}};
    Add(single.members, "Functions", host.classes.PluginFunctions());
    if (!single.members.empty()) owners.push_back(std::move(single));
    return owners;
}

// The declarations of the members that are meant by "Owner.Member", or by the name alone in a module.
std::string DeclarationsOf(const Owner &owner, std::string_view name)
{
    std::string text;
    for (const MemberLine &member : owner.members) {
        bool isGlobal = std::string_view(member.section) == "Functions" && SameName(member.name, name);
        if (isGlobal || SameName(owner.name + "." + member.name, name)) text += member.text + "\n";
    }
    return text;
}

} // namespace

std::vector<MemberLine> MembersOf(const Class &type)
{
    Lines lines;
    Add(lines, "Properties", type.properties);
    Add(lines, "Methods", type.methods);
    Add(lines, "Events", type.events);
    Add(lines, "Constants", type.constants);
    Add(lines, "Shared properties", type.sharedProperties);
    Add(lines, "Shared methods", type.sharedMethods);
    return lines;
}

std::vector<MemberLine> MembersOf(const Module &module)
{
    Lines lines;
    Add(lines, "Functions", module.functions);
    Add(lines, "Properties", module.properties);
    Add(lines, "Constants", module.constants);
    return lines;
}

std::vector<MemberLine> AllMembersOf(const Host &host, const Class &type)
{
    Lines lines;
    for (const Class *level = &type; level != nullptr; level = level->super) {
        auto own = MembersOf(*level);
        lines.insert(lines.end(), own.begin(), own.end());
        for (const Function *function : host.classes.AllFunctions()) {
            const Declaration &declaration = function->declaration;
            if (!SameName(declaration.extends, level->name)) continue;
            lines.push_back({"Extensions", declaration.name, declaration.text});
        }
    }
    std::erase_if(lines, [](const MemberLine &line) { return line.name.starts_with("Operator_"); });
    return lines;
}

std::string Describe(const Host &host, std::string_view name)
{
    std::string text;
    for (const Owner &owner : Owners(host, !name.empty())) {
        if (name.empty() || SameName(owner.name, name)) {
            text += (text.empty() ? "" : "\n") + Headed(owner);
        } else {
            text += DeclarationsOf(owner, name);
        }
    }
    if (text.empty()) throw std::invalid_argument("nothing is registered under the name " + std::string(name));
    return text;
}

} // namespace host
