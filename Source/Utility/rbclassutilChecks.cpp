// The checks of member lists. They report and change nothing.
//
// A list that is too long to be true is not walked, nor is one that is missing.
#include "rbclassutil.h"

#include "rbclassutilChecks.h"

#include <strings.h>

// The members to walk. `rangeMessage` takes the owner and the count; `missingMessage`, for a list that is
// missing though it has a count, the owner and the index of the first entry.
template <typename Member>
static std::span<Member> MembersToCheck(const char *owner, Member *members, unsigned long count,
                                        Message<const char *, int> rangeMessage,
                                        Message<const char *, int> missingMessage = nullptr)
{
    if (count > kMaximumWalked) {
        Report(rangeMessage, owner, static_cast<int>(count));
        return {};
    }
    if (members == nullptr && count != 0 && missingMessage.format != nullptr) Report(missingMessage, owner, 0);
    return Members(members, count);
}

// What every member has. The message takes the owner, the member and the count.
template <typename Member>
static void CheckMemberAttributes(const char *owner, const char *name, const Member &member,
                                  Message<const char *, const char *, int> message)
{
    if (!CountAgrees(member.attributes, member.attributeCount, kMaximum)) {
        Report(message, owner, name, static_cast<int>(member.attributeCount));
    }
    CheckAttributes(owner, name, member.attributes, member.attributeCount);
}

// The message takes the owner and the index.
static void CheckText(const char *text, Message<const char *, int> message, const char *owner, int index)
{
    if (text == nullptr) Report(message, owner, index);
}

void CheckAttributes(const char *owner, const char *member, REALattribute *attributes, unsigned long count)
{
    if (count > kMaximumWalked)
        return Report("Error: attribute count out of range for %s.%s: %d.", owner, member, static_cast<int>(count));
    int index = 0;
    for (const REALattribute &attribute : Members(attributes, count)) {
        if (attribute.name == nullptr) {
            Report("Error: %s.%s has an attribute without name! Index: %d", owner, member, index);
        }
        if (attribute.value == nullptr) {
            Report("Error: %s.%s has an attribute without value! Name: %s Index: %d", owner, member, attribute.name,
                   index);
        }
        index++;
    }
}

void CheckMethods(const char *owner, REALmethodDefinition *methods, unsigned long count)
{
    int index = 0;
    for (const REALmethodDefinition &method : MembersToCheck(
             owner, methods, count, "Error: method count out of range for %s: %d.", "Error: method %s.%d is NULL.")) {
        const char *declaration = method.declaration;
        CheckText(declaration, "Error: The method %s.%d has nil declaration.", owner, index++);
        if (method.function == nullptr) Report("Error: The method %s.%s has nil function.", owner, declaration);
        CheckMemberAttributes(owner, declaration, method,
                              "Error: The method %s.%s has the wrong attributeCount value: %d");
    }
}

void CheckConstants(const char *owner, REALconstant *constants, unsigned long count)
{
    int index = 0;
    for (const REALconstant &constant :
         MembersToCheck(owner, constants, count, "Error: constant count out of range for %s: %d.",
                        "Error: Constant %s.%d is NULL.")) {
        const char *declaration = constant.declaration;
        CheckText(declaration, "Error: The constant %s.%d has nil declaration.", owner, index++);
        CheckMemberAttributes(owner, declaration, constant,
                              "Error: The constant %s.%s has the wrong attributeCount value: %d");
    }
}

void CheckEvents(const char *owner, REALevent *events, unsigned long count)
{
    int index = 0;
    for (const REALevent &event : MembersToCheck(owner, events, count, "Error: event count out of range for %s: %d.")) {
        const char *declaration = event.declaration;
        CheckText(declaration, "Error: The event %s.%d has nil declaration.", owner, index++);
        CheckMemberAttributes(owner, declaration, event,
                              "Error: The event %s.%s has the wrong attributeCount value: %d");
    }
}

void CheckDelegates(const char *owner, REALdelegate *delegates, unsigned long count)
{
    int index = 0;
    for (const REALdelegate &delegate :
         MembersToCheck(owner, delegates, count, "Error: delegate count out of range for %s: %d.")) {
        const char *declaration = delegate.declaration;
        CheckText(declaration, "Error: The delegate %s.%d has nil declaration.", owner, index++);
        if (delegate.flags == 0) Report("Warning: The delegate %s.%s has 0 for flags.", owner, declaration);
        CheckMemberAttributes(owner, declaration, delegate,
                              "Error: The delegate %s.%s has the wrong attributeCount value: %d");
    }
}

// Where the host reads or writes the instance data itself, it does so in aligned words of integers.
static void CheckStandardAccessors(const char *owner, const REALproperty &property)
{
    bool isDouble = strcasecmp(property.type, "double") == 0;
    int offset = static_cast<int>(property.parameter);
    auto check = [&](std::intptr_t accessor, Message<const char *, const char *> needsCustom) {
        if (accessor != kStandardAccessor) return;
        if (isDouble) {
            Report(needsCustom, owner, property.name);
        } else if (offset % 4 != 0) {
            Report("Error: The property %s.%s has unaligned offset %d.", owner, property.name, offset);
        }
    };
    check(property.getter.word, "Error: The property %s.%s needs custom getter.");
    check(property.setter.word, "Error: The property %s.%s needs custom setter.");
}

static void CheckProperty(const char *owner, const REALproperty &property, int index)
{
    const char *name = property.name;
    CheckText(name, "Error: The property %s.%d has nil name.", owner, index);
    if (property.getter.word == 0) Report("Error: The property %s.%s has nil getter.", owner, name);
    CheckText(property.type, "Error: The property %s.%d has nil type.", owner, index);
    if (property.type != nullptr) CheckStandardAccessors(owner, property);
    if (property.editor != nullptr) Report("Error: The property %s.%s has editor.", owner, name);
    if (!CountAgrees(property.enumEntries, property.enumCount, kMaximum)) {
        Report("Error: The property %s.%s has wrong enumCount: %d", owner, name, static_cast<int>(property.enumCount));
    }
    CheckMemberAttributes(owner, name, property, "Error: The property %s.%s has attributes: %d");
}

void CheckProperties(const char *owner, REALproperty *properties, unsigned long count)
{
    int index = 0;
    for (const REALproperty &property :
         MembersToCheck(owner, properties, count, "Error: property count out of range for %s: %d.")) {
        CheckProperty(owner, property, index++);
    }
}

void CheckMembers(const REALclassDefinition &d)
{
    CheckAttributes("", d.name, d.attributes, d.attributeCount);
    CheckMethods(d.name, d.methods, d.methodCount);
    CheckProperties(d.name, d.properties, d.propertyCount);
    CheckConstants(d.name, d.constants, d.constantCount);
    CheckEvents(d.name, d.events, d.eventCount);
    CheckDelegates(d.name, d.delegates, d.delegateCount);
    CheckMethods(d.name, d.sharedMethods, d.sharedMethodCount);
    CheckProperties(d.name, d.sharedProperties, d.sharedPropertyCount);
}
