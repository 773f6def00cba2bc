// Properties: through their accessors, or straight from the instance block where a property is a plain field.
#pragma once

#include "Host/Runtime/Classes.h"

namespace host {

using Word = std::int64_t; // a property's value: a number, a Boolean as 0 or 1, or a handle

// Nothing to be released for numbers; a string or an object that is read carries a reference, one that is
// written is borrowed. Exceptions that an accessor raises stay pending. The object is null for a shared property.
Word ReadProperty(REALobjectStruct *object, const Property &property);
void WriteProperty(REALobjectStruct *object, const Property &property, Word value);

// Change the references of what the word is a handle of; nothing happens for other types.
void LockWord(TypeKind kind, Word word);
void ReleaseWord(TypeKind kind, Word word);

} // namespace host
