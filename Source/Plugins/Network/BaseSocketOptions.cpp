#include "SocketOptions.h"

#include "Source/Utility/rbDebug.h"
#include "Source/Utility/rbText.h"
#include "Source/Utility/rbUtil.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace {

// What an accessor writes to the debug log; null: no line.
struct Labels {
    const char *entry = nullptr;
    const char *number = nullptr;
    const char *call = nullptr;
    const char *value = nullptr;
    const char *failure = nullptr;
};

struct SocketOption {
    int level;
    int number;
    int initialValue;  // what the value is before it is read
    int failureResult; // what the getter answers when the call fails
    Labels getter;
    Labels setter;
};

struct OptionAnswer {
    int value = 0;
    bool succeeded = false;
};

OptionAnswer ReadOption(REALobjectStruct *object, const SocketOption &option)
{
    const Labels &labels = option.getter;
    if (labels.entry != nullptr) TRACE(labels.entry);
    SocketRecord *socket = BeginOperation(object);
    if (socket == nullptr) return {};

    OptionAnswer answer;
    answer.value = option.initialValue;
    socklen_t length = sizeof answer.value;
    if (labels.number != nullptr) {
        TRACE(labels.number, option.number);
        TRACE("len", length);
    }
    int result = getsockopt(Descriptor(*socket), option.level, option.number, &answer.value, &length);
    int error = ErrorOf(result);
    if (labels.call != nullptr) TRACE(labels.call, result);
    answer.succeeded = FinishOperation(*socket, error, labels.failure);
    if (labels.value != nullptr) TRACE(labels.value, answer.value);
    if (!answer.succeeded) answer.value = option.failureResult;
    return answer;
}

void WriteOption(REALobjectStruct *object, const SocketOption &option, long value)
{
    const Labels &labels = option.setter;
    if (labels.entry != nullptr) TRACE(labels.entry, value);
    SocketRecord *socket = BeginOperation(object);
    if (socket == nullptr) return;

    if (labels.number != nullptr) TRACE(labels.number, option.number);
    auto word = static_cast<int>(value);
    int result = setsockopt(Descriptor(*socket), option.level, option.number, &word, sizeof word);
    int error = ErrorOf(result);
    if (labels.call != nullptr) TRACE(labels.call, result);
    FinishOperation(*socket, error, labels.failure);
}

long GetInteger(REALobjectStruct *object, const SocketOption &option)
{
    return ReadOption(object, option).value;
}

// The result of a failed reading is passed on as it is.
BooleanWord GetBoolean(REALobjectStruct *object, const SocketOption &option)
{
    OptionAnswer answer = ReadOption(object, option);
    return answer.succeeded ? (answer.value & 0xFF) != 0 : answer.value;
}

void SetInteger(REALobjectStruct *object, const SocketOption &option, long value)
{
    WriteOption(object, option, value);
}

void SetBoolean(REALobjectStruct *object, const SocketOption &option, HostBoolean value)
{
    WriteOption(object, option, value != 0);
}

} // namespace

#define LABELS(...)                                                                                                    \
    {                                                                                                                  \
        __VA_ARGS__                                                                                                    \
    }
#define OPTION_GETTER(type, get, ...)                                                                                  \
    static constexpr SocketOption get##Option = {__VA_ARGS__};                                                         \
    type##Word get(REALobjectStruct *object, long)                                                                     \
    {                                                                                                                  \
        return Get##type(object, get##Option);                                                                         \
    }
#define READ_ONLY_SOCKET_OPTION(type, get, level, option, initialValue, failureResult, getterLabels)                   \
    OPTION_GETTER(type, get, level, option, initialValue, failureResult, getterLabels, {})
#define SOCKET_OPTION(type, get, set, level, option, initialValue, failureResult, getterLabels, setterLabels)          \
    OPTION_GETTER(type, get, level, option, initialValue, failureResult, getterLabels, setterLabels)                   \
    void set(REALobjectStruct *object, long, Host##type value)                                                         \
    {                                                                                                                  \
        Set##type(object, get##Option, value);                                                                         \
    }
#include "SocketOptions.inc"

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
