// Polling one socket without waiting, firing its events, and the host's task that does it.
//
// A handler may do anything: close or destroy its socket, connect it again, write Handle, poll again, raise. The poll
// knows whose events it fires, is told when that object or its descriptor goes, and then fires no more. Its reference
// on the object, where the host has counts, is for a handler that drops the last one and goes on.
#include "BaseSocket.h"

#include "Source/Utility/rbDebug.h"
#include "Source/Utility/rbReference.h"
#include "Source/Utility/rbclassutil.h"

#include <climits>
#include <cxxabi.h>
#include <exception>
#include <fcntl.h>
#include <new>
#include <set>
#include <sys/select.h>

namespace {

bool polling = false; // one poll at a time, of all sockets together

struct Readiness {
    bool readable = false, writable = false, exceptional = false;
};

// What the descriptor is ready for now; nothing where it can't be asked. The three sets are as long as the descriptor
// needs, whatever FD_SETSIZE says; those for descriptors below 16,384 are kept, and empty between two polls.
Readiness Select(int fd)
{
    constexpr std::size_t kWordBits = CHAR_BIT * sizeof(unsigned long), kKeptWords = 256;
    static constinit unsigned long keptSets[3 * kKeptWords] = {};
    std::size_t word = static_cast<unsigned int>(fd) / kWordBits; // where the descriptor's bit is in each set
    unsigned long bit = 1UL << (static_cast<unsigned int>(fd) % kWordBits);
    std::size_t stride = kKeptWords; // from one set to the next, in words
    unsigned long *sets = keptSets;
    MemoryOwner<unsigned long> largeSets;
    if (word >= kKeptWords) [[unlikely]] {
        // A number as large as that is seldom an open descriptor. Only an open one gets memory.
        if (fcntl(fd, F_GETFD) == -1) return {};
        stride = word + 1;
        largeSets = AllocateOwned<unsigned long>(static_cast<std::int64_t>(3 * stride * sizeof *sets));
        if (largeSets == nullptr) return {};
        sets = largeSets.get();
    }
    unsigned long *read = sets, *write = read + stride, *exception = write + stride;
    struct Bits {
        unsigned long *read, *write, *exception;
        std::size_t word;
        void Set(unsigned long value) const { read[word] = write[word] = exception[word] = value; }
        ~Bits() { Set(0); } // also where the thread is cancelled in select
    } bits = {read, write, exception, word};
    bits.Set(bit);
    auto set = [](unsigned long *words) { return reinterpret_cast<fd_set *>(words); };
    timeval noTime = {0, 0};
    Readiness ready;
    if (select(fd + 1, set(read), set(write), set(exception), &noTime) > 0)
        ready = {(read[word] & bit) != 0, (write[word] & bit) != 0, (exception[word] & bit) != 0};
    return ready;
}

// The order of the events in both classes.
enum SocketEvent { kDataAvailable, kSendComplete, kError };

// What is traced of each event: when the handler is looked up, and when it is called.
constexpr struct {
    const char *lookUp;
    const char *call;
} eventLabels[] = {
    {"Event DataAvailable", "DataAvailable event"},
    {"Event SendComplete", "SendComplete event"},
    {"Event Error", "Error event"},
};

// The record whose events are being fired, until its descriptor or object goes; else null.
constinit Relaxed<const SocketRecord *> polledRecord = nullptr;

// A poll that has found something to fire.
class EventsOfPoll {
  public:
    EventsOfPoll(REALobjectStruct *socketObject, SocketRecord &record)
        : object(socketObject), socket(record), handle(record.Handle)
    {
        polledRecord = &record;
    }
    EventsOfPoll(const EventsOfPoll &) = delete;
    EventsOfPoll &operator=(const EventsOfPoll &) = delete;
    ~EventsOfPoll() noexcept(false)
    {
        Release(held);
        polledRecord = nullptr;
    }

    // Whether the object has the descriptor that was polled. The record is not looked at once it may be gone.
    bool IsStillPolled() const { return polledRecord == &socket && socket.Handle == handle; }

