// What programs are told of failures.
#include "Libs/shared/Socket/SocketUtil.h"
#include "Source/Utility/rbData.h"
#include "Source/Utility/rbDebug.h"
#include "Source/Utility/rbException.h"
#include "Source/Utility/rbclassutil.h"

#include "Tests/Unit/Faults.h"
#include "Tests/Unit/OnHost.h"

#include <fcntl.h>
#include <functional>
#include <new>
#include <pthread.h>
#include <stdexcept>
#include <thread>
#include <unistd.h>

namespace {

class Exceptions : public OnHost {
  protected:
    void SetUp() override { StartHost(); }
    // What the body raises, as "Class: message".
    std::string Raised(const std::function<void()> &body)
    {
        body();
        host::Owned<REALobjectStruct> taken(running->exceptions.TakePending());
        return taken.Get() != nullptr ? running->exceptions.Raised().back().Text() : "nothing";
    }
};

template <typename Error>
std::function<void()> Throwing(Error error)
{
    return [error] { EXPECT_EQ(Guarded([&]() -> int { throw error; }), 0); };
}

} // namespace

TEST_F(Exceptions, TheMessageArrivesInEveryForm)
{
    const struct {
        std::function<void()> raise;
        const char *text;
        long number;
    } rows[] = {
        {[] { RaiseException("NilObjectException", "it is nil"); }, "NilObjectException: it is nil", 0},
        {[] { RaiseException("NilObjectException", "a", "b", "c", kEncodingASCII); }, "NilObjectException: abc", 0},
        {[] { RaiseException("NoSuchException", "text", kEncodingASCII, 42); }, "RuntimeException: text", 42},
        {[] { RaiseException("NilObjectException", static_cast<REALstringStruct *>(nullptr)); },
         "NilObjectException: ", 0},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(Raised(row.raise), row.text);
        EXPECT_EQ(running->exceptions.Raised().back().number, row.number);
    }
}

TEST_F(Exceptions, OutOfBoundsSaysWhatAndWhere)
{
    const struct {
        long value;
        const char *parameter, *method, *message;
    } rows[] = {
        {12, "index", "GetValue", "The parameter index to method GetValue is too big."},
        {12, "index", nullptr, "The parameter index  is too big."},
        {12, "index", "", "The parameter index  is too big."},
        {-1, nullptr, "M", "The parameter ? to method M is too small."},
        {10, "n", "M", "The parameter n to method M is too big."},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(Raised([&] { RaiseOutOfBoundsException(row.value, 0, 10, row.parameter, row.method); }),
                  std::string("OutOfBoundsException: ") + row.message + " Range is 0 to 9, but value is " +
                      std::to_string(row.value) + ".");
    }
}

TEST_F(Exceptions, NativeExceptionsBecomeTheHosts)
{
    const std::pair<std::function<void()>, const char *> rows[] = {
        {Throwing(std::bad_alloc()), "OutOfMemoryException: Failed to allocate memory: std::bad_alloc"},
        {Throwing(std::range_error("r")), "OutOfBoundsException: C++ reports range error: r"},
        {Throwing(std::out_of_range("")), "OutOfBoundsException: C++ reports range error."},
        {Throwing(std::overflow_error("o")), "OutOfBoundsException: C++ reports overflow error: o"},
        {Throwing(std::underflow_error("u")), "OutOfBoundsException: C++ reports underflow error: u"},
        {Throwing(std::logic_error("l")), "RuntimeException: C++ Exception: l"},
        {Throwing(5), "RuntimeException: Sorry, but there was an unnamed C++ Exception."},
    };
    for (bool logged : {false, true}) {
        gDebugging = logged;
        for (const auto &[body, raised] : rows)
            EXPECT_EQ(Raised(body), raised);
    }
}

TEST_F(Exceptions, WithoutMemoryTheMessageIsTheShortOne)
{
    if (!faults::kAllocationsCanFail) GTEST_SKIP() << "the sanitizers' allocators do not fail";
    auto withoutMemory = [this](const std::function<void()> &body) {
        faults::FailAllocation(1);
        return Raised(body);
    };
    EXPECT_EQ(withoutMemory([] { RaiseOutOfBoundsException(1, 0, 1, "index", "M"); }),
              "OutOfBoundsException: Out of Bounds");
    // What fits the stack needs no memory: the text is cut to 511 bytes.
    const std::string start = "OutOfBoundsException: C++ reports range error: ";
    for (std::size_t length : {486U + 1, 600U}) {
        const std::range_error error(std::string(length, 'r'));
        EXPECT_EQ(withoutMemory([&] { RaiseRuntimeException(error); }), start + std::string(486, 'r'));
        EXPECT_EQ(Raised([&] { RaiseRuntimeException(error); }), start + std::string(length, 'r'));
    }
}

// The first thread raises, and a second one meets an exception meanwhile.
TEST(Exception, ThreadsThatRaiseAtTheSameTimeAreToldApart)
{
    FakeHost::Start();
    static int asked = 0;
    static bool passed = false;
    FakeHost::Provide("PluginNewInstance", [](const char *) -> REALobjectStruct * {
        auto second = [] {
            try {
                Throwing(5)();
            } catch (int) {
                passed = true;
            }
        };
        if (asked++ == 0) std::thread(second).join();
        return nullptr;
    });
    Throwing(5)();
    EXPECT_FALSE(passed);
    EXPECT_EQ(asked, 4); // each thread for the class and for another in its place
}

TEST(Exception, ACancelledThreadReleasesWhatIsItsOwnAndEndsAsElsewhere)
{
    // The catch clause binds to an object that such unwinding does not have, which the sanitizer takes for a fault.
    if (!faults::kAllocationsCanFail) GTEST_SKIP() << "not with sanitizers";
    static int closed = dup(STDERR_FILENO);
    FakeHost::Start();
    FakeHost::Provide("REALUnlockString", [](REALstringStruct *) { pthread_testcancel(); });
    static const std::string declaration(1200, 'n'); // the program's own
    void *(*const bodies[])(void *) = {
        [](void *) -> void * {
            pthread_cancel(pthread_self());
            (void)OwnedDescriptor(closed); // close(2) would end the thread here
            return Guarded([]() -> void * {
                auto string = reinterpret_cast<REALstringStruct *>(8);
                rbFreeLater release(&string); // the thread ends in its destructor
                return nullptr;
            });
        },
        [](void *) -> void * {
            REALmethodDefinition method = {nullptr, &closed, declaration.c_str(), 4, 0, nullptr};
            REALclassDefinition extension = {.name = "C", .methods = &method, .methodCount = 1};
            pthread_cancel(pthread_self());
            BuildXojoModule(&extension); // the thread ends where the log says that it can't be rewritten
            return nullptr;
        },
    };
    for (auto body : bodies) {
        pthread_t thread;
        ASSERT_EQ(pthread_create(&thread, nullptr, body, nullptr), 0);
        void *result = nullptr;
        EXPECT_EQ(pthread_join(thread, &result), 0);
        EXPECT_EQ(result, PTHREAD_CANCELED);
    }
    EXPECT_EQ(fcntl(closed, F_GETFD), -1);
}
