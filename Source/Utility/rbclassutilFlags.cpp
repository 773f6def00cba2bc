// Target, console-safety and scope flags: checks that members fit their owner, and replacements for flags that older
// hosts don't know.
#include "rbclassutil.h"

#include "Source/SDK/GlueCode/PluginMain.h"
#include "rbclassutilChecks.h"

#include <cstring>
#include <utility>

namespace {

// The lines for the four member lists of a class. Each is followed by the class and the member.
struct MemberLabels {
    const char *method;
    const char *sharedMethod;
    const char *property;
    const char *sharedProperty;
};

constexpr MemberLabels consoleLabels = {
    "Console-safe method in console-unsafe class: ",
    "Console-safe shared method in console-unsafe class: ",
    "Console-safe property in console-unsafe class: ",
    "Console-safe shared property in console-unsafe class: ",
};

constexpr MemberLabels desktopLabels = {
    "Method in control missing REALTargetDesktop: ",
    "Shared method in control missing REALTargetDesktop: ",
    "Property in control missing REALTargetDesktop: ",
    "Shared property in control missing REALTargetDesktop: ",
};

constexpr MemberLabels mobileLabels = {
    "Method in control missing REALTargetIOS: ",
    "Shared method in control missing REALTargetIOS: ",
    "Property in control missing REALTargetIOS: ",
    "Shared property in control missing REALTargetIOS: ",
};

const char *NameOf(const REALmethodDefinition &method)
{
    return method.declaration;
}

const char *NameOf(const REALproperty &property)
{
    return property.name;
}

// The debug switch is on every target, whatever those of its owner are.
bool IsDebugSwitch(const REALproperty &property)
{
    return property.name != nullptr && std::strcmp(property.name, "Debugging") == 0;
}

bool IsConsoleSafeOnly(std::uint32_t flags)
{
    return (flags & kTargetMaskChecked) == kConsoleSafe;
}

// Whether a class or module has targets besides the console, so that its members should name theirs.
bool HasOtherTargets(std::uint32_t flags)
{
    return (flags & ~std::uint32_t(kConsoleSafe)) != 0;
}

template <typename Member, typename IsMisfit>
void ReportMisfits(const char *label, const char *owner, std::span<Member> members, IsMisfit isMisfit)
{
    for (const Member &member : members) {
        if (isMisfit(member.flags)) LogMessage(label, owner, NameOf(member));
    }
}

template <typename IsMisfit>
void ReportMisfits(const MemberLabels &labels, const REALclassDefinition &d, IsMisfit isMisfit)
{
    ReportMisfits(labels.method, d.name, Members(d.methods, d.methodCount), isMisfit);
    ReportMisfits(labels.sharedMethod, d.name, Members(d.sharedMethods, d.sharedMethodCount), isMisfit);
    ReportMisfits(labels.property, d.name, Members(d.properties, d.propertyCount), isMisfit);
    for (REALproperty &property : Members(d.sharedProperties, d.sharedPropertyCount)) {
        if (!IsDebugSwitch(property)) ReportMisfits(labels.sharedProperty, d.name, Members(&property, 1), isMisfit);
    }
}

// Fields of four bytes or more that the host would look for past the end of the instance data.
void ReportOffsets(const REALclassDefinition &d)
{
    for (const REALproperty &property : Members(d.properties, d.propertyCount)) {
        if (property.getter.word != kStandardAccessor && property.setter.word != kStandardAccessor) continue;
        int offset = static_cast<int>(property.parameter);
        if (std::cmp_less(offset + 3L, d.dataSize)) continue;
        Report("Error: Offset for variable too big: %s.%s %d %d", d.name, property.name, offset,
               static_cast<int>(d.dataSize));
    }
}

} // namespace

void CheckTargetFlags(REALclassDefinition *definition)
{
    if (HasOtherTargets(definition->flags)) ReportMisfits(consoleLabels, *definition, IsConsoleSafeOnly);
    ReportOffsets(*definition);
}

