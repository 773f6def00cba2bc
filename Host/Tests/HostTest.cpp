// The stand-in host on trial: that it notices what a plugin does wrong, and offers what it says. The plugin here is
// a handful of records; it reaches the host through the resolver alone, as a real one would.
#include "Host/Runtime/Host.h"
#include "Host/Runtime/OwnClasses.h"

#include <gtest/gtest.h>

using host::Host;
using host::Owned;

namespace {

template <typename Function>
Function *Entry(const char *name)
{
    return reinterpret_cast<Function *>(host::Resolve(name));
}

void Lock(void *object)
{
    Entry<void(void *)>("REALLockObject")(object);
}
void Unlock(void *object)
{
    Entry<void(void *)>("REALUnlockObject")(object);
}

// --- the plugin --------------------------------------------------------------------------------------------

REALclassDefinition probe;
REALevent probeEvents[2];

void RegisterProbe()
{
    probeEvents[0] = Event("First");
    probeEvents[1] = Event("Second");
    probe = {.name = "Probe", .dataSize = 16, .events = probeEvents, .eventCount = std::size(probeEvents)};
    Entry<void(int)>("RegisterPluginVersion")(13);
    Entry<void *(REALclassDefinition *)>("PluginRegisterClass")(&probe);
}

void *HandlerOf(REALobjectStruct *object, const void *token)
{
    return Entry<void *(REALobjectStruct *, const void *)>("GetEventInstance")(object, token);
}

} // namespace

// Each row does one thing wrong; the host goes on and says what it was.
TEST(Ledger, NoticesEveryMisuseOfAHandle)
{
    const struct {
        const char *complaint;
        void (*misuse)();
    } rows[] = {
        {"REALUnlockObject: the handle is released already",
         [] {
             REALobjectStruct *object = Host::Current().New("Probe");
             Unlock(object);
             Unlock(object);
         }},
        {"REALLockObject: the handle was never handed out",
         [] {
             long local = 0;
             Lock(&local);
         }},
        {"REALUnlockObject: the handle is of another kind", [] { Unlock(Owned(host::NewString("text")).Get()); }},
        {"still alive: string \"kept\", 2 references",
         [] { Entry<void(REALstringStruct *)>("REALLockString")(host::NewString("kept")); }},
        {"still alive: object Probe, 1 reference", [] { Host::Current().New("Probe"); }},
        {"a memory block was expected, but found: Probe",
         [] {
             Owned object(Host::Current().New("Probe"));
             Entry<long(REALobjectStruct *)>("memoryBlockGetSize")(object.Get());
         }},
        {"an event was looked up that MemoryBlock does not have",
         [] {
             Owned block(host::NewMemoryBlock("x", 1));
             HandlerOf(block.Get(), probeEvents[0].token);
         }},
    };
    for (const auto &row : rows) {
        Host host;
        RegisterProbe();
        row.misuse();
        EXPECT_NE(host.Complaints().find(row.complaint), std::string::npos) << row.complaint << host.Complaints();
    }
}

#if !defined(SANITIZED) // which ends the process at the write itself
TEST(Ledger, NoticesAWriteAfterTheRelease)
{
    const struct {
        std::size_t size, written;
    } rows[] = {{8, 5}, {1400, 0}, {60000, 59999}};
    for (const auto &row : rows) {
        Host host;
        REALstringStruct *string = host::NewString(std::string(row.size, 'a'));
        auto bytes = const_cast<char *>(host::BytesOf(string).data());
        host::Release(string);
        bytes[row.written] = 'x';
        EXPECT_EQ(host.Complaints(), "a value was written to after its release\n") << row.size << " " << row.written;
    }
}
#endif
