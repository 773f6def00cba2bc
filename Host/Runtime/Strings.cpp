#include "Host/Runtime/Strings.h"

#include "Host/Runtime/Host.h"
#include "Host/Runtime/Owned.h"

#include <algorithm>
#include <cstring>
#include <iconv.h>
#include <memory>
#include <optional>
#include <string>

namespace host {
namespace {

constexpr std::size_t terminator = 4; // a zero unit of the widest encoding

struct Encoding {
    unsigned int code;
    const char *name;
    std::size_t unit;
};
// The numbers are written out here, so that a wrong one in the library is noticed.
constexpr Encoding encodings[] = {
    {0x0600, "ASCII", 1},      {0x08000100, "UTF-8", 1}, {0x0100, "UTF-16LE", 2},  {0x0C000100, "UTF-32LE", 4},
    {0x0201, "ISO-8859-1", 1}, {0x0500, "CP1252", 1},    {0x0000, "MACINTOSH", 1},
};

// Null for a code that names no encoding.
const Encoding *FindEncoding(unsigned int code)
{
    auto found = std::find_if(std::begin(encodings), std::end(encodings), [&](auto &row) { return row.code == code; });
    return found != std::end(encodings) ? &*found : nullptr;
}

// How many bytes to skip where a conversion stopped: one unit, and in UTF-8 the rest of its sequence.
std::size_t BadLength(std::string_view bytes, const Encoding &encoding)
{
    auto length = std::min(encoding.unit, bytes.size());
    if (encoding.code != kEncodingUTF8) return length;
    while (length < bytes.size() && (static_cast<unsigned char>(bytes[length]) & 0xC0) == 0x80)
        ++length;
    return length;
}

bool IsSevenBit(std::string_view bytes)
{
    return std::all_of(bytes.begin(), bytes.end(), [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
}

struct Conversion {
    std::string result;
    bool isExact = true;
};

// No character takes more than one unit of four bytes, and none comes from less than a byte.
std::optional<Conversion> Recode(std::string_view bytes, const Encoding &from, const Encoding &to)
{
    iconv_t descriptor = iconv_open(to.name, from.name);
    if (descriptor == reinterpret_cast<iconv_t>(-1)) return {};
    std::unique_ptr<void, decltype(&iconv_close)> converter(descriptor, iconv_close);
    Conversion made{std::string(bytes.size() * 4, '\0')};
    auto input = const_cast<char *>(bytes.data());
    auto output = made.result.data();
    auto left = bytes.size(), space = made.result.size();
    while (iconv(descriptor, &input, &left, &output, &space), left > 0) {
        made.isExact = false;
        auto bad = BadLength({input, left}, from);
        input += bad;
        left -= bad;
        *output = '?';
        output += to.unit;
        space -= to.unit;
    }
    made.result.resize(made.result.size() - space);
    return made;
}

// What can't be converted becomes a question mark; to or from "no declared encoding" the bytes stay what they are.
// Nothing for a code that names no encoding.
std::optional<std::string> Convert(std::string_view bytes, unsigned int from, unsigned int to)
{
    const Encoding *source = FindEncoding(from), *target = FindEncoding(to);
    if (from == to || from == kEncodingNone || to == kEncodingNone) return std::string(bytes);
    if (source == nullptr || target == nullptr) return {};
    if (source->unit == 1 && target->unit == 1 && IsSevenBit(bytes)) return std::string(bytes);
    auto made = Recode(bytes, *source, *target);
    return made ? std::optional(std::move(made->result)) : std::nullopt;
}

Value *NewBytes(Kind kind, std::string_view bytes, unsigned int encoding)
{
    if (bytes.empty()) return nullptr;
    Value *value = Host::Current().ledger.Create(kind, bytes.size() + terminator);
    if (value == nullptr) return nullptr;
    value->size = static_cast<std::int64_t>(bytes.size());
    value->encoding = encoding;
    std::memcpy(value->Bytes(), bytes.data(), bytes.size());
    return value;
}

std::string_view View(Value *value)
{
    if (value == nullptr) return {};
    return {reinterpret_cast<char *>(value->Bytes()), static_cast<std::size_t>(value->size)};
}

Value *FindString(const void *string, const char *operation)
{
    return Host::Current().ledger.Find(string, Kind::String, operation);
}

struct TextData : REALtextData {
    Value *text;
};

} // namespace

REALstringStruct *NewString(std::string_view bytes, unsigned int encoding)
{
    return reinterpret_cast<REALstringStruct *>(NewBytes(Kind::String, bytes, encoding));
}

RuntimeText *NewText(std::string_view utf8)
{
    return reinterpret_cast<RuntimeText *>(NewBytes(Kind::Text, utf8, kEncodingUTF8));
}

void Release(REALstringStruct *string)
{
    Release(string, Kind::String, "release of a string");
}

void Release(RuntimeText *text)
{
    Release(text, Kind::Text, "release of a text");
}

std::string_view BytesOf(REALstringStruct *string)
{
    return View(FindString(string, "reading of a string"));
}

unsigned int EncodingOf(REALstringStruct *string)
{
    Value *value = FindString(string, "reading of an encoding");
    return value != nullptr ? value->encoding : static_cast<unsigned int>(kEncodingUTF8);
}

bool IsUTF8(std::string_view bytes)
{
    if (IsSevenBit(bytes)) return true;
    auto made = Recode(bytes, *FindEncoding(kEncodingUTF8), *FindEncoding(kEncodingUTF32));
    return made && made->isExact;
}

void entry::REALLockString(REALstringStruct *string)
{
    Host::Current().ledger.Lock(string, Kind::String, REALLockStringName);
}

void entry::REALUnlockString(REALstringStruct *string)
{
    Release(string, Kind::String, REALUnlockStringName);
}

REALstringStruct *entry::originalREALBuildString(const char *bytes, int count)
{
    return REALBuildStringWithEncoding(bytes, count, kEncodingNone);
}

REALstringStruct *entry::REALBuildStringWithEncoding(const char *bytes, int count, unsigned int encoding)
{
    if (bytes == nullptr || count < 1) return nullptr;
    return NewString({bytes, static_cast<std::size_t>(count)}, encoding);
}

unsigned int entry::REALGetStringEncoding(REALstringStruct *string)
{
    return EncodingOf(string);
}

REALstringStruct *entry::REALConvertString(REALstringStruct *string, unsigned int encoding)
{
    auto converted = Convert(BytesOf(string), EncodingOf(string), encoding);
    return converted ? NewString(*converted, encoding) : nullptr;
}

void entry::REALSetStringEncoding(REALstringStruct *string, unsigned int encoding)
{
    if (Value *value = FindString(string, REALSetStringEncodingName)) value->encoding = encoding;
}

REALstringStruct *entry::REALAddStrings(REALstringStruct *first, REALstringStruct *second)
{
    auto encoding = EncodingOf(first != nullptr ? first : second);
    auto tail = Convert(BytesOf(second), EncodingOf(second), encoding);
    return NewString(std::string(BytesOf(first)).append(tail.value_or(std::string(BytesOf(second)))), encoding);
}

// The record keeps a reference on the string whose bytes it shows: the converted one, or the source itself.
unsigned long entry::REALGetStringData(REALstringStruct *string, unsigned int encoding, REALstringData *data)
{
    Value *source = FindString(string, REALGetStringDataName);
    if (source == nullptr || data == nullptr) return 0;
    Value *shown = source;
    if (source->encoding == encoding) {
        REALLockString(string);
    } else {
        auto converted = Convert(View(source), source->encoding, encoding);
        shown = converted ? NewBytes(Kind::String, *converted, encoding) : nullptr;
        if (shown == nullptr) return 0;
    }
    *data = {shown->Bytes(), shown->size, encoding, {shown}};
    return 1;
}

void entry::REALDisposeStringData(REALstringData *data)
{
    if (data != nullptr) Release(data->reserved[0], Kind::String, REALDisposeStringDataName);
}

const char *entry::StringGetCString(REALstringStruct *string)
{
    return BytesOf(string).data();
}

REALtextData *entry::REALGetTextData(const RuntimeText *text, const char *encodingName, unsigned char)
{
    Ledger &ledger = Host::Current().ledger;
    Value *value = ledger.Find(text, Kind::Text, REALGetTextDataName);
    if (value == nullptr || encodingName == nullptr || !SameName(encodingName, "utf-8")) return nullptr;
    auto data = new TextData{{reinterpret_cast<const char *>(value->Bytes())}, value};
    ledger.Lock(text, Kind::Text, REALGetTextDataName);
    return data;
}

void entry::REALDisposeTextData(REALtextData *data)
{
    std::unique_ptr<TextData> owned(static_cast<TextData *>(data));
    if (owned != nullptr) Release(owned->text, Kind::Text, REALDisposeTextDataName);
}

} // namespace host
