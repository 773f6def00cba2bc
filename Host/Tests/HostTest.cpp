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

struct Record {
    REALstringStruct *name;
    std::int64_t number;
};

std::string trace;
REALclassDefinition probe;
REALevent probeEvents[2];

long Add(REALobjectStruct *, long first, long second)
{
    return first + second;
}

REALstringStruct *MakeAndRaise(REALobjectStruct *)
{
    Owned exception(Entry<REALobjectStruct *(const char *)>("PluginNewInstance")("NilObjectException"));
    Entry<void(REALobjectStruct *)>("RuntimeRaiseException")(exception.Get());
    return host::NewString("a result that nobody gets");
}

void DestructorOfRecord(REALobjectStruct *object)
{
    trace += "record ";
    Lock(object);
    Unlock(object);
    auto record = reinterpret_cast<Record *>(reinterpret_cast<char *>(object) + probe.forSystemUse);
    Entry<void(REALstringStruct *)>("REALUnlockString")(record->name);
}

void DestructorMethod(REALobjectStruct *)
{
    trace += "method ";
}

REALproperty properties[] = {
    Field("Name", "String", offsetof(Record, name)), Field("Number", "integer", offsetof(Record, number)),
    Field("Beyond", "Integer", sizeof(Record) - 4), // left out: it ends after the block
};
REALmethodDefinition methods[] = {
    METHOD("Add(first as Integer, second as Integer = 2) as Integer", Add),
    METHOD("MakeAndRaise as String", MakeAndRaise),
    METHOD("Destructor", DestructorMethod),
};

void RegisterProbe()
{
    trace.clear();
    probeEvents[0] = Event("First");
    probeEvents[1] = Event("Second");
    probe = {.name = "Probe",
             .dataSize = sizeof(Record),
             .destructor = DestructorOfRecord,
             .properties = properties,
             .propertyCount = std::size(properties),
             .methods = methods,
             .methodCount = std::size(methods),
             .events = probeEvents,
             .eventCount = std::size(probeEvents)};
    Entry<void(int)>("RegisterPluginVersion")(13);
    Entry<void *(REALclassDefinition *)>("PluginRegisterClass")(&probe);
}

void *HandlerOf(REALobjectStruct *object, const void *token)
{
    return Entry<void *(REALobjectStruct *, const void *)>("GetEventInstance")(object, token);
}

} // namespace

TEST(Declarations, AreReadInAllTheirForms)
{
    const struct {
        const char *text, *name;
        std::size_t parameters;
        host::TypeKind result;
        const char *extends;
        bool assigns;
    } rows[] = {
        {"Poll", "Poll", 0, host::TypeKind::None, "", false},
        {"Read(peek as boolean = false) as DatagramVYN", "Read", 1, host::TypeKind::Object, "", false},
        {"LenB( s as string ) as integer", "LenB", 1, host::TypeKind::Integer, "", false},
        {"Operator_Convert() As Ptr", "Operator_Convert", 0, host::TypeKind::Ptr, "", false},
        {"TOS(extends s as SocketCore, assigns value as Integer)", "TOS", 1, host::TypeKind::None, "SocketCore", true},
        {"Foo(extends ref as SocketCore, ) as UINT16", "Foo", 0, host::TypeKind::UInt16, "SocketCore", false},
        {"Find(byref a as String, b as String = \", )\") as UInt32", "Find", 2, host::TypeKind::UInt32, "", false},
    };
    for (const auto &row : rows) {
        auto declaration = host::ParseDeclaration(row.text);
        ASSERT_TRUE(declaration) << row.text;
        EXPECT_EQ(declaration->name, row.name);
        EXPECT_EQ(declaration->parameters.size(), row.parameters) << row.text;
        EXPECT_EQ(declaration->result.kind, row.result) << row.text;
        EXPECT_EQ(declaration->extends, row.extends);
        EXPECT_EQ(declaration->assigns, row.assigns) << row.text;
    }
    for (const char *text : {"", "(", "Foo(", "Foo(a)", "Foo(a as)", "Foo as", "Foo() as Integer more"})
        EXPECT_FALSE(host::ParseDeclaration(text)) << text;
}

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
        {"a background task was removed that is not there: 7",
         [] { Entry<void(int)>("PluginUnregisterBackgroundTask")(7); }},
        {"what was raised is no exception",
         [] {
             Owned object(Host::Current().New("Probe"));
             Entry<void(REALobjectStruct *)>("RuntimeRaiseException")(object.Get());
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
        EXPECT_EQ(host.Complaints(), "a released value was written to\n") << row.size << " " << row.written;
        for (int i = 0; i < 1100; ++i)
            host::Release(host::NewString(std::string(row.size, 'b')));
        EXPECT_EQ(host.Complaints(), "a value was written to after its release\n") << row.size << " " << row.written;
    }
}
#endif

TEST(Objects, DieOnceWithBothDestructors)
{
    Host host;
    RegisterProbe();
    REALobjectStruct *object = host.New("Probe");
    host.Set(object, "Name", Owned(host::NewString("its own")).Get());
    Lock(object);
    Unlock(object);
    EXPECT_EQ(trace, "");
    Unlock(object);
    EXPECT_EQ(trace, "record method ");
    EXPECT_EQ(host.Complaints(), "");
}

TEST(Exceptions, AreThrownByTheCallerAndTheResultIsReleased)
{
    Host host;
    RegisterProbe();
    Owned object(host.New("Probe"));
    EXPECT_THROW(host.Call<REALstringStruct *>(object.Get(), "MakeAndRaise as String"), host::Exception);
    EXPECT_EQ(host.Call<long>(object.Get(), "Add(a as Integer, b as Integer) as Integer", 40, 2), 42);
    EXPECT_EQ(host.ledger.Live(), (host::References{0, 1, 0}));
}

TEST(Tasks, ComeAndGoDuringAStep)
{
    Host host;
    static std::string order;
    order.clear();
    auto add = Entry<int(void (*)(void *), unsigned int, void *)>("PluginRegisterBackgroundTask");
    auto remove = Entry<void(int)>("PluginUnregisterBackgroundTask");
    static void (*removeTask)(int);
    removeTask = remove;
    EXPECT_EQ(add(
                  [](void *) {
                      order += "a";
                      removeTask(1);
                      removeTask(2);
                      Host::Current().tasks.Add({[](void *) { order += "d"; }, 10, nullptr});
                  },
                  10, nullptr),
              1);
    EXPECT_EQ(add([](void *) { order += "b"; }, 10, nullptr), 2);
    EXPECT_EQ(add([](void *) { order += "c"; }, 10, nullptr), 3);
    host.tasks.Step();
    EXPECT_EQ(order, "ac");
    EXPECT_TRUE(host.tasks.Run(5.0, [] { return order.size() >= 4; }));
    EXPECT_EQ(order, "accd");
    EXPECT_FALSE(host.tasks.Run(0.0));
}
