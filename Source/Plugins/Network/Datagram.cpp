#include "Datagram.h"

#include "Source/Utility/GuardedRows.h"
#include "Source/Utility/rbData.h"

#include <iterator>
#include <utility>

static void DatagramDestructor(REALobjectStruct *object);

static constinit REALproperty properties[] = {
    FIELD("Address", "String", DatagramRecord, Address),
    FIELD("Data", "String", DatagramRecord, Data),
    FIELD("Port", "Integer", DatagramRecord, Port),
    FIELD("Length", "Integer", DatagramRecord, Length),
    FIELD("rawAddress", "MemoryBlock", DatagramRecord, rawAddress),
};

constinit REALclassDefinition DatagramClass = {
    .name = "DatagramVYN",
    .dataSize = sizeof(DatagramRecord),
    .destructor = Guard<DatagramDestructor>,
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
    rbFreeLater release(&datagram); // where the host throws
    DatagramRecord &record = GetDatagramRecord(datagram);
    record.Port = port;
    record.Length = length;
    record.rawAddress = AsMemoryBlock(Keep(AsObject(rawAddress)));
    record.Data = Keep(data);
    record.Address = Keep(address);
    return std::exchange(datagram, nullptr);
}

static void DatagramDestructor(REALobjectStruct *object)
{
    DatagramRecord &datagram = GetDatagramRecord(object);
    ReleaseKept(std::exchange(datagram.Address, nullptr));
    ReleaseKept(std::exchange(datagram.Data, nullptr));
    ReleaseKept(AsObject(std::exchange(datagram.rawAddress, nullptr)));
}
