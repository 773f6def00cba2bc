// Threads of a program that send and look names up at the same time, while the main thread polls. The stand-in host has
// one thread; the small one in C allows more, as long as no two use the same value.
#include "Examples/host.h"
#include "Source/Plugins/Network/BaseSocket.h"
#include "Source/SDK/GlueCode/HostOperations.h"
#include "Source/SDK/GlueCode/PluginMain.h"
#include "Source/Utility/rbUtil.h"

#include <atomic>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <thread>

namespace {

struct Text {
    explicit Text(const char *text) : handle(CString2RB(text, kEncodingUTF8)) {}
    ~Text() { REALUnlockString(handle); }
    Text(const Text &) = delete;
    REALstringStruct *handle;
};

// A socket on a free loopback port.
struct Peer {
    Peer() : object(REALnewInstance("UDPSocketVYN"))
    {
        reinterpret_cast<void (*)(REALobjectStruct *)>(host_method("UDPSocketVYN", "Constructor"))(object);
        Bind(object, 0, Text("127.0.0.1").handle);
    }
    ~Peer() { REALUnlockObject(object); }
    int FD() const { return Descriptor(GetSocketRecord(object)); }
    Peer(const Peer &) = delete;
    REALobjectStruct *object;
};

// What one thread uses. The values are made here, for the main thread makes them all.
struct Talk {
    explicit Talk(const char *letter) : data(letter), mark(*letter), port(GetLocalPort(receiver.object, 0)) {}
    void Run() const
    {
        constexpr int kSends = 200;
        char buffer[2];
        int received = 0;
        for (int sent = 0; sent < kSends; sent++) {
            EXPECT_EQ(SendMessageS(sender.object, data.handle, address.handle, port), 1);
            while (recv(receiver.FD(), buffer, 1, MSG_DONTWAIT) == 1)
                received += buffer[0] == mark;
        }
        EXPECT_EQ(received, kSends);
    }
    Text data, address{"localhost"};
    Peer sender, receiver;
    char mark;
    long port;
};

} // namespace

TEST(Threads, SendByNameAtTheSameTimeAndReachTheirOwnPeers)
{
    host_start();
    REALPluginMain(host_resolve);
    Talk talks[] = {Talk("0"), Talk("1")};
    Peer polled;
    std::atomic<int> running = 2;
    std::thread threads[2];
    for (int i = 0; i < 2; i++) {
        threads[i] = std::thread([&, i] {
            talks[i].Run();
            running--;
        });
    }
    while (running > 0)
        Poll(polled.object);
    for (std::thread &thread : threads)
        thread.join();
}
