// Compares the declaration of a member with the function that serves it, at compile time.
//
// A program sees declarations such as "Send(Data as Ptr, DataByteSize as Integer, Flags as Integer = 0) as Integer".
// Where one disagrees with its function, a `throw` is reached. The compiler can't evaluate it, and shows its text and
// the row.
#pragma once

#include "HostTypes.h"

#include <algorithm>
#include <string_view>
#include <type_traits>

namespace declaration {

// A declared type by its name; every class but MemoryBlock is kObject.
using Type = std::string_view;
inline constexpr Type kTypes[] = {"Integer", "Boolean", "UInt16", "UInt32", "String", "MemoryBlock", "Ptr"};
inline constexpr Type kObject = "object", kNone = "none", kUnknown = "unknown";

// The classes that declarations may name, besides MemoryBlock.
inline constexpr std::string_view kClasses[] = {"SocketCore", "UDPSocketVYN", "RAWSocketVYN", "DatagramVYN"};

constexpr char Lower(char character)
{
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

// Names and words of the language have no case.
constexpr bool IsSameWord(std::string_view a, std::string_view b)
{
    return std::ranges::equal(a, b, {}, Lower, Lower);
}

constexpr Type TypeOfName(std::string_view name)
{
    for (Type type : kTypes) {
        if (IsSameWord(type, name)) return type;
    }
    for (std::string_view className : kClasses) {
        if (IsSameWord(className, name)) return kObject;
    }
    throw "There is no type of that name; a class must be in kClasses.";
}

// The declared type of a C++ type. Arguments and results have different Booleans, which the callers know.
template <typename Value>
constexpr Type TypeOf()
{
    if (std::is_void_v<Value>) return kNone;
    if (std::is_same_v<Value, std::int64_t>) return "Integer";
    if (std::is_same_v<Value, std::uint32_t>) return "UInt32";
    if (std::is_same_v<Value, REALstringStruct *>) return "String";
    if (std::is_same_v<Value, REALmemoryBlockStruct *>) return "MemoryBlock";
    if (std::is_same_v<Value, REALobjectStruct *>) return kObject;
    if (std::is_same_v<Value, void *> || std::is_same_v<Value, const void *>) return "Ptr";
    return kUnknown;
}

template <typename Value>
constexpr Type TypeOfResult()
{
    if (std::is_same_v<Value, BooleanWord>) return "Boolean";
    return std::is_same_v<Value, UInt16Word> ? "UInt16" : TypeOf<Value>();
}

struct Parameter {
    Type type;
    bool byref = false;
};

template <typename Value>
constexpr Parameter ParameterOf()
{
    if (std::is_same_v<Value, HostBoolean>) return {"Boolean"};
    if (std::is_same_v<Value, std::uint16_t>) return {"UInt16"};
    if (TypeOf<Value>() != kUnknown) return {TypeOf<Value>()};
    return {TypeOf<std::remove_pointer_t<Value>>(), true};
}

// Reads a declaration from left to right.
class Reader {
  public:
    explicit constexpr Reader(std::string_view declaration) : rest(declaration) {}

    constexpr bool Skip(char character)
    {
        SkipBlanks();
        if (!rest.starts_with(character)) return false;
        rest.remove_prefix(1);
        return true;
    }
    constexpr bool SkipWord(std::string_view word)
    {
        Reader after = *this;
        if (!IsSameWord(after.Word(), word)) return false;
        *this = after;
        return true;
    }
    // The next name or word, or an empty text.
    constexpr std::string_view Word()
    {
        SkipBlanks();
        std::string_view word(rest.begin(), std::ranges::find_if_not(rest, IsPartOfName));
        rest.remove_prefix(word.size());
        return word;
    }
    constexpr Type AsType()
    {
        if (!SkipWord("as")) throw "A name is followed by \"as\" and its type.";
        return TypeOfName(Word());
    }
    constexpr void SkipDefault()
    {
        if (!Skip('=')) return;
        SkipBlanks();
        rest.remove_prefix(rest.find_first_of(",)"));
    }
    constexpr bool AtEnd()
    {
        SkipBlanks();
        return rest.empty();
    }

  private:
    static constexpr bool IsPartOfName(char c)
    {
        return (Lower(c) >= 'a' && Lower(c) <= 'z') || (c >= '0' && c <= '9') || c == '_';
    }
    constexpr void SkipBlanks() { rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size())); }

    std::string_view rest;
};

// Reads the next parameter and compares it with the function's parameter at that place.
constexpr void CompareParameter(Reader &reader, [[maybe_unused]] int place, Parameter taken)
{
    bool extends = reader.SkipWord("extends");
    bool assigns = !extends && reader.SkipWord("assigns");
    bool byref = !extends && !assigns && reader.SkipWord("byref");
    if (reader.Word().empty()) throw "The function takes a parameter that the declaration does not have.";
    Type type = reader.AsType();
    reader.SkipDefault();
    bool last = !reader.Skip(',');
    if (extends && (place != 1 || type != kObject)) throw "\"extends\" belongs to the first parameter, an object.";
    if (assigns && !last) throw "\"assigns\" belongs to the last parameter.";
    if (byref != taken.byref) throw "One of them has the parameter byref, the other has not.";
    if (type != taken.type) throw "The function takes the parameter as another type than the declared one.";
}

template <typename Result, typename... Arguments>
constexpr void Compare(Reader reader)
{
    if (reader.Word().empty()) throw "A declaration begins with a name.";
    bool parenthesis = reader.Skip('(');
    [[maybe_unused]] int place = 0;
    (CompareParameter(reader, ++place, ParameterOf<Arguments>()), ...);
    if (parenthesis && !reader.Skip(')')) throw "The declaration has more parameters than the function, or no \")\".";
    Type result = reader.AtEnd() ? kNone : reader.AsType();
    if (!reader.AtEnd()) throw "There is something after the end of the declaration.";
    if (result != TypeOfResult<Result>()) throw "The function has another result than the declared one.";
}

// The type of a member's function. A method gets its object before the declared parameters.
template <typename Function>
struct Shape;
template <typename Result, typename... Arguments>
struct Shape<Result (*)(Arguments...)> {
    static consteval void CompareShared(const char *declaration) { Compare<Result, Arguments...>(Reader(declaration)); }
    static consteval void CompareMethod(const char *) { throw "The function does not take the object first."; }
};
template <typename Result, typename... Arguments>
struct Shape<Result (*)(REALobjectStruct *, Arguments...)> {
    static consteval void CompareShared(const char *declaration)
    {
        Compare<Result, REALobjectStruct *, Arguments...>(Reader(declaration));
    }
    static consteval void CompareMethod(const char *declaration) { Compare<Result, Arguments...>(Reader(declaration)); }
};

// Compare the declared type of a property with those of its field and its accessors.
template <typename Value>
constexpr void CompareType(const char *type)
{
    if (TypeOfName(type) != ParameterOf<Value>().type || ParameterOf<Value>().byref)
        throw "The setter, or the field, has another type than the declared one.";
}
template <typename Value>
constexpr void CompareSetter(void (*)(REALobjectStruct *, long, Value), const char *type)
{
    CompareType<Value>(type);
}
template <typename Value>
constexpr void CompareGetter(Value (*)(REALobjectStruct *, long), const char *type)
{
    if (TypeOfName(type) != TypeOfResult<Value>()) throw "The getter has another type than the declared one.";
}

} // namespace declaration
