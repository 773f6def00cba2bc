#include "Host/Runtime/Exceptions.h"

#include "Host/Runtime/Host.h"

namespace host {
namespace {

struct ExceptionRecord {
    REALstringStruct *message;
    std::int64_t number;
};

constexpr char rootName[] = "RuntimeException";

ExceptionRecord &RecordOf(REALobjectStruct *exception)
{
    return *static_cast<ExceptionRecord *>(InstanceBlock(exception, *Host::Current().classes.Find(rootName)));
}

void Destroy(REALobjectStruct *exception)
{
    Release(std::exchange(RecordOf(exception).message, nullptr));
}

REALproperty properties[] = {
    FIELD("Message", "String", ExceptionRecord, message),
    FIELD("ErrorNumber", "Integer", ExceptionRecord, number),
};

REALclassDefinition definitions[] = {
    {.name = rootName,
     .dataSize = sizeof(ExceptionRecord),
     .destructor = Destroy,
     .properties = properties,
     .propertyCount = std::size(properties)},
    {.name = "OutOfBoundsException", .superName = rootName},
    {.name = "OutOfMemoryException", .superName = rootName},
    {.name = "UnsupportedOperationException", .superName = rootName},
    {.name = "NilObjectException", .superName = rootName},
    {.name = "UnsupportedFormatException", .superName = rootName},
};

Exception ValueOf(REALobjectStruct *exception)
{
    const ExceptionRecord &record = RecordOf(exception);
    const Class *type = ClassOf(exception, entry::REALRaiseExceptionName);
    return {type->name, std::string(BytesOf(record.message)), record.number};
}

} // namespace

constinit const std::span<REALclassDefinition> exceptionClasses = definitions;

REALobjectStruct *NewException(const Exception &exception)
{
    const Class *type = Host::Current().classes.Find(exception.className);
    if (type == nullptr || !type->IsA(rootName)) type = Host::Current().classes.Find(rootName);
    REALobjectStruct *object = NewInstance(*type);
    if (object != nullptr) RecordOf(object) = {NewString(exception.message), exception.number};
    return object;
}

void Exceptions::Raise(REALobjectStruct *exception)
{
    const Class *type = ClassOf(exception, entry::REALRaiseExceptionName);
    if (type == nullptr || !type->IsA(rootName)) {
        Host::Current().ledger.Error("what was raised is no exception");
        return;
    }
    if (pending == nullptr) {
        entry::REALLockObject(exception);
        pending = exception;
    }
    raised.push_back(ValueOf(exception));
}

void Exceptions::ThrowPending()
{
    if (pending == nullptr) return;
    Owned exception(TakePending());
    throw ValueOf(exception.Get());
}

// What was pending before was not raised by the function.
REALobjectStruct *Exceptions::RunGuarded(void (*function)(void *), void *data)
{
    Owned before(TakePending()), stoppedBy(static_cast<REALobjectStruct *>(nullptr));
    try {
        function(data);
        stoppedBy = Owned(TakePending());
    } catch (const Exception &exception) {
        stoppedBy = Owned(NewException(exception));
    }
    pending = before.Leave();
    return stoppedBy.Leave();
}

void entry::REALRaiseException(REALobjectStruct *exception)
{
    Host::Current().exceptions.Raise(exception);
}

REALobjectStruct *entry::PluginCallFunctionWithExceptionHandler(void (*function)(void *), void *data)
{
    return Host::Current().exceptions.RunGuarded(function, data);
}

unsigned long entry::REALinRuntime()
{
    return 1; // a program runs, not an editor
}

} // namespace host
