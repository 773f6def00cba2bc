// The bridge to the host, against a host that has just what a test gives it.
#include "Source/SDK/GlueCode/FurtherHostOperations.h"

#include "Source/Utility/rbData.h"
#include "Tests/Unit/OnHost.h"

#include <type_traits>

namespace {

class HostOperations : public testing::Test, protected FakeHost {
  protected:
    void SetUp() override { Start(0.0); }
};

template <typename Handle>
Handle *AnyHandle(std::uintptr_t number)
{
    return reinterpret_cast<Handle *>(number);
}

unsigned long answer;
std::vector<long> seen;

} // namespace

TEST_F(HostOperations, AMissingEntryIsAskedForAgainAndAFoundOneNever)
{
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(REALGetStringEncoding(nullptr), 0U);
    EXPECT_EQ(Asked("REALGetStringEncoding"), 2);
    Provide("REALGetStringEncoding", [](REALstringStruct *) { return 7U; });
    for (int i = 0; i < 3; i++)
        EXPECT_EQ(REALGetStringEncoding(nullptr), 7U);
    EXPECT_EQ(Asked("REALGetStringEncoding"), 3);

    // Without the entry that adds a reference, none is given back.
    Provide("REALUnlockString", [](REALstringStruct *) { answer++; });
    RemoveReference(AnyHandle<REALstringStruct>(8));
    EXPECT_EQ(answer, 0U);
    Provide("REALLockString", [](REALstringStruct *) {});
    REALUnlockString(AnyHandle<REALstringStruct>(8));
    RemoveReference(AnyHandle<REALstringStruct>(8));
    EXPECT_EQ(answer, 2U);
    EXPECT_EQ(Asked("REALUnlockString"), 1);
}

TEST_F(HostOperations, YesAndNoAreInTheLowByteButForTheWholeWordGetters)
{
    bool value = true;
    EXPECT_FALSE(REALGetPropValueBoolean(nullptr, "On", &value));
    EXPECT_TRUE(value); // untouched
    Provide("RuntimeObjectIsa", [](REALobjectStruct *, REALclassRefStruct *) { return answer; });
    Provide("REALGetPropValueString", [](REALobjectStruct *, const char *, REALstringStruct **) { return answer; });
    Provide("REALGetPropValueBool", [](REALobjectStruct *, const char *, unsigned char *byte) {
        *byte = static_cast<unsigned char>(answer);
        return answer;
    });
    Provide("PluginBooleanArrayGetProc", [](void *, long, bool *) { return +[](void *, long) { return answer; }; });
    for (unsigned long given : {0UL, 1UL, 0x80UL, 0xFFUL, 0x100UL}) {
        answer = given;
        const bool isYes = given % 0x100 != 0;
        bool element = value = !isYes;
        EXPECT_EQ(REALObjectIsA(nullptr, nullptr), isYes) << given;
        EXPECT_EQ(REALGetPropValueString(nullptr, "", nullptr), given != 0) << given;
        EXPECT_EQ(REALGetPropValueBoolean(nullptr, "On", &value), isYes) << given;
        EXPECT_EQ(value, isYes) << given;
        REALGetArrayValueBoolean(nullptr, 0, &element);
        EXPECT_EQ(element, isYes) << given;
    }
}

TEST_F(HostOperations, StringContentsComeWithTheLengthWhereTheHostCanTell)
{
    auto string = AnyHandle<REALstringStruct>(8);
    std::int64_t length = 99;
    EXPECT_EQ(REALGetStringContents(nullptr, &length), nullptr);
    EXPECT_EQ(REALGetStringContents(string, &length), nullptr);
    EXPECT_EQ(Asked("StringGetCString"), 1);
    EXPECT_EQ(REALGetStringBytes(string).data, nullptr);
    EXPECT_EQ(Asked("StringGetCString"), 2);
    Provide("StringGetCString", [](REALstringStruct *) -> const char * { return "text"; });
    EXPECT_STREQ(REALGetStringContents(string, &length), "text");
    EXPECT_EQ(length, 99);

    Provide("REALLoadGlobalMethod", [](void *object, const char *prototype) -> void * {
        EXPECT_EQ(object, nullptr);
        EXPECT_STREQ(prototype, "LenB( s as string ) as integer");
        return reinterpret_cast<void *>(+[](REALstringStruct *) { return 4L; });
    });
    EXPECT_STREQ(REALGetStringContents(string, &length), "text");
    EXPECT_EQ(length, 4);
    EXPECT_STREQ(REALGetStringContents(string, nullptr), "text");
    EXPECT_EQ(REALGetStringBytes(string).size, 4);
}

