// Polling one socket without waiting, firing its events, and the host's task that does it.
//
// A handler may do anything: close or destroy its socket, write Handle, poll again, raise. The poll holds
// a reference on the object while it fires, and looks at the record again after every handler.
#include "BaseSocket.h"

#include "Source/SDK/GlueCode/HostOperations.h"
#include "Source/Utility/MyMemory.h"
#include "Source/Utility/rbData.h"
#include "Source/Utility/rbDebug.h"
#include "Source/Utility/rbclassutil.h"

#include <climits>
#include <exception>
#include <fcntl.h>
#include <sys/select.h>

namespace {

bool polling = false; // one poll at a time, of all sockets together

constexpr int kWordBits = CHAR_BIT * sizeof(unsigned long);

// The three sets of a select call on one descriptor. They are as long as the descriptor needs, whatever
// FD_SETSIZE says; those of the usual numbers are kept, and empty between two polls.
class DescriptorSets {
  public:
    explicit DescriptorSets(int descriptor) : fd(descriptor), words(descriptor / kWordBits + 1)
    {
        sets = keptSets;
        if (words > kKeptWords) {
            // So large a number is rarely a descriptor: no memory for one that is none.
            if (fcntl(fd, F_GETFD) != -1) ownSets = AllocateOwned<unsigned long>(3L * words * kWordBits / CHAR_BIT);
            sets = ownSets.get();
        }
    }
    DescriptorSets(const DescriptorSets &) = delete;
    DescriptorSets &operator=(const DescriptorSets &) = delete;
    ~DescriptorSets()
    {
        if (sets != nullptr) Fill(0);
    }

    // Whether the descriptor is ready for anything now.
    bool Select()
    {
        if (sets == nullptr) return false;
        Fill(Bit());
        timeval noTime = {0, 0};
        return select(fd + 1, Set(kRead), Set(kWrite), Set(kException), &noTime) > 0;
    }

    bool IsReadable() const { return (Word(kRead) & Bit()) != 0; }
    bool IsWritable() const { return (Word(kWrite) & Bit()) != 0; }
    bool IsExceptional() const { return (Word(kException) & Bit()) != 0; }

  private:
    enum Kind { kRead, kWrite, kException };
    static constexpr int kKeptWords = 1024; // up to number 65,535
    static unsigned long keptSets[3 * kKeptWords];

    unsigned long Bit() const { return 1UL << (fd % kWordBits); }
    unsigned long &Word(Kind kind) const { return sets[kind * words + words - 1]; }
    fd_set *Set(Kind kind) const { return reinterpret_cast<fd_set *>(sets + kind * words); }
    void Fill(unsigned long value)
    {
        for (Kind kind : {kRead, kWrite, kException})
            Word(kind) = value;
    }

    int fd;
    int words;
    MemoryOwner<unsigned long> ownSets;
    unsigned long *sets;
};

constinit unsigned long DescriptorSets::keptSets[3 * kKeptWords] = {};

// What is traced of each event: when the handler is looked up, and when it is called.
struct EventLabels {
    const char *lookUp;
    const char *call;
};
constexpr EventLabels eventLabels[] = {
    {"Event DataAvailable", "DataAvailable event"},
    {"Event SendComplete", "SendComplete event"},
    {"Event Error", "Error event"},
};

// Calls the program's handler if there is one. A standard exception ends the handler alone; any other
// one goes on to the caller. Result: whether a handler has run.
bool FireEvent(REALobjectStruct *object, SocketEvent event)
{
    REALclassDefinition &definition = IsRAWSocket(object) ? RAWSocketClass : UDPSocketClass;
    void *handler = REALGetEventInstance(object, &definition.events[event]);
    TRACE(eventLabels[event].lookUp, static_cast<const void *>(handler));
    if (handler == nullptr) return false;
    TRACE(eventLabels[event].call);
    try {
        reinterpret_cast<void (*)(REALobjectStruct *)>(handler)(object);
    } catch (const std::exception &error) {
        LogMessage("exception", error.what());
    }
    return true;
}

// Fires what the sets say. It ends with the first handler after which Handle is another, for what the sets
// say is of the old descriptor, or after which the object may be gone, for a host that can't hold it.
void FireEvents(REALobjectStruct *object, SocketRecord &socket, bool readable, bool writable, bool exceptional)
{
    const std::int64_t polled = socket.Handle;
    REALobjectStruct *held = REALRetainObject(object);
    rbFreeLater release(&held, nullptr);
    auto isStillPolled = [&] { return held != nullptr && socket.Handle == polled; };

    if (readable && FireEvent(object, kDataAvailable) && !isStillPolled()) return;
    if (writable && socket.sendPending) {
        socket.sendPending = false;
        if (FireEvent(object, kSendComplete) && !isStillPolled()) return;
    }
    if (exceptional) FireEvent(object, kError);
}

void DoPoll(REALobjectStruct *object, SocketRecord &socket)
{
    int fd = Descriptor(socket);
    if (fd < 0 || fd == INT_MAX) return;
    bool readable, writable, exceptional;
    {
        DescriptorSets sets(fd);
        if (!sets.Select()) return;
        readable = sets.IsReadable();
        writable = sets.IsWritable();
        exceptional = sets.IsExceptional();
    }
    if (readable || exceptional || (writable && socket.sendPending))
        FireEvents(object, socket, readable, writable, exceptional);
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

// A host that can't take a task back may run it when its object is gone. From the first such object on no
// task is trusted any more; Poll by hand goes on.
static bool tasksOutliveObjects = false;

// The procedure of every socket's background task. Nothing leaves it.
static void MyBackgroundTaskProcSocket(void *object)
{
    if (tasksOutliveObjects) return;
    try {
        Poll(static_cast<REALobjectStruct *>(object));
    } catch (...) {
        TRACE("got unknown exception");
    }
}

void WatchSocket(REALobjectStruct *object, SocketRecord &socket)
{
    constexpr unsigned int kPeriod = 10; // in the host's unit
    if (socket.backgroundTask == 0)
        socket.backgroundTask = REALRegisterBackgroundTask(MyBackgroundTaskProcSocket, kPeriod, object);
}

void UnwatchSocket(SocketRecord &socket)
{
    if (socket.backgroundTask == 0) return;
    auto identifier = static_cast<int>(std::exchange(socket.backgroundTask, 0));
    if (identifier != -1 && !REALCanUnregisterBackgroundTask()) tasksOutliveObjects = true;
    REALUnregisterBackgroundTask(identifier);
}
