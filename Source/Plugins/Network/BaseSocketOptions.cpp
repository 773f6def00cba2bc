#include "SocketOptions.h"

#include "Source/Utility/rbDebug.h"
#include "Source/Utility/rbText.h"
#include "Source/Utility/rbUtil.h"

#include <arpa/inet.h>

// Whether the option has that line in the log, and the log is on.
static bool Traces(const SocketOption &option, OptionLines line)
{
    return gDebugging && (option.lines & line) != 0;
}

long ReadOption(REALobjectStruct *object, const SocketOption &option)
{
    if (!Traces(option, kNoLine)) TRACE(option.getterName);
    SocketRecord *socket = BeginOperation(object);
    if (socket == nullptr) return 0;

    int value = option.initialValue;
    socklen_t length = sizeof value;
    if (Traces(option, kNumberLine)) {
        LogMessage(option.numberName, option.number);
        LogMessage("len", length);
    }
    int result = getsockopt(Descriptor(*socket), option.level, option.number, &value, &length);
    int error = ErrorOf(result);
    if (Traces(option, kGetLine)) LogMessage("getsockopt", result);
    bool succeeded = FinishOperation(*socket, error, option.errorLabel);
    if (Traces(option, kValueLine)) LogMessage("result", value);
    if (!succeeded) return option.failureResult;
    return option.type == OptionType::kBoolean ? (value & 0xFF) != 0 : value;
}

void WriteOption(REALobjectStruct *object, const SocketOption &option, long value)
{
    auto word = option.type == OptionType::kBoolean ? static_cast<int>(value != 0) : static_cast<int>(value);
    if (!Traces(option, kNoLine)) TRACE(option.setterName, option.type == OptionType::kBoolean ? word : value);
    SocketRecord *socket = BeginOperation(object);
    if (socket == nullptr) return;

    if (Traces(option, kNumberLine)) LogMessage(option.numberName, option.number);
    int result = setsockopt(Descriptor(*socket), option.level, option.number, &word, sizeof word);
    int error = ErrorOf(result);
    if (Traces(option, kSetLine)) LogMessage("setsockopt", result);
    FinishOperation(*socket, error, (option.lines & kNoSetError) == 0 ? option.errorLabel : nullptr);
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
