// Host strings from bytes, UTF-16 and UTF-32 texts.
//
// Every builder returns a new string with one reference for the caller. It returns null on failure and for a text
// without characters, since the empty string is the null string. Encodings are the host's codes.
#pragma once

#include "Source/SDK/GlueCode/HostTypes.h"

// Whether all bytes are below 0x80; true for no bytes.
bool IsASCII(const char *data, unsigned long count);

// From bytes in the given encoding, below 2^31 of them. A text in a byte encoding other than UTF-8 that
// is all 7-bit gets ASCII; UTF-16 and UTF-32 become UTF-8 on hosts that can convert.
REALstringStruct *REALBuildUnicodeString(const void *data, long byteCount, unsigned int encoding);
REALstringStruct *REALBuildUnicodeStringUTF16(const void *data, long byteCount);
REALstringStruct *REALBuildUnicodeStringUTF32(const unsigned int *data, long byteCount);

// From zero-terminated text in a byte encoding; null for a null text. The second takes at most
// `maximum` bytes, the third a text whose first byte is its length.
REALstringStruct *CString2RB(const char *text, unsigned int encoding);
REALstringStruct *CString2RBmax(const char *text, unsigned int encoding, unsigned long maximum);
REALstringStruct *PString2RB(const unsigned char *text, unsigned int encoding);

// From zero-terminated UTF-32 and UTF-16 text.
REALstringStruct *UnicodeCString2RB(const wchar_t *text);
REALstringStruct *UnicodeCString2RB(const unsigned short *text);
