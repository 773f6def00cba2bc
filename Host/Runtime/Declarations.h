// Declarations in the program's language, read once at registration.
//
// "SendMessage(Data as string, IP as String, Port as Integer) as Integer" becomes a name, parameters and
// a result type. Type names and prototypes compare without regard to case; a name that is no known type
// is the name of a class.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <strings.h>
#include <vector>

namespace host {

// A value of any type as it is passed: a number, a handle, or a Boolean, of which the low byte counts.
using Word = std::int64_t;

enum class TypeKind { None, Boolean, Integer, UInt16, UInt32, String, Ptr, Object };

struct Type {
    TypeKind kind = TypeKind::None;
    std::string name{}; // as it was written
};

struct Parameter {
    std::string name;
    Type type;
    bool byref = false;     // takes no argument and gives one more result
    bool omittable = false; // by a declared default, or as an object after a byref parameter
    bool counts = false;    // by convention, the bytes that the pointer before it points to
    Word defaultWord = 0;   // nil is 0
    std::string defaultText{};
};

struct Declaration {
    std::string text;
    std::string name;
    std::string extends;               // the class whose objects get the method; that parameter is not listed
    std::vector<Parameter> parameters; // the assigned value is the last one
    bool assigns = false;
    Type result;
};

// Nothing when the text is no declaration.
std::optional<Declaration> ParseDeclaration(std::string_view text);

Type ParseType(std::string_view name);

// In bytes, of a field.
std::size_t WidthOf(TypeKind kind);

// The same name, parameter types and result type.
bool SamePrototype(const Declaration &first, const Declaration &second);

inline bool SameName(std::string_view first, std::string_view second)
{
    return first.size() == second.size() && strncasecmp(first.data(), second.data(), first.size()) == 0;
}

} // namespace host
