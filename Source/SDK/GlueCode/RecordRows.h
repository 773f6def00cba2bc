// The rows of member tables. The declaration comes first, for it is the documentation. A row does not compile unless
// its function, accessors or field have the declared types.
//
// The host gets the functions of these rows as they are. The library's tables use the rows of GuardedRows.h, but for
// Poll, which passes on what handlers throw and is no std::exception.
#pragma once

#include "DeclarationCheck.h"
#include "HostRecords.h"

#include <cstddef>

// The rows of methods, and of shared methods and global functions. They have types of their own, so that one in the
// wrong table does not build.
struct MethodRow : REALmethodDefinition {};
struct SharedMethodRow : REALmethodDefinition {};

// The function of a method gets the object first and then the declared parameters. That of a shared method, or a global
// function, gets the parameters alone. Both rows are initialisers: if a function made the record, GCC would fill the
// table when the library is loaded.
#define UNGUARDED_METHOD(text, function) RECORD_OF_METHOD(MethodRow, CompareMethod, text, function)
#define UNGUARDED_SHARED_METHOD(text, function) RECORD_OF_METHOD(SharedMethodRow, CompareShared, text, function)
#define RECORD_OF_METHOD(row, compare, text, function)                                                                 \
    row                                                                                                                \
    {                                                                                                                  \
        {                                                                                                              \
            reinterpret_cast<void *>(function), nullptr, text,                                                         \
                (declaration::Shape<std::decay_t<decltype(function)>>::compare(text), kMethodFlags), 0, nullptr        \
        }                                                                                                              \
    }

// A property that the host reads and writes in the instance data itself.
#define FIELD(name, type, record, field) FieldOf<decltype(record::field)>(name, type, offsetof(record, field))

// A property that functions read and write; without a setter it is read-only.
template <auto get, auto set = nullptr>
consteval REALproperty UnguardedProperty(const char *name, const char *type)
{
    declaration::CompareGetter(get, type);
    REALproperty property = {.name = name, .type = type, .flags = kPropertyFlags, .getter = get};
    if constexpr (set != nullptr) {
        declaration::CompareSetter(set, type);
        property.setter = set;
    }
    return property;
}

template <typename Value>
consteval REALproperty FieldOf(const char *name, const char *type, std::size_t offset)
{
    declaration::CompareType<Value>(type);
    return {.name = name,
            .type = type,
            .flags = kPropertyFlags,
            .getter = kStandardAccessor,
            .setter = kStandardAccessor,
            .parameter = static_cast<std::intptr_t>(offset)};
}

constexpr REALevent Event(const char *declaration)
{
    return {declaration, nullptr, 0, nullptr};
}

constexpr REALconstant Constant(const char *declaration)
{
    return {declaration, nullptr, nullptr, 0, nullptr};
}
