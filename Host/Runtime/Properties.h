// Properties: through their accessors, or straight from the instance block where a property is a plain field.
#pragma once

#include "Host/Runtime/Classes.h"

#include <type_traits>

namespace host {

template <typename Value>
Word AsWord(Value value)
{
    if constexpr (std::is_null_pointer_v<Value>) {
        return 0;
    } else if constexpr (std::is_pointer_v<Value>) {
        return reinterpret_cast<Word>(value);
    } else {
        return static_cast<Word>(value);
    }
}

template <typename Value>
Value FromWord(Word word)
{
    if constexpr (std::is_pointer_v<Value>) {
        return reinterpret_cast<Value>(word);
    } else {
        return static_cast<Value>(word);
    }
}

// A string or an object that is read carries a reference; one that is written is borrowed. Exceptions that an accessor
// raises stay pending. The object is null for a shared property.
Word ReadProperty(REALobjectStruct *object, const Property &property);
void WriteProperty(REALobjectStruct *object, const Property &property, Word value);

// Change the references of the value whose handle the word is; do nothing for other types.
void LockWord(TypeKind kind, Word word);
void ReleaseWord(TypeKind kind, Word word);

} // namespace host
