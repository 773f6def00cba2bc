// Address texts are read as the system reads them, and written so that they are read back.
#include "Fuzz.h"
#include "Libs/shared/Socket/SocketUtil.h"

#include <arpa/inet.h>
#include <cstring>
#include <strings.h>

static void ExpectSameAs(int family, const char *text, const void *address, std::size_t size)
{
    unsigned char system[16];
    Expect(inet_pton(family, text, system) == 1 && std::memcmp(system, address, size) == 0, "read as inet_pton does");
}

void Fuzz(Input &input)
{
    int port = input.ConsumeIntegral<unsigned short>();
    int family = input.ConsumeBool() ? AF_INET6 : AF_INET;
    std::string text = input.ConsumeRemainingBytesAsString().c_str();
    Expect(text_to_ipv4(text.c_str()) == inet_addr(text.c_str()), "read as inet_addr does");

    sockaddr_union record;
    if (ParseSocketAddress(family, record, text.c_str(), port) != 0) return;
    Expect(GetSocketAddressPort(record) == port, "the port is kept");
    bool v6 = record.any.sa_family == AF_INET6;
    const void *address = v6 ? static_cast<const void *>(&record.v6.sin6_addr) : &record.v4.sin_addr;
    if (strcasecmp(text.c_str(), "localhost") != 0)
        ExpectSameAs(record.any.sa_family, text.c_str(), address, v6 ? 16 : 4);
    sockaddr_union again;
    Expect(ParseSocketAddress(family, again, sockaddr_to_text(&record.any).c_str(), port) == 0,
           "what is written reads");
    Expect(sockaddr_to_text(&again.any) == sockaddr_to_text(&record.any), "and reads the same");
}