    // Calls the program's handler, if there is one. A standard exception ends the handler alone; any other one goes on
    // to the caller.
    void Fire(SocketEvent event)
    {
        // The host is asked for the class of an object that no constructor has seen.
        bool isRAWSocket = socket.socketClass == SocketClass::kRAWSocket ||
                           (socket.socketClass == SocketClass::kUnknown && IsRAWSocket(object));
        REALevent *events = (isRAWSocket ? RAWSocketClass : UDPSocketClass).events;
        void *handler = REALGetEventInstance(object, &events[event]);
        TRACE(eventLabels[event].lookUp, static_cast<const void *>(handler));
        // The look-up may have run the program's code.
        if (handler == nullptr || !IsStillPolled()) return;
        if (held == nullptr) held = AddReference(object);
        TRACE(eventLabels[event].call);
        try {
            reinterpret_cast<void (*)(REALobjectStruct *)>(handler)(object);
        } catch (const std::exception &error) {
            LogMessage("exception", error.what());
        }
    }

  private:
    REALobjectStruct *object;
    SocketRecord &socket;
    std::int64_t handle;
    REALobjectStruct *held = nullptr; // the object from the first handler on, where the host has counts
};

// Out of line so that a quiet poll needs no stack frame.
[[gnu::noinline]] void FireEvents(REALobjectStruct *object, SocketRecord &socket, Readiness ready)
{
    EventsOfPoll events(object, socket);
    if (ready.readable) events.Fire(kDataAvailable);
    if (ready.writable && events.IsStillPolled() && socket.sendPending) {
        socket.sendPending = false;
        events.Fire(kSendComplete);
    }
    if (ready.exceptional && events.IsStillPolled()) events.Fire(kError);
}

// Looks once and fires what there is.
void DoPoll(REALobjectStruct *object, SocketRecord &socket)
{
    int fd = Descriptor(socket);
    if (fd < 0 || fd == INT_MAX) return; // select gets fd + 1
    Readiness ready = Select(fd);
    if (ready.readable || ready.exceptional || (ready.writable && socket.sendPending))
        FireEvents(object, socket, ready);
}

} // namespace

void Poll(REALobjectStruct *object)
{
    SocketRecord &socket = GetSocketRecord(object);
    if (socket.Handle == 0 || !OnMainThread() || polling) return;

    struct PollingFlag {
        PollingFlag() { polling = true; }
        ~PollingFlag() { polling = false; }
    } flag;
    DoPoll(object, socket);
}

void EndPollOf(const SocketRecord &socket)
{
    if (polledRecord == &socket) polledRecord = nullptr;
}

// The objects that are no longer watched, on a host that can't take a task back. It may run the task of an object that
// is gone. The list lives as long as the process, as the tasks do.
static std::set<const void *> *abandoned = nullptr;
static bool allAbandoned = false; // no memory to tell objects apart: a task must not touch one that is gone

static void Abandon(const void *object) noexcept
{
    try {
        if (abandoned == nullptr) abandoned = new std::set<const void *>;
        abandoned->insert(object);
    } catch (const std::bad_alloc &) {
        allAbandoned = true;
    }
}

// The procedure of every socket's background task. No exception leaves it but the unwinding of a cancelled thread.
static void MyBackgroundTaskProcSocket(void *object)
{
    if (allAbandoned || (abandoned != nullptr && abandoned->count(object) != 0)) return;
    try {
        Poll(static_cast<REALobjectStruct *>(object));
    } catch (const abi::__forced_unwind &) {
        throw; // a thread that is cancelled
    } catch (...) {
        TRACE("got unknown exception");
    }
}

void WatchSocket(REALobjectStruct *object, SocketRecord &socket, SocketClass socketClass)
{
    constexpr unsigned int kPeriod = 10; // in the host's unit
    socket.socketClass = socketClass;
    if (abandoned != nullptr) abandoned->erase(object);
    if (socket.backgroundTask == 0)
        socket.backgroundTask = REALRegisterBackgroundTask(MyBackgroundTaskProcSocket, kPeriod, object);
}

void UnwatchSocket(REALobjectStruct *object, SocketRecord &socket)
{
    if (socket.backgroundTask == 0) return;
    auto identifier = static_cast<int>(std::exchange(socket.backgroundTask, 0));
    Releasing([=] {
        if (identifier != -1 && !REALCanUnregisterBackgroundTask()) Abandon(object);
        REALUnregisterBackgroundTask(identifier);
    });
}
