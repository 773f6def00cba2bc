#include "Host/Runtime/Host.h"

#include <csignal>
#include <stdexcept>
#include <tuple>

namespace host {
namespace {

long LengthInBytes(REALstringStruct *string)
{
    return static_cast<long>(BytesOf(string).size());
}

constexpr char lengthName[] = "LenB";
using Length = Provided<LengthInBytes, lengthName>;

SharedMethodRow framework[] = {
    UNGUARDED_SHARED_METHOD("LenB(s as String) as Integer", Length::Call),
};

// Throws for null.
template <typename Found>
const Found &Existing(const Found *found, const char *what, const std::string &name)
{
    if (found == nullptr) throw std::invalid_argument(std::string("there is no ") + what + " " + name);
    return *found;
}

} // namespace

Host::Host(const Options &options) : version(options.version), entries(AllEntries())
{
    if (options.ignoresBrokenPipes) std::signal(SIGPIPE, SIG_IGN);
    for (const std::string &name : options.without) {
        if (entries.erase(name) == 0) throw std::invalid_argument("there is no entry " + name);
    }
    if (options.bare) {
        std::erase_if(entries, [](const auto &entry) {
            return entry.first != entry::REALGetRBVersionName && entry.first != entry::RegisterPluginVersionName;
        });
    }
    classes.offsets["Array"] = arrayOffset;
    for (auto definitions : {memoryBlockClasses, exceptionClasses, socketClasses, arrayClasses})
        classes.AddOwnClasses(definitions);
    classes.memoryBlock = classes.Find("MemoryBlock");
    for (REALmethodDefinition &method : framework)
        classes.AddFunction(method, true);
    for (const auto &[name, offset] : options.offsets) {
        if (offset < sizeof(Value))
            throw std::invalid_argument("the instance block of " + name + " lies in the header");
        classes.offsets[name] = offset;
    }
    current = this;
}

Host::~Host()
{
    current = nullptr;
}

std::string Host::Complaints()
{
    std::string text;
    for (const std::string &leak : ledger.Leaks())
        text += "still alive: " + leak + "\n";
    ledger.GiveBackResting();
    for (const std::string &error : ledger.Errors())
        text += error + "\n";
    return text;
}

// Every function is called with the largest number of words, and reads only its own parameters. Every type of a
// declaration is passed as a whole word, in a register or on the stack; of a narrower type the low bytes count. The
// caller cleans up the stack.
Word Host::Invoke(const Function &function, const Words &words)
{
    auto call = reinterpret_cast<Word (*)(Word, Word, Word, Word, Word, Word, Word, Word, Word)>(function.address);
    Word result = std::apply(call, words);
    if (exceptions.ArePending()) ReleaseWord(function.result.kind, result);
    exceptions.ThrowPending();
    return result;
}

REALobjectStruct *Host::Construct(const std::string &className, Words words)
{
    const Class &type = Existing(classes.Find(className), "class", className);
    Owned object(NewInstance(type));
    if (object.Get() == nullptr) throw std::bad_alloc();
    words[0] = AsWord(object.Get());
    if (auto constructor = FindMember(type, &Class::methods, Named("Constructor"))) Invoke(*constructor, words);
    return object.Leave();
}

const Property &Host::PropertyOf(REALobjectStruct *object, const std::string &name) const
{
    const Class &type = Existing(ClassOf(object, "a property"), "object with a property", name);
    return Existing(FindMember(type, &Class::properties, Named(name)), "property", name);
}

const Function &Host::MethodOf(REALobjectStruct *object, const char *prototype) const
{
    const Class &type = Existing(ClassOf(object, prototype), "object with a method", prototype);
    return Existing(FindMember(type, &Class::methods, Like(ParseDeclaration(prototype).value())), "method", prototype);
}

const Function &Host::SharedMethod(const char *prototype) const
{
    Declaration wanted = ParseDeclaration(prototype).value();
    const Function *found = nullptr;
    for (const Class &type : classes.All()) {
        if (found == nullptr) found = FindMember(type, &Class::sharedMethods, Like(wanted));
    }
    return Existing(found, "method", prototype);
}

} // namespace host