TEST_F(HostOperations, ALengthWithoutBytesOrBelowZeroIsNone)
{
    static char text[] = "text", *bytes;
    static long length;
    Provide("StringGetCString", [](REALstringStruct *) { return bytes; });
    Provide("REALLoadGlobalMethod", [](void *, const char *) -> void * {
        return reinterpret_cast<void *>(+[](REALstringStruct *) { return length; });
    });
    Provide("memoryBlockGetPtr", [](REALmemoryBlockStruct *) { return bytes; });
    Provide("memoryBlockGetSize", [](REALmemoryBlockStruct *) { return length; });
    for (auto [given, data] : {std::pair<long, char *>(4, nullptr), {-1, nullptr}, {-1, text}}) {
        length = given;
        bytes = data;
        EXPECT_EQ(rbData(AnyHandle<REALstringStruct>(8)).size, 0U);
        EXPECT_EQ(rbData(AnyHandle<REALmemoryBlockStruct>(8), 0, 0).size, 0U);
    }
}

TEST_F(HostOperations, TheEventTokenIsOneRecordFurtherWithTheOldestSDK)
{
    REALevent token = {}; // which leads nowhere
    REALevent inner = {"Event", &token, 0, nullptr};
    REALevent outer = {"Event", &inner, 0, nullptr};
    Provide("GetEventInstance", [](REALobjectStruct *, void *given) { return given; });
    gSDKVersion = 10;
    EXPECT_EQ(REALGetEventInstance(nullptr, &inner), &token);
    gSDKVersion = 9;
    EXPECT_EQ(REALGetEventInstance(nullptr, &outer), &token);
    outer.token = nullptr; // a host that never wrote its token
    EXPECT_EQ(REALGetEventInstance(nullptr, &outer), nullptr);
}

TEST_F(HostOperations, AFunctionRunsOnceWithAndWithoutTheHostsProtection)
{
    int runs = 0;
    auto function = +[](void *data) { ++*static_cast<int *>(data); };
    EXPECT_EQ(REALCallFunctionWithExceptionHandler(function, &runs), nullptr);
    EXPECT_EQ(runs, 1);
    Provide("PluginCallFunctionWithExceptionHandler", [](void (*guarded)(void *), void *data) {
        guarded(data);
        return AnyHandle<REALobjectStruct>(16);
    });
    EXPECT_EQ(REALCallFunctionWithExceptionHandler(function, &runs), AnyHandle<REALobjectStruct>(16));
    EXPECT_EQ(runs, 2);
}

TEST_F(HostOperations, StringsAndInstancesAreMadeAsTheHostCan)
{
    Provide("REALBuildStringWithEncoding", [](const char *, int count, unsigned int encoding) {
        return AnyHandle<REALstringStruct>(static_cast<unsigned int>(count) * 100 + encoding);
    });
    EXPECT_EQ(REALBuildString("text", 4, 5), AnyHandle<REALstringStruct>(405));
    Provide("CreateInstance", [](REALclassRefStruct *) { return AnyHandle<REALobjectStruct>(16); });
    for (std::uintptr_t number : {0U, 8U})
        EXPECT_EQ(REALnewInstance(AnyHandle<REALclassRefStruct>(number)), AnyHandle<REALobjectStruct>(2 * number));
}

namespace {

// Calls the operation with nothing for each argument on a host that does not have the entry.
template <typename Result, typename... Arguments>
void CheckWithout(const char *entry, Result (*operation)(Arguments...), [[maybe_unused]] int missing = 0)
{
    FakeHost::Start();
    if constexpr (std::is_void_v<Result>) {
        operation(Arguments()...);
    } else {
        Result nothing = {};
        if constexpr (std::is_same_v<Result, int>) nothing = missing;
        EXPECT_EQ(operation(Arguments()...), nothing) << entry;
    }
    EXPECT_EQ(FakeHost::Asked(entry), 1) << entry;
}

} // namespace

