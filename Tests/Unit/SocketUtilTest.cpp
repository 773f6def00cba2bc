// Socket addresses and descriptor flags.
#include "Libs/shared/Socket/SocketUtil.h"
#include "Source/Utility/rbDebug.h"
#include "Tests/Unit/OnHost.h"

#include <arpa/inet.h>
#include <cstring>
#include <fcntl.h>
#include <memory>

namespace {

sockaddr_union Garbage()
{
    sockaddr_union record;
    std::memset(&record, 0xA5, sizeof record);
    return record;
}

int Option(int fd, int level, int option)
{
    int value = -1;
    socklen_t length = sizeof value;
    getsockopt(fd, level, option, &value, &length);
    return value;
}

} // namespace

TEST(SocketUtil, AnyAndLoopbackAreOfTheFamilyOrElseOfIPv4)
{
    for (int family : {AF_INET, AF_INET6, 7}) {
        bool isIPv6 = family == AF_INET6;
        sockaddr_union record = Garbage();
        SetAnySocketAddress(family, record, 5000);
        EXPECT_EQ(sockaddr_to_text(&record.any), isIPv6 ? "::" : "0.0.0.0");
        EXPECT_EQ(GetSocketAddressPort(record), 5000);
        record = Garbage();
        SetLoopbackSocketAddress(family, record, 70000);
        EXPECT_EQ(sockaddr_to_text(&record.any), isIPv6 ? "::1" : "127.0.0.1");
        EXPECT_EQ(GetSocketAddressPort(record), 4464);
        EXPECT_EQ(record.v6.sin6_scope_id, 0U); // the end of all that is to be cleared
    }
}

TEST(SocketUtil, TextIsParsedAsAddressOrLocalhostAndNothingElse)
{
    struct {
        int family;
        const char *text;
        int foundFamily, size; // 0: refused
        const char *address;
    } const rows[] = {
        {AF_INET, "192.168.1.5", AF_INET, 16, "192.168.1.5"},
        {AF_INET, "LocalHost", AF_INET, 16, "127.0.0.1"},
        {AF_INET, "::1", 0, 0, ""},
        {AF_INET, "example.org", 0, 0, ""},
        {AF_INET, "1.2.3", 0, 0, ""},
        {AF_INET, "", 0, 0, ""},
        {9, "10.0.0.1", AF_INET, 16, "10.0.0.1"},
        {AF_INET6, "fe80::1:2", AF_INET6, 28, "fe80::1:2"},
        {AF_INET6, "::ffff:1.2.3.4", AF_INET6, 28, "::ffff:1.2.3.4"},
        {AF_INET6, "192.168.1.5", AF_INET, 16, "192.168.1.5"},
        {AF_INET6, "localhost", AF_INET6, 28, "::1"},
        {AF_INET6, "1:2:3:4:5:6:7", 0, 0, ""},
        {AF_INET6, "example.org", 0, 0, ""},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.text);
        sockaddr_union record = Garbage();
        EXPECT_EQ(ParseSocketAddress(row.family, record, row.text, 70000), row.size == 0 ? 1 : 0);
        EXPECT_EQ(record.any.sa_family, row.foundFamily);
        EXPECT_EQ(GetSocketAddressSize(record), row.size);
        EXPECT_EQ(GetSocketAddressPort(record), row.size == 0 ? 0 : 4464);
        EXPECT_EQ(sockaddr_to_text(&record.any), row.address);
        EXPECT_EQ(record.v6.sin6_scope_id, 0U);
    }
}

TEST(SocketUtil, RecordsOfOtherFamiliesHaveNoPortNoSizeAndNoText)
{
    for (int family : {AF_UNSPEC, AF_UNIX, AF_NETLINK, AF_PACKET, 0xFFFF}) {
        sockaddr_union record = Garbage();
        record.any.sa_family = static_cast<sa_family_t>(family);
        EXPECT_EQ(GetSocketAddressPort(record), 0) << family;
        EXPECT_EQ(GetSocketAddressSize(record), 0) << family;
        EXPECT_EQ(sockaddr_to_text(&record.any), "") << family;
    }
    EXPECT_EQ(sockaddr_to_text(nullptr), "");
}

// The record lies in a block of just its size, for the sanitiser to see a read past the end.
TEST(SocketUtil, IPv4TextEqualsTheSystemsForEveryByteAtEveryPlace)
{
    auto address = std::make_unique<sockaddr_in>();
    address->sin_family = AF_INET;
    for (unsigned int i = 0; i < 1024; i++) {
        unsigned int place = i % 4 * 8;
        address->sin_addr.s_addr = (0x0A63C8FFu & ~(0xFFu << place)) | i / 4 << place;
        char text[INET6_ADDRSTRLEN];
        std::size_t length = sockaddr_to_text(reinterpret_cast<sockaddr *>(address.get()), text);
        ASSERT_STREQ(text, inet_ntoa(address->sin_addr));
        ASSERT_EQ(length, std::strlen(text));
    }
}

TEST(SocketUtil, FlagsAndOptionsChangeAlone)
{
    int file = open("/dev/null", O_WRONLY | O_APPEND);
    const int before = fcntl(file, F_GETFL);
    EXPECT_EQ(MarkNonBlocking(file), 0);
    EXPECT_EQ(fcntl(file, F_GETFL), before | O_NONBLOCK);
    EXPECT_EQ(MarkBlocking(file), 0);
    EXPECT_EQ(fcntl(file, F_GETFL), before);
    close(file);
    EXPECT_EQ(MarkNonBlocking(-1), -1);
    EXPECT_EQ(WSAGetLastError(), EBADF);
    EXPECT_EQ(MarkBlocking(-1), -1);
    gDebugging = true;
    EXPECT_EQ(CaptureLog([] { MarkIPv6andIPv4(-1), SetKeepAlive(-1); }),
              Lines({"VYN Debug: setsockopt with IPV6_V6ONLY 9", "VYN Debug: error message Bad file descriptor",
                     "VYN Debug: SetKeepAlive -1", "VYN Debug: setsockopt for keep alive 9"}));

    int tcp = socket(AF_INET, SOCK_STREAM, 0);
    SetKeepAlive(tcp);
    EXPECT_EQ(Option(tcp, SOL_SOCKET, SO_KEEPALIVE), 1);
    close(tcp);
    tcp = socket(AF_INET6, SOCK_STREAM, 0);
    if (tcp == -1) GTEST_SKIP() << "no IPv6 here: " << strerror(errno);
    int only = 1;
    setsockopt(tcp, IPPROTO_IPV6, IPV6_V6ONLY, &only, sizeof only);
    EXPECT_EQ(CaptureLog([&] { MarkIPv6andIPv4(tcp); }), Lines()); // no failure is told
    EXPECT_EQ(Option(tcp, IPPROTO_IPV6, IPV6_V6ONLY), 0);
    close(tcp);
}

TEST_F(OnHost, WideTextBecomesUTF8AndTheHostStringIsReleased)
{
    StartHost();
    EXPECT_EQ(ConvertWCharToUTF8(L"z\u00DF\u6C34\U0001F4A7"), "z\u00DF\u6C34\U0001F4A7");
    EXPECT_EQ(ConvertWCharToUTF8(L""), "");
}
