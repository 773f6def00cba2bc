// The values that cross the boundary between host and library.
//
// Every handle is opaque: the host owns and counts it, the library only passes it back. A null
// handle is a valid value everywhere and means nil (for a string: the empty string).
#pragma once

#include <cstdint>

struct REALobjectStruct;      // an instance of a host class or of a class of this library
struct REALstringStruct;      // bytes with an encoding code
struct RuntimeText;           // a Unicode text value
struct REALmemoryBlockStruct; // a MemoryBlock, which is an object too
struct REALfolderItemStruct;
struct REALclassRefStruct; // a class, for creating instances and for type tests
struct REALgraphicsStruct;
struct REALpictureStruct;
struct REALpictureDescription;
struct REALcontrolInstanceStruct;
struct REALwindowStruct;
struct REALdbCursorStruct;
struct REALdbDatabaseStruct;
struct _REALdate;
struct _REALdateTime;
struct _REALdictionary;

// A MemoryBlock is an object: its handle may be locked, unlocked and asked like one.
inline REALobjectStruct *AsObject(REALmemoryBlockStruct *block)
{
    return reinterpret_cast<REALobjectStruct *>(block);
}
inline REALmemoryBlockStruct *AsMemoryBlock(REALobjectStruct *object)
{
    return reinterpret_cast<REALmemoryBlockStruct *>(object);
}

// How the values of a declaration travel. An Integer is a std::int64_t, which is long here. A UInt16 or UInt32 argument
// is a std::uint16_t or std::uint32_t. A String, a MemoryBlock or an object of any other class is its handle. A Ptr is
// an untyped pointer. A byref parameter is the address of an 8-byte variable. The rest has types of its own:

// A Boolean argument: one byte of the register counts, any non-zero value is true.
using HostBoolean = signed char;

// Boolean and UInt16 results fill the register, for callers that look at all of it.
enum BooleanWord : long {};
enum UInt16Word : unsigned long {};

// Encoding codes of host strings.
enum HostEncoding : unsigned int {
    kEncodingMacRoman = 0x0000,
    kEncodingUTF16 = 0x0100,
    kEncodingLatin1 = 0x0201,
    kEncodingWindows = 0x0500,
    kEncodingASCII = 0x0600,
    kEncodingUTF8 = 0x08000100,
    kEncodingUTF32 = 0x0C000100,
    kEncodingNone = 0xFFFF, // no declared encoding
};

// What "PluginGetStringData" fills in and "PluginDisposeStringData" gives back. The library reads
// the first two fields; the rest is the host's.
struct REALstringData {
    const void *data;
    std::int64_t length; // in bytes
    std::uint32_t encoding;
    void *reserved[5];
};

// What "PluginGetTextData" answers; only the first field is read here.
struct REALtextData {
    const char *characters;
};
