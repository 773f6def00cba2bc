#include "Host/Script/Describe.h"

#include <stdexcept>

namespace host {
namespace {

using Lines = std::vector<MemberLine>;

template <typename Items>
void Add(Lines &lines, const char *section, const Items &items)
{
    for (const auto &item : items)
        lines.push_back({section, item.name, item.text});
}

std::string HeadingOf(const Class &type)
{
    if (type.name.empty()) return "Functions outside of modules\n";
    if (type.isModule) return "Module " + type.name + "\n";
    return "Class " + type.name + (type.super != nullptr ? ", a " + type.super->name : "") + "\n";
}

std::string WithMembers(const Class &type)
{
    std::string text = HeadingOf(type);
    const char *section = "";
    for (const MemberLine &member : MembersOf(type)) {
        if (section != std::string_view(member.section)) text += std::string("  ") + member.section + "\n";
        section = member.section;
        text += "    " + member.text + "\n";
    }
    return text;
}

// The declarations of the members that are meant by "Owner.Member", or by the name alone in a module.
std::string DeclarationsOf(const Class &owner, std::string_view name)
{
    std::string text;
    for (const MemberLine &member : MembersOf(owner)) {
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
    Add(lines, type.isModule ? "Functions" : "Shared methods", type.sharedMethods);
    Add(lines, type.isModule ? "Properties" : "Shared properties", type.sharedProperties);
    return lines;
}

std::string Describe(std::string_view name)
{
    std::string text;
    auto add = [&](const Class &type) {
        bool isMeant = name.empty() ? !type.isOwn : SameName(type.name, name);
        text += isMeant ? (text.empty() ? "" : "\n") + WithMembers(type) : DeclarationsOf(type, name);
    };
    for (bool wantsModules : {false, true}) {
        for (const Class &type : Host::Current().classes.All())
            if (type.isModule == wantsModules) add(type);
    }
    if (text.empty()) throw std::invalid_argument("nothing is registered under the name " + std::string(name));
    return text;
}

} // namespace host