TEST_F(HostOperations, EveryRowGivesTheMissingValueOnAHostWithoutTheEntry)
{
#define HOST_CALL_OR(missing, result, operation, parameters, arguments, entry)                                         \
    CheckWithout(entry, static_cast<result(*) parameters>(operation), -1);
#define HOST_CALL_AS(result, operation, parameters, arguments, entry)                                                  \
    CheckWithout(entry, static_cast<result(*) parameters>(operation));
#define HOST_CALL(result, operation, parameters, arguments)                                                            \
    HOST_CALL_AS(result, operation, parameters, arguments, #operation)
#define HOST_YES_NO_AS(operation, parameters, arguments, entry)                                                        \
    CheckWithout(entry, static_cast<bool(*) parameters>(operation));
#define HOST_YES_NO(operation, parameters, arguments) HOST_YES_NO_AS(operation, parameters, arguments, #operation)
#define HOST_YES_NO_WORD_AS HOST_YES_NO_AS
#define HOST_YES_NO_WORD HOST_YES_NO
#define HOST_ENTRY(result, operation, parameters, entry)
#define HOST_ARRAY_FIXED(type, element)
#define HOST_ARRAY_ELEMENT(type, element)
#define HOST_ALL_OPERATIONS
#include "Source/SDK/GlueCode/HostOperations.inc"
    EXPECT_EQ(REALCountClassProperties(nullptr), 0);
    EXPECT_EQ(REALGetClassProperty(nullptr, 0), nullptr);
}

// Newer hosts take text places, and answer widths, as floating-point numbers too, under the same names.
TEST_F(HostOperations, NewerHostsDrawAndMeasureInFractionsOfAPoint)
{
    REALGraphicsDrawString(nullptr, nullptr, 1, 2, 3);
    EXPECT_EQ(REALGraphicsStringWidth(nullptr, nullptr), 0.0);
    gHostVersion = 2007.019;
    Provide("RuntimeGraphicsStringWidth", [](void *, void *) { return 2; });
    EXPECT_EQ(REALGraphicsStringWidth(nullptr, nullptr), 2.0);
    gHostVersion = 2007.02;
    Provide("RuntimeGraphicsStringWidth", [](void *, void *) { return 2.5; });
    EXPECT_EQ(REALGraphicsStringWidth(nullptr, nullptr), 2.5);

    Provide("RuntimeGraphicsDrawString", [](void *, void *, int x, int y, int width) { seen = {x, y, width}; });
    gHostVersion = 2018.019;
    REALGraphicsDrawString(nullptr, nullptr, 7, 8, 9);
    EXPECT_EQ(seen, std::vector<long>({7, 8, 9}));
    Provide("RuntimeGraphicsDrawString", [](void *, void *, int x, int y, int width, double xd, double yd, double wd) {
        seen = {x, y, width, static_cast<long>(xd), static_cast<long>(yd), static_cast<long>(wd)};
    });
    gHostVersion = 2018.02;
    REALGraphicsDrawString(nullptr, nullptr, 7, 8, 9);
    EXPECT_EQ(seen, std::vector<long>({7, 8, 9, 7, 8, 9}));
}

// --- start-up -------------------------------------------------------------------------------------------

namespace {

double hostVersion;
std::vector<std::string> registered;

template <typename Record>
void *Note(Record *record)
{
    if constexpr (requires { record->name; }) registered.push_back(record->name);
    return nullptr;
}

} // namespace

TEST_F(HostOperations, TheSDKVersionFollowsFromTheHosts)
{
    Provide("REALGetRBVersion", [] { return hostVersion; });
    Provide("RegisterPluginVersion", [](int version) { seen.push_back(version); });
    Provide("PluginRegisterModule", Note<REALmoduleDefinition>);
    Provide("PluginRegisterMethod", Note<REALmethodDefinition>);
    Provide("PluginRegisterClass", Note<REALclassDefinition>);
    const std::pair<double, int> rows[] = {{2013.04, 13}, {2013.0399, 12}, {2013.03, 12}, {2013.029, 11}, {2013.0, 11},
                                           {2012.99, 10}, {2012.0, 10},    {2011.9, 9},   {0.0, 9}};
    for (auto [version, sdkVersion] : rows) {
        // What is registered stays for the life of the process: each host has one of its own.
        EXPECT_EQ(program::InChild([version = version, sdkVersion = sdkVersion] {
                      hostVersion = version;
                      REALPluginMain(Resolve);
                      return seen == std::vector<long>{sdkVersion} ? "" : "announced another version";
                  }),
                  "")
            << version;
    }
}

TEST_F(HostOperations, RegistrationComesInOrderAlsoForAHostThatSaysNothingOfItself)
{
    REALPluginMain(nullptr);
    EXPECT_EQ(Asked("REALGetRBVersion"), 0);

    Provide("PluginRegisterMethod", Note<REALmethodDefinition>);
    Provide("PluginRegisterClass", Note<REALclassDefinition>);
    REALPluginMain(Resolve);
    EXPECT_EQ(gSDKVersion, 9);
    EXPECT_EQ(Asked("PluginRegisterMethod"), 1);
    EXPECT_EQ(registered, (std::vector<std::string>{"UDPSocketVYN", "RAWSocketVYN", "DatagramVYN"}));
}
