// Threads of a program that send and look names up at the same time, while the main thread polls. The stand-in host has
// one thread; this one keeps no account, and its values are never released.
#include "Source/Plugins/Network/BaseSocket.h"
#include "Tests/Unit/OnHost.h"

#include <atomic>
#include <cstring>
#include <sys/socket.h>
#include <thread>

namespace {

// Strings are pointers to text, and objects are the records themselves.
void StartPlainHost()
{
    FakeHost::Start();
    FakeHost::Provide("REALLockString", [](REALstringStruct *) {});
    FakeHost::Provide("REALUnlockString", [](REALstringStruct *) {});
    FakeHost::Provide("REALGetStringEncoding", [](REALstringStruct *) -> unsigned int { return kEncodingUTF8; });
    FakeHost::Provide("StringGetCString", [](REALstringStruct *text) { return reinterpret_cast<const char *>(text); });
    FakeHost::Provide("REALLoadGlobalMethod", [](void *, const char *) -> void * {
        return reinterpret_cast<void *>(
            +[](REALstringStruct *text) { return static_cast<long>(std::strlen(reinterpret_cast<char *>(text))); });
    });
    FakeHost::Provide("PluginRegisterClass", [](REALclassDefinition *definition) -> void * {
        definition->forSystemUse = 0;
        return nullptr;
    });
    REALPluginMain(FakeHost::Resolve);
}

REALstringStruct *Plain(const char *text)
{
    return reinterpret_cast<REALstringStruct *>(const_cast<char *>(text));
}

// A socket of the library's own on a free loopback port.
struct Peer {
    Peer() : record()
    {
        record.AddressFamily = AF_INET;
        ReplaceDescriptor(record, OwnedDescriptor(socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0)));
        Bind(Object(), 0, Plain("127.0.0.1"));
    }
    ~Peer() { Destructor(Object()); }
    REALobjectStruct *Object() { return reinterpret_cast<REALobjectStruct *>(&record); }
    SocketRecord record;
};

} // namespace

TEST(Threads, SendByNameAtTheSameTimeAndReachTheirOwnPeers)
{
    StartPlainHost();
    constexpr int kSends = 200;
    Peer senders[2], receivers[2], polled;
    std::atomic<int> running = 2;
    std::thread threads[2];
    for (int i = 0; i < 2; i++) {
        long port = GetLocalPort(receivers[i].Object(), 0);
        threads[i] = std::thread([&, i, port] {
            char buffer[2];
            int received = 0;
            for (int sent = 0; sent < kSends; sent++) {
                EXPECT_EQ(SendMessageS(senders[i].Object(), Plain(i == 0 ? "0" : "1"), Plain("localhost"), port), 1);
                while (recv(static_cast<int>(receivers[i].record.Handle), buffer, 1, MSG_DONTWAIT) == 1)
                    received += buffer[0] == '0' + i;
            }
            EXPECT_EQ(received, kSends);
            running--;
        });
    }
    while (running > 0)
        Poll(polled.Object());
    for (std::thread &thread : threads)
        thread.join();
}
