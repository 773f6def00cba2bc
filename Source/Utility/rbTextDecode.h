// Conversions between the Unicode encodings, unit by unit, without any host.
//
// Input units are read where they lie, at any alignment; output buffers are the caller's.
#pragma once

// Decodes UTF-8 into UTF-16 (2-byte units) or UTF-32 (4-byte units). The output holds `count`
// units. U+FEFF and U+FFFE are left out. An illegal or cut sequence ends the decoding: its byte offset
// goes to `illegalOffset`, which is -1 when all was well. Result: the number of units written.
template <typename Unit>
long DecodeUTF8(const unsigned char *text, long count, Unit *out, long *illegalOffset);

// UTF-16 to UTF-32; `out` holds `count` units. A surrogate without its other half is dropped together with the unit
// that follows it. At the very end it is kept. Result: units written.
long DecodeUTF16(const unsigned short *text, long count, unsigned int *out);

// UTF-32 to UTF-16; `out` holds 2 * `count` units. Surrogates are dropped, what lies above
// U+10FFFF becomes U+FFFD. Result: units written.
long EncodeUTF16(const unsigned int *text, long count, unsigned short *out);
