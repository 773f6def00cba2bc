#include "Datagram.h"

#include "Source/SDK/GlueCode/HostOperations.h"
#include "Source/SDK/GlueCode/RecordRows.h"

#include <iterator>
#include <utility>

static void DatagramDestructor(REALobjectStruct *object);

// The host writes into the records when they are registered.
static constinit REALproperty properties[] = {
    Field("Address", "String", offsetof(DatagramRecord, Address)),
    Field("Data", "String", offsetof(DatagramRecord, Data)),
    Field("Port", "Integer", offsetof(DatagramRecord, Port)),
    Field("Length", "Integer", offsetof(DatagramRecord, Length)),
    Field("rawAddress", "MemoryBlock", offsetof(DatagramRecord, rawAddress)),
};

constinit REALclassDefinition DatagramClass = {
    .name = "DatagramVYN",
    .dataSize = sizeof(DatagramRecord),
    .destructor = DatagramDestructor,
    .properties = properties,
    .propertyCount = std::size(properties),
    .flags = kConsoleSafe,
};

DatagramRecord &GetDatagramRecord(REALobjectStruct *datagram)
{
    return *reinterpret_cast<DatagramRecord *>(reinterpret_cast<char *>(datagram) + DatagramClass.forSystemUse);
}

REALobjectStruct *NewDatagramVYN(REALstringStruct *address, std::int64_t port, REALstringStruct *data,
                                 std::int64_t length, REALmemoryBlockStruct *rawAddress)
{
    REALobjectStruct *datagram = REALnewInstance("DatagramVYN");
    if (datagram == nullptr) return nullptr;
    DatagramRecord &record = GetDatagramRecord(datagram);
    record = {.Address = address, .Data = data, .Port = port, .Length = length, .rawAddress = rawAddress};
    REALRetainObject(AsObject(rawAddress));
    REALRetainString(data);
    REALRetainString(address);
    return datagram;
}

static void DatagramDestructor(REALobjectStruct *object)
{
    DatagramRecord &datagram = GetDatagramRecord(object);
    REALReleaseString(std::exchange(datagram.Address, nullptr));
    REALReleaseString(std::exchange(datagram.Data, nullptr));
    REALReleaseObject(AsObject(std::exchange(datagram.rawAddress, nullptr)));
}
