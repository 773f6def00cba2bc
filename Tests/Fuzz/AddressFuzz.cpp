// Address texts are read as the system reads them, and written so that they are read back.
#include "Libs/shared/Socket/SocketUtil.h"

#undef NDEBUG // every build checks
#include <arpa/inet.h>
#include <cassert>
#include <cstring>
#include <fuzzer/FuzzedDataProvider.h>
#include <strings.h>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    FuzzedDataProvider input(data, size);
    int port = input.ConsumeIntegral<unsigned short>();
    int family = input.ConsumeBool() ? AF_INET6 : AF_INET;
    std::string text = input.ConsumeRemainingBytesAsString().c_str();
    assert(text_to_ipv4(text.c_str()) == inet_addr(text.c_str()));

    sockaddr_union record, again;
    if (ParseSocketAddress(family, record, text.c_str(), port) != 0) return 0;
    assert(GetSocketAddressPort(record) == port);
    bool v6 = record.any.sa_family == AF_INET6;
    const void *address = v6 ? static_cast<const void *>(&record.v6.sin6_addr) : &record.v4.sin_addr;
    if (strcasecmp(text.c_str(), "localhost") != 0) {
        unsigned char system[16];
        assert(inet_pton(record.any.sa_family, text.c_str(), system) == 1);
        assert(std::memcmp(system, address, v6 ? 16 : 4) == 0);
    }
    assert(ParseSocketAddress(family, again, sockaddr_to_text(&record.any).c_str(), port) == 0);
    assert(sockaddr_to_text(&again.any) == sockaddr_to_text(&record.any));
    return 0;
}
