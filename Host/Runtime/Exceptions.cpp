#include "Host/Runtime/Exceptions.h"

#include "Host/Runtime/Host.h"
#include "Host/Runtime/OwnClasses.h"
#include "Host/Runtime/Owned.h"

#include <utility>

namespace host {
namespace {

struct ExceptionRecord {
    REALstringStruct *message;
    std::int64_t number;
};

constexpr char rootName[] = "RuntimeException";

void Destroy(REALobjectStruct *exception)
{
    const Class &root = *Host::Current().classes.Find(rootName);
    Release(std::exchange(static_cast<ExceptionRecord *>(InstanceBlock(exception, root))->message, nullptr));
}

REALproperty properties[] = {
    Field("Message", "String", offsetof(ExceptionRecord, message)),
    Field("ErrorNumber", "Integer", offsetof(ExceptionRecord, number)),
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

// The record of an exception object; null for any other object.
ExceptionRecord *RecordOf(REALobjectStruct *object)
{
    const Class &root = *Host::Current().classes.Find(rootName);
    const Class *type = ClassOf(object, entry::REALRaiseExceptionName);
    if (type == nullptr || !type->IsA(root)) return nullptr;
    return static_cast<ExceptionRecord *>(InstanceBlock(object, root));
}

} // namespace

void AddExceptionClasses(Classes &classes)
{
    for (REALclassDefinition &definition : definitions)
        classes.AddClass(definition, true);
}

REALobjectStruct *NewException(const Exception &exception)
{
    Classes &classes = Host::Current().classes;
    const Class &root = *classes.Find(rootName);
    const Class *type = classes.Find(exception.className);
    REALobjectStruct *object = NewInstance(type != nullptr && type->IsA(root) ? *type : root);
    if (object != nullptr) {
        *static_cast<ExceptionRecord *>(InstanceBlock(object, root)) = {NewString(exception.message), exception.number};
    }
    return object;
}

void Exceptions::Raise(REALobjectStruct *exception)
{
    ExceptionRecord *record = RecordOf(exception);
    if (record == nullptr) {
        Host::Current().ledger.Error("what was raised is no exception");
        return;
    }
    if (pending == nullptr) {
        Lock(exception);
        pending = exception;
    }
    const Class *type = ClassOf(exception, entry::REALRaiseExceptionName);
    raised.push_back({type->name, std::string(BytesOf(record->message)), record->number});
}

REALobjectStruct *Exceptions::TakePending()
{
    return std::exchange(pending, nullptr);
}

void Exceptions::Throw()
{
    Owned exception(TakePending());
    const ExceptionRecord *record = RecordOf(exception.Get());
    const Class *type = ClassOf(exception.Get(), entry::REALRaiseExceptionName);
    throw Exception{type->name, std::string(BytesOf(record->message)), record->number};
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

// --- entries -----------------------------------------------------------------------------------------------

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
    return 1; // and not in an editor, which loads plugins too
}

} // namespace host
