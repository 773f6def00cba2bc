// The check for hosts, on hosts of which one thing is broken each: it must name that.
#include "Tests/Unit/OnHost.h"

#include <cstring>
#include <dlfcn.h>

namespace {

// Registers the class as the host does, but for what `spoil` does to its record afterwards.
template <typename Spoil>
void *Register(REALclassDefinition *definition, Spoil spoil)
{
    host::entry::REALRegisterClass(definition);
    spoil(*definition);
    return nullptr;
}

// The report after some turns, of a host whose entry is replaced by the function.
std::string ReportWith(const char *entry, void *function)
{
    host::Host running;
    FakeHost::Start();
    FakeHost::Replace(host::Resolve);
    FakeHost::Provide(entry, function);
    void *library = dlopen(HOST_CHECK, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return dlerror();
    reinterpret_cast<void (*)(HostResolver)>(dlsym(library, "REALPluginMain"))(FakeHost::Resolve);
    for (int turn = 0; turn < 5; turn++)
        running.tasks.Step();
    String report(running.CallShared<REALstringStruct *>("VYNHostCheck() as String"));
    return std::string(host::BytesOf(report.Get()));
}

struct Broken {
    const char *entry;
    void *function;
    const char *line;
};

template <typename Result, typename... Arguments>
constexpr Broken Row(const char *entry, Result (*function)(Arguments...), const char *line)
{
    return {entry, reinterpret_cast<void *>(function), line};
}

} // namespace

// clang-format off
TEST(HostCheck, NamesWhatIsBroken)
{
    const Broken rows[] = {
        {"REALLockString", nullptr, "missing  REALLockString: the library takes the host for one without counts"},
        Row("REALLoadGlobalMethod", +[](void *, const char *) -> void * { return nullptr; },
            "missing  LenB( s as string ) as integer: the payload of every String is empty"),
        Row("REALLoadGlobalMethod", +[](void *, const char *) {
                return reinterpret_cast<void *>(+[](REALstringStruct *) { return 1L; });
            }, "broken   text in UTF-8: its length in bytes: expected 5, seen 1"),
        Row("REALGetStringEncoding", +[](REALstringStruct *) { return 0x600U; },
            "broken   text in UTF-16: its code: expected 256, seen 1536"),
        Row("StringGetCString", +[](REALstringStruct *) { return "another text"; },
            "broken   text in Latin-1: its bytes are the same: expected yes, seen no"),
        Row("PluginRegisterClass", +[](REALclassDefinition *record) {
                return Register(record, [](auto &type) { type.forSystemUse = 0; });
            }, "broken   instance data are cleared, at the offset that the host wrote: its data are zero"),
        Row("PluginRegisterClass", +[](REALclassDefinition *record) {
                return Register(record, [](auto &type) { type.events[1].token = type.events[0].token; });
            }, "broken   events have tokens: the second differs: expected yes, seen no"),
        Row("REALLockObject", +[](REALobjectStruct *) {},
            "broken   an object that is locked and unlocked stays: steps of its end: expected 0, seen 12"),
        Row("REALUnlockObject", +[](REALobjectStruct *) {},
            "broken   an object ends by its method Destructor and its record's destructor: both, once each"),
        Row("REALSetPropValueInteger", +[](REALobjectStruct *, const char *, long) { return 1UL; },
            "broken   properties are set and read: Number in the data: expected 42, seen 0"),
        Row("REALSetPropValueInteger", +[](REALobjectStruct *object, const char *name, long value) {
                return std::strcmp(name, "Size") == 0 || host::entry::REALSetPropValueInteger(object, name, value);
            }, "broken   a memory block is resized: its size: expected 100000, seen 10"),
        Row("memoryBlockGetSize", +[](REALmemoryBlockStruct *) { return 5L; },
            "broken   memory blocks: one of 10 bytes is made: expected yes, seen no"),
        Row("memoryBlockGetPtr", +[](REALmemoryBlockStruct *) -> void * { return nullptr; },
            "broken   memory blocks: it has bytes: expected yes, seen no"),
        Row("PluginNewInstance", +[](const char *name) {
                bool known = std::strcmp(name, "NilObjectException") != 0;
                return known ? host::entry::REALnewInstance(name) : nullptr;
            }, "missing  NilObjectException: a RuntimeException is raised instead"),
        Row("RuntimeUBound", +[](void *) { return 7L; },
            "broken   arrays: by the host's own procedures: the upper bound: expected 1234, seen 7"),
        Row("PluginRegisterBackgroundTask", +[](void (*task)(void *), unsigned int period, void *) {
                return host::entry::REALRegisterBackgroundTask(task, period, nullptr);
            }, "broken   a background task runs and stops: it gets its data: expected yes, seen no"),
        Row("PluginUnregisterBackgroundTask", +[](int) {},
            "broken   a background task runs and stops: its calls, taken back at the first: expected 1, seen 5"),
    };
    for (const Broken &row : rows) {
        EXPECT_EQ(program::InChild([&] {
            std::string report = ReportWith(row.entry, row.function);
            return report.find(row.line) != std::string::npos ? "" : report;
        }), "") << row.line;
    }
}
// clang-format on
