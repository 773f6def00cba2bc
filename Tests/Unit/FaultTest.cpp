// The scenario with one thing of the system failing: every allocation, every system call.
#include "Source/SDK/GlueCode/PluginMain.h"
#include "Tests/Unit/Faults.h"
#include "Tests/Unit/Scenario.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <netdb.h>
#include <sys/socket.h>
#include <utility>

namespace {

// Switches the log of the next hosts on or off: what it costs and calls changes nothing of what a program sees.
void UseLog(bool on)
{
    setenv("VYNDEBUG", on ? "1" : "", 1);
}

// The scenario in a host of its own, with something to fail before each step and something to look at after
// it. Answers what is wrong afterwards.
template <typename Before, typename After>
std::string RunScenario(Before before, After after)
{
    std::vector<int> open = scenario::OpenDescriptors();
    std::string wrong;
    host::Host host;
    host.Start(REALPluginMain);
    before();
    for (const scenario::Step &step : scenario::Steps())
        after(step, scenario::Run(step), wrong);
    faults::FailAllocation(0);
    faults::FailCall(0, 0);
    wrong += host.Complaints();
    if (scenario::OpenDescriptors() != open) wrong += "descriptors differ";
    return wrong;
}

// The same once more in the same process, with nothing failing.
std::string RunAgain()
{
    return RunScenario([] {},
                       [](const scenario::Step &step, const std::string &seen, std::string &wrong) {
                           if (seen != step.expected) wrong += std::string("afterwards ") + step.name + ": " + seen;
                       });
}

constexpr char kNoSuch[] = "there are not so many";

// Whether an emulator runs this, where a process takes its time: it sees a sample.
bool Emulated()
{
    return std::getenv("VYN_EMULATED") != nullptr;
}

// Fails the first, the second and so on in a process each, until there are not so many. Result: how many failed.
template <typename Run>
long Sweep(Run run)
{
    for (long nth = 1, failed = 1;; nth += Emulated() ? 5 : 1, failed++) {
        std::string said = scenario::InChild([&] { return run(nth); });
        if (said == kNoSuch) return failed - 1;
        EXPECT_EQ(said, "") << "number " << nth;
        if (testing::Test::HasFailure()) return failed;
    }
}

// Calls whose failure a program does not see, by design: polls try again, and what is only looked at is looked
// at again.
bool ShowsToPrograms(const std::string &call, const std::string &step)
{
    return call != "select" && step != "events" && step != "events of a raw socket" && step != "events by task";
}

} // namespace

TEST(Faults, EveryAllocationFailingInTurn)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizers have allocators of their own";
#endif
    // A resolver that gets no memory for its first look-up keeps its lock for ever (glibc 2.36).
    gethostbyname("localhost");
    for (bool andAllLater : {false, true}) {
        UseLog(!andAllLater);
        long count = Sweep([&](long nth) -> std::string {
            bool failed = false;
            std::string wrong = RunScenario([&] { faults::FailAllocation(nth, andAllLater); },
                                            [&](auto &&...) { failed = failed || faults::AllocationFailed(); });
            return failed ? wrong + RunAgain() : kNoSuch;
        });
        EXPECT_GT(count, 100);
        std::printf("allocations failed%s: %ld\n", andAllLater ? ", and all later ones" : "", count);
    }
}

TEST(Faults, EverySystemCallFailingInTurn)
{
    long total = 0;
    std::vector<int> errors = {ENOBUFS, EINTR, EAGAIN, EMFILE, ENOMEM, ECONNREFUSED, EHOSTUNREACH, EPERM, EINVAL};
    if (Emulated()) errors.resize(3);
    bool logged = false;
    for (int error : errors) {
        UseLog(logged = !logged);
        total += Sweep([&](long nth) -> std::string {
            bool failed = false;
            std::string place;
            std::string wrong =
                RunScenario([&] { faults::FailCall(nth, error); },
                            [&](const scenario::Step &step, const std::string &seen, std::string &said) {
                                const char *call = faults::FailedCall();
                                if (call == nullptr || failed) return;
                                failed = true;
                                place = std::string(call) + " in " + step.name;
                                if (!ShowsToPrograms(call, step.name) || seen == step.expected) return;
                                // The error stands in Lasterror, or in the message.
                                std::string number = std::to_string(error);
                                bool told = seen.find("(" + number + ")") != std::string::npos ||
                                            seen.find("error " + number + ":") != std::string::npos ||
                                            seen.find("Exception: ") != std::string::npos;
                                if (!told) said += std::string(call) + " in " + step.name + " gave " + seen + "\n";
                            });
            if (!failed) return kNoSuch;
            wrong += RunAgain();
            return wrong.empty() ? wrong : place + ": " + wrong;
        });
        if (HasFailure()) break;
    }
    EXPECT_GT(total, 50);
    std::printf("system calls failed: %ld\n", total);
}

TEST(Faults, ARawSocketThatCannotBeMadeSaysWhy)
{
    host::Host host;
    host.Start(REALPluginMain);
    const std::pair<int, const char *> rows[] = {
        {EPROTOTYPE, "The socket type is not supported by the protocol."},
        {EOPNOTSUPP, "Operation not supported on socket."},
        {EAFNOSUPPORT, "The specified address family is not supported."},
        {ENOBUFS, "Insufficient buffer space is available.  The socket cannot be created until sufficient resources "
                  "are freed."},
        {EPROTONOSUPPORT, "The protocol type or the specified protocol is not supported within this domain."},
        {EACCES, "Permission to create a socket of the specified type and/or protocol is denied."},
        {ENFILE, "The system file table is full."},
        {EMFILE, "The per-process descriptor table is full."},
        {ENOMEM, "Insufficient memory was available to fulfill the request."},
        {EPERM, "Failed to create socket!"},
    };
    for (auto [error, message] : rows) {
        faults::FailCall(1, error);
        try {
            host::Owned made(host.New("RAWSocketVYN", AF_INET, SOCK_STREAM, 0));
            ADD_FAILURE() << "made in spite of " << error;
        } catch (const host::Exception &exception) {
            EXPECT_EQ(exception.Text(), std::string("UnsupportedOperationException: ") + message);
        }
    }
    EXPECT_EQ(host.Complaints(), "");
}

// Empty for the query, and there for the receive: the datagram waits for the next Read, whole.
TEST(Faults, ADatagramBetweenQueryAndReceiveIsNeitherLostNorCut)
{
    host::Host host;
    host.Start(REALPluginMain);
    {
        static host::Owned<REALobjectStruct> socket;
        socket = host::Owned(host.New("UDPSocketVYN"));
        static host::Owned<REALstringStruct> text(host::NewString("127.0.0.1"));
        host.Call<void>(socket.Get(), "Bind(Port as Integer, IP as String)", 0, text.Get());
        faults::afterQuery = [] {
            host::Host::Current().Call<long>(
                socket.Get(), "SendMessage(Data as String, IP as String, Port as Integer) as Integer", text.Get(),
                text.Get(), host::Host::Current().Get<long>(socket.Get(), "LocalPort"));
        };
        for (const char *wanted : {"", "127.0.0.1", ""}) {
            host::Owned datagram(
                host.Call<REALobjectStruct *>(socket.Get(), "Read(peek as Boolean) as DatagramVYN", false));
            host::Owned<REALstringStruct> data(
                datagram.Get() == nullptr ? nullptr : host.Get<REALstringStruct *>(datagram.Get(), "Data"));
            EXPECT_EQ(host::BytesOf(data.Get()), wanted);
        }
        socket = decltype(socket)();
        text = decltype(text)();
    }
    EXPECT_EQ(host.Complaints(), "");
}
