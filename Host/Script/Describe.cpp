#include "Host/Script/Describe.h"

#include <algorithm>
#include <span>
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

std::vector<const Class *> ClassesThenModules()
{
    std::vector<const Class *> all;
    for (const Class &type : Host::Current().classes.All())
        all.push_back(&type);
    std::stable_partition(all.begin(), all.end(), [](const Class *type) { return !type->isModule; });
    return all;
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

std::vector<MemberLine> AllMembersOf(const Class &type)
{
    Lines lines;
    for (const Class *level = &type; level != nullptr; level = level->super) {
        auto own = MembersOf(*level);
        lines.insert(lines.end(), own.begin(), own.end());
        for (const Function *function : Host::Current().classes.AllFunctions()) {
            if (SameName(function->extends, level->name)) Add(lines, "Extensions", std::span(function, 1));
        }
    }
    std::erase_if(lines, [](const MemberLine &line) { return line.name.starts_with("Operator_"); });
    return lines;
}

std::string Describe(std::string_view name)
{
    std::string text;
    for (const Class *type : ClassesThenModules()) {
        bool isMeant = name.empty() ? !type->isOwn : SameName(type->name, name);
        if (isMeant) {
            text += (text.empty() ? "" : "\n") + WithMembers(*type);
        } else if (!name.empty()) {
            text += DeclarationsOf(*type, name);
        }
    }
    if (text.empty()) throw std::invalid_argument("nothing is registered under the name " + std::string(name));
    return text;
}

} // namespace host
