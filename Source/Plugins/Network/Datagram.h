// DatagramVYN: one datagram as programs see it, with the peer it came from or goes to.
#pragma once

#include "Source/SDK/GlueCode/HostRecords.h"

// The instance data. Every handle that is not null carries one reference of this object's own.
struct DatagramRecord {
    REALstringStruct *Address;         // the peer's address as text
    REALstringStruct *Data;            // the payload
    std::int64_t Port;                 // the peer's port, 0 to 65535
    std::int64_t Length;               // payload bytes
    REALmemoryBlockStruct *rawAddress; // the peer's socket address as recvfrom filled it
};

static_assert(sizeof(DatagramRecord) == 0x28);
static_assert(offsetof(DatagramRecord, Data) == 8 && offsetof(DatagramRecord, Port) == 16);
static_assert(offsetof(DatagramRecord, Length) == 24 && offsetof(DatagramRecord, rawAddress) == 32);

extern REALclassDefinition DatagramClass;

// The instance data of a datagram, which must not be null.
DatagramRecord &GetDatagramRecord(REALobjectStruct *datagram);

// A new datagram with one reference for the caller, who keeps the references on the values given; null
// when the host can't make one.
REALobjectStruct *NewDatagramVYN(REALstringStruct *address, std::int64_t port, REALstringStruct *data,
                                 std::int64_t length, REALmemoryBlockStruct *rawAddress);
