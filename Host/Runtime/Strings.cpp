#include "Host/Runtime/Strings.h"

#include "Host/Runtime/Host.h"
#include "Host/Runtime/Owned.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <iconv.h>

namespace host {
namespace {

constexpr bool isLittleEndian = std::endian::native == std::endian::little;
constexpr std::size_t terminator = 4; // a zero unit of the widest encoding

constexpr struct {
    unsigned int code;
    const char *name;
    std::size_t unit;
} encodings[] = {
    {kEncodingASCII, "ASCII", 1},
    {kEncodingUTF8, "UTF-8", 1},
    {kEncodingUTF16, isLittleEndian ? "UTF-16LE" : "UTF-16BE", 2},
    {kEncodingUTF32, isLittleEndian ? "UTF-32LE" : "UTF-32BE", 4},
    {kEncodingLatin1, "ISO-8859-1", 1},
    {kEncodingWindows, "CP1252", 1},
    {kEncodingMacRoman, "MACINTOSH", 1},
};

auto FindEncoding(unsigned int code)
{
    return std::find_if(std::begin(encodings), std::end(encodings), [&](auto &known) { return known.code == code; });
}

class Converter {
  public:
    Converter(const char *to, const char *from) : descriptor(iconv_open(to, from)) {}
    Converter(const Converter &) = delete;
    Converter &operator=(const Converter &) = delete;
    ~Converter()
    {
        if (IsOpen()) iconv_close(descriptor);
    }

    bool IsOpen() const { return descriptor != reinterpret_cast<iconv_t>(-1); }

    // Converts as far as it goes and takes that much off the front; the result is appended.
    void Run(std::string_view &bytes, std::string &result)
    {
        char buffer[1024];
        auto input = const_cast<char *>(bytes.data());
        auto left = bytes.size();
        std::size_t status = 0;
        do {
            char *output = buffer;
            auto space = sizeof buffer;
            status = iconv(descriptor, &input, &left, &output, &space);
            result.append(buffer, output);
        } while (status == static_cast<std::size_t>(-1) && errno == E2BIG);
        bytes.remove_prefix(bytes.size() - left);
    }

  private:
    iconv_t descriptor;
};

// How much to leave out where a conversion stopped: one unit, and in UTF-8 the rest of its sequence.
std::size_t BadLength(std::string_view bytes, unsigned int encoding, std::size_t unit)
{
    auto length = std::min(unit, bytes.size());
    if (encoding != kEncodingUTF8) return length;
    while (length < bytes.size() && (static_cast<unsigned char>(bytes[length]) & 0xC0) == 0x80)
        ++length;
    return length;
}

bool IsSevenBit(std::string_view bytes)
{
    return std::all_of(bytes.begin(), bytes.end(), [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
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

void ReleaseBytes(const void *handle, Kind kind, const char *operation)
{
    Ledger &ledger = Host::Current().ledger;
    Value *value = ledger.Find(handle, kind, operation);
    if (value != nullptr && ledger.Unlock(value)) ledger.Bury(value);
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
    ReleaseBytes(string, Kind::String, "release of a string");
}

void Release(RuntimeText *text)
{
    ReleaseBytes(text, Kind::Text, "release of a text");
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

std::optional<std::string> Convert(std::string_view bytes, unsigned int from, unsigned int to)
{
    auto source = FindEncoding(from), target = FindEncoding(to);
    if (from == to || from == kEncodingNone || to == kEncodingNone) return std::string(bytes);
    if (source == std::end(encodings) || target == std::end(encodings)) return {};
    if (source->unit == 1 && target->unit == 1 && IsSevenBit(bytes)) return std::string(bytes);

    Converter converter(target->name, source->name), mark(target->name, "ASCII");
    if (!converter.IsOpen() || !mark.IsOpen()) return {};
    std::string result;
    for (converter.Run(bytes, result); !bytes.empty(); converter.Run(bytes, result)) {
        bytes.remove_prefix(BadLength(bytes, from, source->unit));
        std::string_view question = "?";
        mark.Run(question, result);
    }
    return result;
}

bool IsUTF8(std::string_view bytes)
{
    if (IsSevenBit(bytes)) return true;
    Converter converter("UTF-32", "UTF-8");
    std::string converted;
    converter.Run(bytes, converted);
    return bytes.empty();
}

// --- entries -----------------------------------------------------------------------------------------------

void entry::REALLockString(REALstringStruct *string)
{
    Host::Current().ledger.Lock(string, Kind::String, REALLockStringName);
}

void entry::REALUnlockString(REALstringStruct *string)
{
    ReleaseBytes(string, Kind::String, REALUnlockStringName);
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
    if (data != nullptr) ReleaseBytes(data->reserved[0], Kind::String, REALDisposeStringDataName);
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
    if (owned != nullptr) ReleaseBytes(owned->text, Kind::Text, REALDisposeTextDataName);
}

} // namespace host
