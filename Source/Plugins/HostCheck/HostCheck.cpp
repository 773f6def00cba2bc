// VYNHostCheck: a plugin of its own that checks whether a host does what the network plugin takes for granted.
//
// Docs/host.md has the rules. Nothing is raised, and all that is made is given back.
#include "Source/SDK/GlueCode/HostOperations.h"
#include "Source/SDK/GlueCode/PluginMain.h"
#include "Source/Utility/GuardedRows.h"
#include "Source/Utility/rbArray.h"
#include "Source/Utility/rbMemoryBlock.h"
#include "Source/Utility/rbReference.h"
#include "Source/Utility/rbUtil.h"
#include "Source/Utility/rbclassutil.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

using namespace std::string_view_literals;

extern REALclassDefinition HostCheckClass; // a class of the check's own

namespace {

// --- the report: one line a check ----------------------------------------------------------------------------

std::string lines;

void Tell(const char *verdict, const std::string &check, const std::string &more = "")
{
    lines += verdict + ("  " + check) + (more.empty() ? "" : ": ") + more + "\n";
}

// A number, or a yes or no, by the type of what is expected.
struct Fact {
    template <typename Expected>
    Fact(const char *fact, Expected wanted, long found)
        : what(fact), isYesOrNo(std::is_same_v<Expected, bool>), expected(wanted), seen(found)
    {
    }
    std::string Shown(long number) const { return !isYesOrNo ? std::to_string(number) : number != 0 ? "yes" : "no"; }

