// Host strings: bytes with an encoding code, a count of references, and four zero bytes after the end.
//
// The empty string is the null handle; a string that exists has at least one byte. Texts are the same with
// UTF-8 inside.
#pragma once

#include "Source/SDK/GlueCode/HostTypes.h"

#include <string_view>

namespace host {

// One reference for the caller; null for no bytes or no memory.
REALstringStruct *NewString(std::string_view bytes, unsigned int encoding = kEncodingUTF8);
RuntimeText *NewText(std::string_view utf8);

void Release(REALstringStruct *string);
void Release(RuntimeText *text);

// The bytes stay the string's; none for nil.
std::string_view BytesOf(REALstringStruct *string);

// The code; that of UTF-8 for nil.
unsigned int EncodingOf(REALstringStruct *string);

bool IsUTF8(std::string_view bytes);

} // namespace host
