#include "Host/Runtime/Declarations.h"

#include <algorithm>
#include <cstdlib>

namespace host {
namespace {

constexpr struct KnownType {
    const char *name;
    TypeKind kind;
    std::size_t width; // in bytes, of a field
} knownTypes[] = {
    {"Boolean", TypeKind::Boolean, 1}, {"Integer", TypeKind::Integer, 8}, {"UInt16", TypeKind::UInt16, 2},
    {"UInt32", TypeKind::UInt32, 4},   {"String", TypeKind::String, 8},   {"Ptr", TypeKind::Ptr, 8},
};

bool IsWordCharacter(char character)
{
    auto byte = static_cast<unsigned char>(character);
    return byte >= 0x80 || byte == '_' || byte == '.' || (byte >= '0' && byte <= '9') ||
           ((byte | 0x20) >= 'a' && (byte | 0x20) <= 'z');
}

// Hands out words, quoted texts and single other characters; an empty token at the end.
class Scanner {
  public:
    explicit Scanner(std::string_view source) : rest(source) { Advance(); }

    std::string_view Token() const { return token; }

    std::string_view Take()
    {
        auto taken = token;
        Advance();
        return taken;
    }

    bool Accept(std::string_view expected)
    {
        bool found = SameName(token, expected);
        if (found) Advance();
        return found;
    }

    bool AtWord() const { return !token.empty() && IsWordCharacter(token[0]); }

  private:
    void Advance()
    {
        rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
        token = rest.substr(0, TokenLength());
        rest.remove_prefix(token.size());
    }

    std::size_t TokenLength() const
    {
        if (rest.empty()) return 0;
        if (rest[0] == '"') return std::min(rest.find('"', 1), rest.size() - 1) + 1;
        if (rest[0] == '-') return 1 + WordLength(rest.substr(1));
        return std::max<std::size_t>(WordLength(rest), 1);
    }

    static std::size_t WordLength(std::string_view text)
    {
        auto end = std::find_if_not(text.begin(), text.end(), IsWordCharacter);
        return static_cast<std::size_t>(end - text.begin());
    }

    std::string_view rest;
    std::string_view token;
};

bool ReadType(Scanner &scanner, Type &type)
{
    if (!scanner.AtWord()) return false;
    type = ParseType(scanner.Take());
    return true;
}

void SetDefault(Parameter &parameter, std::string_view text)
{
    parameter.omittable = true;
    if (text.starts_with('"')) {
        parameter.defaultText = text.substr(1, text.size() - 2);
    } else {
        parameter.defaultWord = SameName(text, "true") ? 1 : std::strtol(std::string(text).c_str(), nullptr, 0);
    }
}

bool ReadParameter(Scanner &scanner, Declaration &declaration)
{
    bool byref = scanner.Accept("byref");
    bool extends = scanner.Accept("extends");
    bool assigns = scanner.Accept("assigns");
    if (!scanner.AtWord()) return false;

    Parameter parameter{std::string(scanner.Take()), {}, byref};
    if (!scanner.Accept("as") || !ReadType(scanner, parameter.type)) return false;
    const auto &before = declaration.parameters;
    TypeKind kind = parameter.type.kind;
    parameter.omittable = kind == TypeKind::Object && std::ranges::any_of(before, &Parameter::byref);
    parameter.counts = kind == TypeKind::Integer && !before.empty() && before.back().type.kind == TypeKind::Ptr;
    if (scanner.Accept("=")) SetDefault(parameter, scanner.Take());

    declaration.assigns |= assigns;
    if (extends) {
        declaration.extends = parameter.type.name;
    } else {
        declaration.parameters.push_back(std::move(parameter));
    }
    return true;
}

bool ReadParameters(Scanner &scanner, Declaration &declaration)
{
    while (!scanner.Accept(")")) {
        if (!ReadParameter(scanner, declaration)) return false;
        // A comma before the closing parenthesis is taken too.
        if (!scanner.Accept(",") && scanner.Token() != ")") return false;
    }
    return true;
}

bool SameType(const Type &first, const Type &second)
{
    return first.kind == second.kind && (first.kind != TypeKind::Object || SameName(first.name, second.name));
}

} // namespace

std::optional<Declaration> ParseDeclaration(std::string_view text)
{
    Scanner scanner(text);
    if (!scanner.AtWord()) return {};

    Declaration declaration;
    declaration.text = text;
    declaration.name = scanner.Take();
    if (scanner.Accept("(") && !ReadParameters(scanner, declaration)) return {};
    if (scanner.Accept("as") && !ReadType(scanner, declaration.result)) return {};
    if (!scanner.Token().empty()) return {};
    return declaration;
}

Type ParseType(std::string_view name)
{
    for (const auto &known : knownTypes) {
        if (SameName(name, known.name)) return {known.kind, std::string(name)};
    }
    return {TypeKind::Object, std::string(name)};
}

std::size_t WidthOf(TypeKind kind)
{
    auto known = std::ranges::find(knownTypes, kind, &KnownType::kind);
    return known != std::end(knownTypes) ? known->width : sizeof(Word);
}

bool SamePrototype(const Declaration &first, const Declaration &second)
{
    auto same = [](const Parameter &one, const Parameter &other) {
        return SameType(one.type, other.type) && one.byref == other.byref;
    };
    return SameName(first.name, second.name) && SameType(first.result, second.result) &&
           std::ranges::equal(first.parameters, second.parameters, same);
}

} // namespace host
