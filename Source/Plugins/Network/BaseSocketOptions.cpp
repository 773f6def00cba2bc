#include "SocketOptions.h"

#include "Source/Utility/rbDebug.h"
#include "Source/Utility/rbText.h"
#include "Source/Utility/rbUtil.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

long ReadOption(REALobjectStruct *object, const SocketOption &option)
{
    const OptionLabels &labels = option.getter;
    if (labels.entry != nullptr) TRACE(labels.entry);
    SocketRecord *socket = BeginOperation(object);
    if (socket == nullptr) return 0;

    int value = option.initialValue;
    socklen_t length = sizeof value;
    if (labels.number != nullptr) {
        TRACE(labels.number, option.number);
        TRACE("len", length);
    }
    int result = getsockopt(Descriptor(*socket), option.level, option.number, &value, &length);
    int error = ErrorOf(result);
    if (labels.call != nullptr) TRACE(labels.call, result);
    bool succeeded = FinishOperation(*socket, error, labels.failure);
    if (labels.value != nullptr) TRACE(labels.value, value);
    if (!succeeded) return option.failureResult;
    return option.type == OptionType::kBoolean ? (value & 0xFF) != 0 : value;
}

void WriteOption(REALobjectStruct *object, const SocketOption &option, long value)
{
    const OptionLabels &labels = option.setter;
    auto word = option.type == OptionType::kBoolean ? static_cast<int>(value != 0) : static_cast<int>(value);
    if (labels.entry != nullptr) TRACE(labels.entry, option.type == OptionType::kBoolean ? word : value);
    SocketRecord *socket = BeginOperation(object);
    if (socket == nullptr) return;

    if (labels.number != nullptr) TRACE(labels.number, option.number);
    int result = setsockopt(Descriptor(*socket), option.level, option.number, &word, sizeof word);
    int error = ErrorOf(result);
    if (labels.call != nullptr) TRACE(labels.call, result);
    FinishOperation(*socket, error, labels.failure);
}

REALstringStruct *getMulticastInterface(REALobjectStruct *object, long)
{
    TRACE("getMulticastInterface");
    SocketRecord *socket = BeginOperation(object);
    if (socket == nullptr) return nullptr;

    in_addr address = {};
    socklen_t length = sizeof address;
    int result = getsockopt(Descriptor(*socket), IPPROTO_IP, IP_MULTICAST_IF, &address, &length);
    FinishOperation(*socket, ErrorOf(result), "Failed with errno");
    return CString2RB(inet_ntoa(address), kEncodingASCII);
}

void setMulticastInterface(REALobjectStruct *object, long, REALstringStruct *text)
{
    TRACE("setMulticastInterface", text);
    SocketRecord *socket = BeginOperation(object);
    if (socket == nullptr) return;

    in_addr address = {}; // any interface
    if (text != nullptr) {
        rbText name(text);
        TRACE("interface", name.GetASCII());
        address.s_addr = text_to_ipv4(name.GetASCII());
    } else {
        TRACE("any interface");
    }
    int result = setsockopt(Descriptor(*socket), IPPROTO_IP, IP_MULTICAST_IF, &address, sizeof address);
    int error = ErrorOf(result);
    TRACE("setsockopt", result);
    FinishOperation(*socket, error, "Failed with error");
}
