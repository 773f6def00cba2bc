// For the rbclassutil files alone: the rule for arrays and their counts, written once, and the small
// steps that every front end takes.
#pragma once

#include "Source/SDK/GlueCode/HostRecords.h"
#include "rbDebug.h"

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>
#include <type_traits>

inline constexpr std::uint64_t kMaximum = 1000; // entries of a list, unless a row says otherwise
inline constexpr std::uint64_t kMaximumConstants = 4000;
inline constexpr std::uint64_t kNone = 0;              // the record may not have any
inline constexpr std::uint64_t kMaximumWalked = 10000; // a longer list is taken for a wild count

// Whether a count agrees with its array: both are missing, or both are there, with at most `limit` entries.
constexpr bool CountAgrees(const void *array, std::uint64_t count, std::uint64_t limit)
{
    return array == nullptr ? count == 0 : count != 0 && count <= limit;
}

// The format of a message, whose conversions are held against the values while compiling: %s for a text, %d for a
// number.
template <typename... Values>
struct Message {
    consteval Message(const char *text) : format(text)
    {
        std::string_view rest = text;
        for (char conversion : {(std::is_same_v<Values, int> ? 'd' : 's')...}) {
            rest.remove_prefix(std::min(rest.find('%'), rest.size()));
            if (rest.size() < 2 || rest[1] != conversion) throw "A conversion does not fit its value.";
            rest.remove_prefix(2);
        }
        if (rest.find('%') != std::string_view::npos) throw "There are more conversions than values.";
    }
    consteval Message(std::nullptr_t) : format(nullptr) {} // no message
    const char *format;
};

// Writes a finding. A record may lack each of its texts.
template <typename... Values>
[[gnu::noinline]] void Report(Message<std::type_identity_t<Values>...> message, Values... values)
{
    auto shown = [](auto value) {
        if constexpr (std::is_same_v<decltype(value), int>) {
            return value;
        } else {
            return value != nullptr ? value : "(null)";
        }
    };
    LogMessageX(message.format, shown(values)...);
}

// An array of a record with its count, and the message that takes the record's name and the count.
struct CountRow {
    const void *array;
    std::uint64_t count;
    std::uint64_t limit;
    Message<const char *, int> message;
};

// Reports every count that does not agree with its array.
inline void CheckCounts(const char *name, std::initializer_list<CountRow> rows)
{
    for (const CountRow &row : rows) {
        if (!CountAgrees(row.array, row.count, row.limit)) Report(row.message, name, static_cast<int>(row.count));
    }
}

// A value that has to be zero, or not to be, and the message that takes the record's name and the value.
inline void CheckThat(bool isGood, Message<const char *, int> message, const char *name, auto value)
{
    if (!isGood) Report(message, name, static_cast<int>(value));
}

// Whether plugin start has set the part name; reported under the name of the record when it has not.
inline bool HasPartName(const char *name)
{
    if (gpartname == nullptr) Report("Error: gpartname is nil!? %s", name);
    return gpartname != nullptr;
}

// Reports a version other than the one that records are written with. The message takes the record's name
// and both versions.
inline void CheckVersion(Message<const char *, int, int> message, const char *name, std::uint32_t version)
{
    if (version != kCurrentREALControlVersion)
        Report(message, name, static_cast<int>(version), static_cast<int>(kCurrentREALControlVersion));
}

// The members of a list; none of a list that is missing.
template <typename Member>
std::span<Member> Members(Member *members, std::uint64_t count)
{
    return members != nullptr ? std::span<Member>(members, count) : std::span<Member>();
}

// Hosts give instance data in multiples of 16 bytes.
constexpr std::uint64_t RoundDataSize(std::uint64_t size)
{
    return (size + 15) / 16 * 16;
}

// The member checks of a class or control, in their order.
void CheckMembers(const REALclassDefinition &definition);
