// The calls that a Lua program makes, on functions of the test's own: every type, at every place among the arguments.
#include "Host/Script/Lua.h"

#include <gtest/gtest.h>
#include <utility>

using host::Host;

namespace {

// Each argument has a digit of its own, so that one which is lost or moved shows.
long Digits(long a, long b, long c, long d, long e, long f, long g, long h)
{
    long number = 0;
    for (long digit : {a, b, c, d, e, f, g, h})
        number = number * 10 + digit;
    return number;
}

long Mixed(HostBoolean a, unsigned short b, unsigned int c, long d, HostBoolean e, unsigned short f, unsigned int g,
           HostBoolean h)
{
    return Digits(a != 0, b == 0xFFFF, c == 0xFFFFFFFF, d == -1, e != 0, f == 0xFFFF, g == 0xFFFFFFFF, h != 0);
}

// What a narrow result leaves in the rest of its register is anything.
unsigned long Wide()
{
    return 0xAAAAAAAAAAAA0100;
}

REALstringStruct *Halves(REALstringStruct *text, REALstringStruct **tail)
{
    auto bytes = host::BytesOf(text);
    host::Release(std::exchange(*tail, host::NewString(bytes.substr(bytes.size() / 2))));
    return host::NewString(bytes.substr(0, bytes.size() / 2));
}

REALobjectStruct *Same(REALobjectStruct *block)
{
    if (block != nullptr) host::Lock(block);
    return block;
}

REALobjectStruct *keptBlock = nullptr;

void Keep(REALobjectStruct *block)
{
    host::Release(std::exchange(keptBlock, Same(block)));
}

REALobjectStruct *Kept()
{
    return Same(keptBlock);
}

template <typename Signature>
REALmethodDefinition Row(const char *declaration, Signature *function)
{
    REALmethodDefinition method{};
    method.function = reinterpret_cast<void *>(function);
    method.declaration = declaration;
    return method;
}

REALmethodDefinition functions[] = {
    Row("Digits(a as Integer, b as Integer, c as Integer, d as Integer = 4, e as Integer = 5, "
        "f as Integer = 6, g as Integer = 7, h as Integer = 8) as Integer",
        Digits),
    Row("Mixed(a as Boolean, b as UInt16, c as UInt32, d as Integer, e as Boolean, f as UInt16, g as UInt32, "
        "h as Boolean) as Integer",
        Mixed),
    Row("AsBoolean() as Boolean", Wide),
    Row("AsUInt16() as UInt16", Wide),
    Row("AsUInt32() as UInt32", Wide),
    Row("Halves(text as String = \"left out\", byref tail as String) as String", Halves),
    Row("Same(block as MemoryBlock) as MemoryBlock", Same),
    Row("Keep(block as MemoryBlock)", Keep),
    Row("Kept() as MemoryBlock", Kept),
};

} // namespace

TEST(Calls, CarryEveryTypeBothWays)
{
    const struct {
        const char *call, *result;
    } rows[] = {
        {"Digits(1, 2, 3, 4, 5, 6, 7, 8)", "12345678"},
        {"Digits(3, 2, 1)", "32145678"},
        {"Mixed(true, 0xFFFF, 0xFFFFFFFF, -1, true, 0xFFFF, 0xFFFFFFFF, true)", "11111111"},
        {"Mixed(false, 0xFFFF, 0, -1, false, 0xFFFF, 0, false)", "01010100"},
        {"AsBoolean()", "false"},
        {"AsUInt16()", "256"},
        {"AsUInt32()", "2863268096"},
        {"table.concat({ Halves('abcdef') }, '|')", "'abc|def'"},
        {"table.concat({ Halves(host.string('abcdef', 0x600)) }, '|')", "'abc|def'"},
        {"table.concat({ Halves() }, '|')", "'left| out'"},
        {"Same(nil)", "nil"},
        {"(function() local block = MemoryBlock(3); return Same(block) == block and block:bytes() end)()",
         "string.rep('\\0', 3)"},
        // An object that outlives its proxy isn't taken for the one whose proxy came after.
        {"(function() do local first <close> = MemoryBlock('first'); Keep(first) end; local second = MemoryBlock(2); "
         "local first = Kept(); Keep(nil); return first ~= second and first:bytes() end)()",
         "'first'"},
        // Large blocks of Lua's memory come and go through all their sizes.
        {"(function() local size = 0; for round = 1, 3 do for i = 900, 20000, 77 do "
         "size = size + #(('x'):rep(i) .. 'y'):upper() - i end end; return size end)()",
         "3 * 249"},
        {"pcall(Mixed, true, 0x10000, 0, 0, true, 0, 0, true)", "false"},
        {"pcall(Same, 'text')", "false"},
        {"pcall(Digits, 1, 2, 3.5)", "false"},
    };
    Host host;
    for (REALmethodDefinition &function : functions)
        host.classes.AddFunction(function, false);
    {
        host::Script script(host, {});
        for (const auto &row : rows) {
            std::string check = std::string("if (") + row.call + ") ~= " + row.result + " then error('differs') end";
            EXPECT_NO_THROW(script.RunLine(check)) << check;
        }
    }
    EXPECT_EQ(host.Complaints(), "");
}