    const char *what;
    bool isYesOrNo;
    long expected, seen;
};

// Held if all facts are; else the first that is not is told. Result: whether they are.
bool Verdict(const char *check, std::initializer_list<Fact> facts)
{
    for (const Fact &fact : facts) {
        if (fact.expected == fact.seen) continue;
        std::string seen = fact.Shown(fact.expected) + ", seen " + fact.Shown(fact.seen);
        Tell("broken ", check, fact.what + (": expected " + seen));
        return false;
    }
    Tell("held   ", check);
    return true;
}

// --- the class -----------------------------------------------------------------------------------------------

struct CheckRecord {
    std::int64_t Number;
    REALstringStruct *Text; // one reference
};

long steps, numberAtEnd; // of an object's end: its method is 1, the record's destructor 2; and Number at the second
bool fired;              // an event has found its handler

CheckRecord &RecordOf(REALobjectStruct *object)
{
    return *reinterpret_cast<CheckRecord *>(reinterpret_cast<char *>(object) + HostCheckClass.forSystemUse);
}

void Destructor(REALobjectStruct *)
{
    steps = steps * 10 + 1;
}

void RecordDestructor(REALobjectStruct *object)
{
    steps = steps * 10 + 2;
    numberAtEnd = RecordOf(object).Number;
    ReleaseKept(RecordOf(object).Text);
}

// Fires "Checked" of a program's object. Result: whether the program handles it.
BooleanWord Fire(REALobjectStruct *object)
{
    auto handler = reinterpret_cast<void (*)(REALobjectStruct *)>(REALGetEventInstance(object, HostCheckClass.events));
    if (handler == nullptr) return BooleanWord(false);
    fired = true;
    handler(object);
    return BooleanWord(true);
}

// clang-format off
MethodRow methods[] = {
    METHOD("Destructor",        Destructor),
    METHOD("Fire() as Boolean", Fire),
};
REALproperty properties[] = {
    FIELD("Number", "Integer", CheckRecord, Number),
    FIELD("Text",   "String",  CheckRecord, Text),
};
REALevent events[] = {Event("Checked"), Event("Unused")};
// clang-format on

// --- the checks ----------------------------------------------------------------------------------------------

void CheckEntries()
{
    static constexpr struct {
        const char *name, *lost;
    } rows[] = {
#define LOSS(name, lost) {name, lost},
#include "EntryLosses.inc"
    };
    long there = 0;
    for (const auto &row : rows) {
        bool isThere = gHostResolver(row.name) != nullptr;
        there += isThere;
        if (!isThere) Tell("missing", row.name, row.lost);
    }
    Tell("held   ", "entries", std::to_string(there) + " of " + std::to_string(std::size(rows)));
}

REALstringStruct *NewText(std::string_view bytes, unsigned int encoding)
{
    auto size = static_cast<int>(bytes.size());
    if (gHostVersion >= 2012.0) return REALBuildString(bytes.data(), size, encoding);
    REALstringStruct *text = originalREALBuildString(bytes.data(), size);
    if (text != nullptr) REALSetStringEncoding(text, encoding);
    return text;
}

void CheckTexts()
{
    static constexpr struct {
        const char *check;
        unsigned int code;
        std::string_view bytes;
    } rows[] = {
        {"text in ASCII", kEncodingASCII, "a\0b"sv},        {"text in UTF-8", kEncodingUTF8, "a\0b\xC3\xA9"sv},
        {"text in UTF-16", kEncodingUTF16, "a\0\xE9\0"sv},  {"text in UTF-32", kEncodingUTF32, "a\0\0\0"sv},
        {"text in Latin-1", kEncodingLatin1, "a\0b\xE9"sv}, {"text in Windows", kEncodingWindows, "a\0b\x80"sv},
        {"text in Roman", kEncodingMacRoman, "a\0b\x8E"sv}, {"text of no encoding", kEncodingNone, "a\0b\xFF"sv},
    };
    const char *length = "LenB( s as string ) as integer";
    if (REALLoadFrameworkMethod(length) == nullptr) Tell("missing", length, "the payload of every String is empty");
    for (const auto &row : rows) {
        REALstringStruct *text = NewText(row.bytes, row.code);
        ReleaseKept(Keep(text)); // it stays
        StringBytes seen = REALGetStringBytes(text);
        std::string_view bytes(seen.data != nullptr ? seen.data : "", static_cast<std::size_t>(seen.size));
        Verdict(row.check, {{"made", true, text != nullptr},
                            {"its code", row.code, text != nullptr ? REALGetStringEncoding(text) : 0},
                            {"its length in bytes", static_cast<long>(row.bytes.size()), seen.size},
                            {"its bytes are the same", true, bytes == row.bytes}});
        Release(text);
    }
}

void CheckProperties(REALobjectStruct *object)
{
    CheckRecord &record = RecordOf(object);
    REALstringStruct *text = NewText("kept", kEncodingASCII);
    bool numberIsSet = REALSetPropValueInteger(object, "Number", 42);
    bool textIsSet = REALSetPropValueString(object, "Text", text);
    Release(text);
    long number = 42;
    bool isRead = REALGetPropValueInteger(object, "Number", &number) || !gHostResolver("REALGetPropValueInteger");
    Verdict("properties are set and read", {{"Number is set", true, numberIsSet},
                                            {"Number in the data", 42, record.Number},
                                            {"Number is read", true, isRead},
                                            {"Number as it is read", 42, number},
                                            {"Text is set", true, textIsSet},
                                            {"the length of Text", 4, REALGetStringBytes(record.Text).size}});
}

void CheckObjects()
{
    REALobjectStruct *object = REALnewInstance("HostCheckVYN");
    steps = 0;
    bool cleared = object != nullptr && RecordOf(object).Number == 0 && RecordOf(object).Text == nullptr;
    Verdict("instance data are cleared, at the offset that the host wrote",
            {{"a HostCheckVYN is made", true, object != nullptr}, {"its data are zero", true, cleared}});
    if (!cleared) return; // it is not known where they are
    CheckProperties(object);
    RecordOf(object).Number = 42; // whatever the setter did
    Keep(object);
    ReleaseKept(object);
    if (!Verdict("an object that is locked and unlocked stays", {{"steps of its end", 0, steps}})) return;
    Release(object);
    Verdict("an object ends by its method Destructor and its record's destructor",
            {{"both, once each", true, steps == 12 || steps == 21}, {"Number at the end", 42, numberAtEnd}});
}

void CheckBlocks()
{
    REALmemoryBlockStruct *block = MyREALNewMemoryBlock(10);
    void *bytes = MyREALMemoryBlockGetPtr(block);
    Verdict("memory blocks", {{"one of 10 bytes is made", true, block != nullptr},
                              {"its size", 10, MyREALMemoryBlockGetSize(block)},
                              {"it has bytes", true, bytes != nullptr}});
    if (bytes != nullptr) std::memcpy(bytes, "0123456789", 10);
    if (bytes != nullptr && REALSetPropValueInteger(AsObject(block), "Size", 100'000)) {
        bytes = REALMemoryBlockGetPtr(block);
        Verdict("a memory block is resized",
                {{"its size", 100'000, REALMemoryBlockGetSize(block)},
                 {"its bytes stay", true, bytes != nullptr && std::memcmp(bytes, "0123456789", 10) == 0}});
    } else if (bytes != nullptr) {
        Tell("missing", "a memory block is resized", "nothing is lost; this host lets no plugin set Size");
    }
    Release(AsObject(block));
}

void CheckExceptions()
{
    for (const char *name : {"RuntimeException", "UnsupportedOperationException", "UnsupportedFormatException",
                             "NilObjectException", "OutOfMemoryException", "OutOfBoundsException"}) {
        REALobjectStruct *exception = REALnewInstance(name);
        if (exception == nullptr)
            Tell("missing", name, "a RuntimeException is raised instead, or nothing without it");
        else
            Verdict(name, {{"Message is set", true, REALSetPropValueString(exception, "Message", nullptr)},
                           {"ErrorNumber is set", true, REALSetPropValueInteger(exception, "ErrorNumber", 1)}});
        Release(exception);
    }
}

void CheckArrays()
{
    _REALarrayInteger *array = REALCreateArrayInteger(1234);
    if (array == nullptr) return Tell("missing", "arrays", "no member of the plugin needs them");
    TestArray(array);
    bool direct = GetArrayStorage(array) != nullptr;
    long element = 0;
    if (REALGetArrayUBound(array) == 1234) { // else an access might raise
        REALSetArrayValue(array, 9, 123456);
        REALGetArrayValue(array, 9, &element);
    }
    Verdict(direct ? "arrays: their layout is recognised" : "arrays: by the host's own procedures",
            {{"the upper bound", 1234, REALGetArrayUBound(array)}, {"element 9", 123456, element}});
    Release(reinterpret_cast<REALobjectStruct *>(array));
}

void CheckEvents()
{
    Verdict("events have tokens", {{"the first is written", true, events[0].token != nullptr},
                                   {"the second differs", true, events[0].token != events[1].token}});
    if (fired) return Tell("held   ", "an event is found by its token");
    Tell("not yet", "an event is found by its token", "handle Checked of a HostCheckVYN, and call its Fire");
}

// Two tasks: the first takes itself back at once, the second looks for some turns whether it comes again.
struct {
    int first, second; // their numbers
    int calls, turns;  // of the first, and of the second after that
    bool onMainThread, dataIsRight, isPrinted;
} tasks;

void FirstTask(void *data)
{
    tasks.dataIsRight = data == &tasks;
    tasks.onMainThread = OnMainThread();
    if (tasks.calls++ == 0) REALUnregisterBackgroundTask(tasks.first);
}

void CheckTasks()
{
    const char *check = "a background task runs and stops";
    if (tasks.first == -1) return; // an entry is missing
    if (tasks.first != 0 && tasks.turns < 3) return Tell("not yet", check, "let the host's loop run, and ask again");
    Verdict(check, {{"its number is not 0", true, tasks.first != 0},
                    {"it gets its data", true, tasks.dataIsRight},
                    {"it is on the main thread", true, tasks.onMainThread},
                    {"its calls, taken back at the first", 1, tasks.calls}});
}

void SecondTask(void *)
{
    if (tasks.calls == 0 || ++tasks.turns != 3) return;
    REALUnregisterBackgroundTask(tasks.second);
    lines.clear();
    CheckTasks();
    if (tasks.isPrinted) std::fputs(lines.c_str(), stderr);
}

const char *NewReport()
{
    lines = "VYNHostCheck, host version " + std::to_string(gHostVersion).substr(0, 7) + ", SDK version " +
            std::to_string(gSDKVersion) + "\n";
    for (auto check :
         {CheckEntries, CheckTexts, CheckObjects, CheckBlocks, CheckExceptions, CheckArrays, CheckEvents, CheckTasks})
        check();
    return lines.c_str();
}

REALstringStruct *VYNHostCheck()
{
    return CString2RB(NewReport(), kEncodingUTF8);
}

SharedMethodRow functions[] = {SHARED_METHOD("VYNHostCheck() as String", VYNHostCheck)};

} // namespace

// clang-format off
constinit REALclassDefinition HostCheckClass = {
    .name = "HostCheckVYN", .dataSize = sizeof(CheckRecord), .destructor = RecordDestructor,
    .properties = properties, .propertyCount = std::size(properties),
    .methods = methods, .methodCount = std::size(methods),
    .events = events, .eventCount = std::size(events), .flags = kConsoleSafe,
};
// clang-format on

void PluginEntry()
{
    MyPluginStart("HostCheck");
    MyREALRegisterMethodArray(functions, std::size(functions));
    MyREALRegisterClass(&HostCheckClass);
    tasks.first = REALRegisterBackgroundTask(FirstTask, 10, &tasks);
    tasks.second = REALRegisterBackgroundTask(SecondTask, 10, nullptr);
    const char *wanted = std::getenv("VYNHOSTCHECK");
    tasks.isPrinted = wanted != nullptr && wanted == "1"sv;
    if (tasks.isPrinted) std::fputs(NewReport(), stderr);
    MyPluginEnde();
}