void CheckTargetFlags(REALcontrol *definition)
{
    ReportOffsets(*definition);
    ReportMisfits(desktopLabels, *definition,
                  [](std::uint32_t flags) { return (flags & kTargetMaskChecked) != kTargetDesktop; });
}

void CheckTargetFlags(REALmobileControl *definition)
{
    ReportOffsets(*definition);
    ReportMisfits(mobileLabels, *definition,
                  [](std::uint32_t flags) { return (flags & kTargetMaskChecked) != kTargetIOS; });
}

void CheckTargetFlags(REALmoduleDefinition *module)
{
    if (!HasOtherTargets(module->flags)) return;
    ReportMisfits("Console-safe method in console-unsafe module: ", module->name,
                  Members(module->methods, module->methodCount), IsConsoleSafeOnly);
    ReportMisfits("Console-safe property in console-unsafe module: ", module->name,
                  Members(module->properties, module->propertyCount), IsConsoleSafeOnly);
}

// What the running host knows of these flags.
static std::uint32_t FlagsForHost(std::uint32_t flags)
{
    if (gHostVersion < 2020.02 && (flags & kTargetMaskFixed) == kTargetsConsoleAndWeb) {
        flags = (flags & ~std::uint32_t(kTargetsConsoleAndWeb)) | kConsoleSafe;
    }
    if ((flags & kConsoleSafeIfKnown) != 0) {
        flags &= ~std::uint32_t(kConsoleSafeIfKnown);
        if (gHostVersion >= 2010.029) flags |= kConsoleSafe;
    }
    return flags;
}

// A count below 1 means no list.
template <typename Member>
static void FixFlagsOf(Member *members, long count)
{
    for (Member &member : Members(members, static_cast<std::uint64_t>(count > 0 ? count : 0))) {
        member.flags = FlagsForHost(member.flags);
    }
}

void FixFlags(REALmethodDefinition *method, const char *)
{
    FixFlagsOf(method, 1);
}

void FixFlags(REALmethodDefinition *methods, long count, const char *)
{
    FixFlagsOf(methods, count);
}

void FixFlags(REALproperty *properties, long count, const char *)
{
    FixFlagsOf(properties, count);
}

void FixFlags(REALclassDefinition *definition)
{
    REALclassDefinition &d = *definition;
    d.flags = FlagsForHost(d.flags);
    FixFlags(d.methods, static_cast<long>(d.methodCount), d.name);
    FixFlags(d.sharedMethods, static_cast<long>(d.sharedMethodCount), d.name);
    FixFlags(d.properties, static_cast<long>(d.propertyCount), d.name);
    FixFlags(d.sharedProperties, static_cast<long>(d.sharedPropertyCount), d.name);
}

void FixFlags(REALmoduleDefinition *module)
{
    FixFlags(module->methods, static_cast<long>(module->methodCount), module->name);
    FixFlags(module->properties, static_cast<long>(module->propertyCount), module->name);
}

template <typename Member>
static void MarkProtectedMembers(Member *members, unsigned long count, const char *missingMessage)
{
    if (members == nullptr && count != 0) LogMessage(missingMessage);
    for (Member &member : Members(members, count)) {
        if ((member.flags & kScopeMask) == 0) member.flags |= kScopeProtected;
    }
}

void MarkProtected(REALmethodDefinition *methods, unsigned long count)
{
    MarkProtectedMembers(methods, count, "Error: method array is nil while count is not zero!");
}

void MarkProtected(REALproperty *properties, unsigned long count)
{
    MarkProtectedMembers(properties, count, "Error: property array is nil while count is not zero!");
}

void MarkProtected(REALenum *enums, unsigned long count)
{
    MarkProtectedMembers(enums, count, "Error: enum array is nil while count is not zero!");
}

void MarkProtected(REALmoduleDefinition *module)
{
    MarkProtected(module->methods, module->methodCount);
    MarkProtected(module->properties, module->propertyCount);
    MarkProtected(module->enums, module->enumCount);
}
