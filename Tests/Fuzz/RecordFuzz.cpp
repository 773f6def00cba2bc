// Definition records with any texts, flags, versions and members missing, through every front end.
#include "Fuzz.h"
#include "Source/Utility/rbDebug.h"
#include "Source/Utility/rbclassutil.h"

#include <set>

namespace {

// Texts live as long as the process: the host may keep what hangs on a record.
const char *Text(Input &input)
{
    static constexpr const char *kCommon[] = {"Integer", "String", "Boolean",        "Go",
                                              "Go()",    "A = 1",  "Get as Integer", ""};
    static auto &kept = *new std::set<std::string>();
    if (input.ConsumeProbability<float>() < 0.1F) return nullptr;
    if (input.ConsumeBool()) return input.PickValueInArray(kCommon);
    return kept.insert(input.ConsumeRandomLengthString(40)).first->c_str();
}

void Go() {}

void *Function(Input &input)
{
    return input.ConsumeBool() ? reinterpret_cast<void *>(Go) : nullptr;
}

struct Members {
    explicit Members(Input &input)
    {
        attribute = {Text(input), Text(input)};
        for (REALproperty &property : properties) {
            property = {};
            property.name = Text(input);
            property.type = Text(input);
            property.flags = input.ConsumeIntegral<unsigned int>();
            property.getter.word = input.ConsumeBool() ? kStandardAccessor : 0;
            property.setter.word = input.ConsumeBool() ? kStandardAccessor : 0;
            property.parameter = input.ConsumeIntegral<short>();
        }
        for (REALmethodDefinition &method : methods)
            method = {Function(input), Function(input), Text(input), input.ConsumeIntegral<unsigned int>(), 1,
                      &attribute};
        event = {Text(input), nullptr, 1, &attribute};
        constant = {Text(input), nullptr, nullptr, 1, &attribute};
        delegate = {Text(input), input.ConsumeIntegral<unsigned int>(), 1, &attribute};
        control.name = Text(input);
        control.dataSize = input.ConsumeIntegral<unsigned char>();
        control.flags = input.ConsumeIntegral<unsigned int>();
        control.version = input.ConsumeIntegralInRange<std::uint32_t>(0, 20);
        Attach(input, control.properties, control.propertyCount, properties, 2);
        Attach(input, control.methods, control.methodCount, methods, 2);
        Attach(input, control.events, control.eventCount, &event, 1);
        Attach(input, control.constants, control.constantCount, &constant, 1);
        Attach(input, control.attributes, control.attributeCount, &attribute, 1);
        Attach(input, control.sharedMethods, control.sharedMethodCount, methods, 2);
        Attach(input, control.sharedProperties, control.sharedPropertyCount, properties, 2);
        Attach(input, control.delegates, control.delegateCount, &delegate, 1);
    }

    // A list with its count, without either, or without its records.
    template <typename List, typename Count, typename Record>
    static void Attach(Input &input, List &list, Count &count, Record *records, int most)
    {
        count = static_cast<Count>(input.ConsumeIntegralInRange(0, most));
        list = input.ConsumeProbability<float>() < 0.9F ? records : nullptr;
    }

    REALattribute attribute;
    REALproperty properties[2];
    REALmethodDefinition methods[2];
    REALevent event;
    REALconstant constant;
    REALdelegate delegate;
    REALcontrol control = {};
};

void *TakeRecord(void *)
{
    return nullptr;
}

} // namespace

void Fuzz(Input &input)
{
    gHostResolver = [](const char *) { return reinterpret_cast<void *>(TakeRecord); };
    static constexpr double kVersions[] = {2006.04, 2012.0, 2013.0, 2019.02, 2021.03, 3000.0};
    gHostVersion = input.PickValueInArray(kVersions);
    gSDKVersion = input.ConsumeIntegralInRange(8, 12);
    gpartname = input.ConsumeBool() ? "Network" : nullptr;
    Members members(input);
    switch (input.ConsumeIntegralInRange(0, 4)) {
    case 0:
        MyREALRegisterClass(&members.control);
        break;
    case 1:
        MyREALRegisterControl(&members.control);
        break;
    case 2:
        MyREALRegisterClassExtension(&members.control);
        break;
    case 3:
        MyREALRegisterMethodArray(members.methods, input.ConsumeIntegralInRange<unsigned long>(0, 2));
        break;
    default:
        MyREALRegisterMethod(input.ConsumeBool() ? members.methods : nullptr);
    }
}
