#include "Host/Script/Help.h"

#include "Host/Script/Describe.h"
#include "Host/Script/Members.h"

#include <algorithm>
#include <set>

namespace host {
namespace {

// --- the reference -----------------------------------------------------------------------------------------

// "UDPSocketVYN.Bind" of "### UDPSocketVYN.Bind", "UDPSocketVYN" of "## Class UDPSocketVYN".
std::string_view NameInHeading(std::string_view line)
{
    if (!line.starts_with("##")) return {};
    return line.substr(line.rfind(' ') + 1);
}

// A name without a dot is meant for a class, a module or a function of a module.
bool IsMeant(std::string_view heading, std::string_view name)
{
    if (SameName(heading, name)) return true;
    auto dot = heading.find('.');
    auto owns = [&](const Class &type) { return type.isModule && type.name == heading.substr(0, dot); };
    return dot != heading.npos && SameName(heading.substr(dot + 1), name) &&
           std::ranges::any_of(Host::Current().classes.All(), owns);
}

// The line without the marks of the page: the addresses of links, and what makes letters bold.
std::string PlainText(std::string_view line)
{
    std::string text;
    while (!line.empty()) {
        if (line.starts_with("](")) line.remove_prefix(std::min(line.find(')'), line.size() - 1) + 1);
        if (line.starts_with("**")) line.remove_prefix(2);
        if (line.empty()) break;
        if (line[0] != '[' || line.find("](") == line.npos) text += line[0];
        line.remove_prefix(1);
    }
    return text;
}

// The words under the headings that the name means; empty when there are none.
std::string WordsOf(std::string_view name)
{
    std::string words;
    bool isMeant = false, wasEmpty = true;
    for (std::string_view page = referencePage; !page.empty();) {
        auto end = std::min(page.find('\n'), page.size() - 1);
        auto line = page.substr(0, end);
        page.remove_prefix(end + 1);
        auto heading = NameInHeading(line);
        if (!heading.empty()) isMeant = IsMeant(heading, name);
        if (!isMeant || line == "```" || (line.empty() && wasEmpty)) continue;
        wasEmpty = line.empty();
        words += (heading.empty() ? PlainText(line) : std::string(heading)) + "\n";
    }
    return words;
}

std::string Overview()
{
    std::string text = "Classes:";
    for (const Class &type : Host::Current().classes.All()) {
        if (!type.isOwn && !type.isModule) text += " " + type.name;
    }
    text += "\nFunctions:";
    for (const Function *function : Host::Current().classes.AllFunctions()) {
        if (function->extends.empty()) text += " " + function->name;
    }
    return text + "\n\n"
                  "help(UDPSocketVYN)              what a class is for, and its members\n"
                  "help(\"UDPSocketVYN.Bind\")       what a member does\n"
                  "socket = UDPSocketVYN()         a new object; socket:Bind(5000) a call\n"
                  "function socket:DataAvailable() print(self:Read().Data) end\n"
                  "                                a handler; host.onError takes what fails in one\n"
                  "host.run(seconds)               lets the host deliver events\n";
}

// --- names of values -----------------------------------------------------------------------------------------

// The class or module of a table, or of an object; null for any other value.
const Class *ClassOfValue(lua_State *state, int index)
{
    if (const Proxy *proxy = ToProxy(state, index)) return proxy->type;
    if (!lua_istable(state, index) || !lua_getmetatable(state, index)) return nullptr;
    PushField(state, classField);
    auto owner = static_cast<const Class *>(lua_touserdata(state, -1));
    lua_pop(state, 2);
    return owner;
}

std::string NameFor(lua_State *state)
{
    if (lua_type(state, 1) == LUA_TSTRING) return lua_tostring(state, 1);
    if (const Class *type = ClassOfValue(state, 1)) return type->name;
    const Member *method = MethodOf(state, 1);
    std::string name = method != nullptr ? method->name : "";
    return name.starts_with("global.") ? name.substr(name.find('.') + 1) : name;
}

int ShowHelp(lua_State *state)
{
    std::string name = lua_isnoneornil(state, 1) ? "" : NameFor(state);
    std::string text = lua_isnoneornil(state, 1) ? Overview() : WordsOf(name);
    if (text.empty()) throw Mistake("the reference has nothing on " + (name.empty() ? NameOfValue(state, 1) : name));
    std::fwrite(text.data(), 1, text.size(), stdout);
    return 0;
}

// --- completion ----------------------------------------------------------------------------------------------

bool IsPartOfName(char character)
{
    return std::isalnum(static_cast<unsigned char>(character)) || character == '_';
}

std::string_view LastName(std::string_view text)
{
    auto start = std::find_if_not(text.rbegin(), text.rend(), IsPartOfName);
    return text.substr(static_cast<std::size_t>(text.rend() - start));
}

// Pushes the value at the path of names, which may be nil, without running any code of the program.
void PushValueOf(lua_State *state, std::string_view path)
{
    auto name = LastName(path);
    path.remove_suffix(name.size());
    if (path.ends_with('.')) {
        path.remove_suffix(1);
        PushValueOf(state, path);
    } else {
        lua_pushglobaltable(state);
    }
    if (lua_istable(state, -1)) {
        PushField(state, name);
    } else {
        lua_pushnil(state);
    }
    lua_remove(state, -2);
}

// The names that the value on top of the stack has, by their beginning.
void AddNames(lua_State *state, std::string_view beginning, bool methodsOnly, std::set<std::string> &names)
{
    auto add = [&](std::string_view name) {
        if (name.starts_with(beginning) && !name.starts_with("Operator_")) names.emplace(name);
    };
    for (const Class *type = ClassOfValue(state, -1); type != nullptr; type = type->super) {
        for (const MemberLine &line : MembersOf(*type)) {
            if (line.section == std::string_view("Methods") || !methodsOnly) add(line.name);
        }
        for (const Function *function : Host::Current().classes.AllFunctions()) {
            if (SameName(function->extends, type->name)) add(function->name);
        }
    }
    if (!lua_istable(state, -1)) return;
    for (lua_pushnil(state); lua_next(state, -2) != 0; lua_pop(state, 1)) {
        if (lua_type(state, -2) == LUA_TSTRING) add(lua_tostring(state, -2));
    }
}

} // namespace

std::vector<std::string> Completions(lua_State *state, std::string_view line)
{
    auto beginning = LastName(line);
    line.remove_suffix(beginning.size());
    bool isMember = line.ends_with('.') || line.ends_with(':');
    bool methodsOnly = line.ends_with(':');
    if (isMember) {
        line.remove_suffix(1);
        PushValueOf(state, line);
    } else {
        lua_pushglobaltable(state);
    }
    std::set<std::string> names;
    AddNames(state, beginning, methodsOnly, names);
    lua_pop(state, 1);
    return {names.begin(), names.end()};
}

void OpenHelp(lua_State *state)
{
    lua_pushcfunction(state, LuaFunction<ShowHelp>);
    lua_setglobal(state, "help");
}

} // namespace host
