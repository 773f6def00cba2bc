// The class-level methods: what a program needs to build packets of its own.
#include "RAWSocket.h"

#include "Checksum.h"

#include "Source/Utility/rbText.h"
#include "Source/Utility/rbUtil.h"

#include <arpa/inet.h>

std::int64_t AddressFamilyINet6()
{
    return AF_INET6;
}

UInt16Word CalcChecksum(const void *data, std::int64_t byteCount)
{
    // Only the low 32 bits count, but for the sign.
    bool hasBytes = data != nullptr && byteCount >= 0;
    return UInt16Word(csumb(data, hasBytes ? static_cast<std::int32_t>(byteCount) : 0));
}

UInt16Word xojo_htons(std::uint16_t value)
{
    return UInt16Word(htons(value));
}
UInt16Word xojo_ntohs(std::uint16_t value)
{
    return UInt16Word(ntohs(value));
}
std::uint32_t xojo_htonl(std::uint32_t value)
{
    return htonl(value);
}
std::uint32_t xojo_ntohl(std::uint32_t value)
{
    return ntohl(value);
}

std::uint32_t xojo_inet_addr(REALstringStruct *text)
{
    rbText address(text);
    return text_to_ipv4(address.GetUTF8());
}

REALstringStruct *xojo_inet_ntoa(std::uint32_t address)
{
    in_addr value = {address};
    return CString2RB(inet_ntoa(value), kEncodingASCII);
}
