#include "Host/Runtime/Objects.h"

#include "Host/Runtime/Host.h"

namespace host {
namespace {

void RunDestructors(REALobjectStruct *object, const Class &type)
{
    for (const Class *level = &type; level != nullptr; level = level->super) {
        if (level->destructor != nullptr) level->destructor(object);
        if (level->definition->destructor != nullptr) level->definition->destructor(object);
    }
}

void End(Value *value)
{
    Host &host = Host::Current();
    auto object = reinterpret_cast<REALobjectStruct *>(value);
    value->kind = Kind::Dying;
    RunDestructors(object, *value->type);
    host.events.Forget(object);
    if (value->references > 0) host.ledger.Error("a destructor kept its own object " + value->type->name);
}

} // namespace

REALobjectStruct *NewInstance(const Class &type)
{
    auto size = type.offset + type.dataSize - sizeof(Value);
    return reinterpret_cast<REALobjectStruct *>(Host::Current().ledger.Create(Kind::Object, size, &type));
}

void Release(REALobjectStruct *object)
{
    Release(object, Kind::Object, "release of an object");
}

void Release(const void *handle, Kind kind, const char *operation)
{
    Ledger &ledger = Host::Current().ledger;
    Value *value = ledger.Find(handle, kind, operation);
    if (value == nullptr || !ledger.Unlock(value)) return;
    if (kind == Kind::Object) End(value);
    ledger.Bury(value);
}

const Class *ClassOf(const REALobjectStruct *object, const char *operation)
{
    Value *value = Host::Current().ledger.Find(object, Kind::Object, operation);
    return value != nullptr ? value->type : nullptr;
}

void *InstanceBlock(REALobjectStruct *object, const Class &type)
{
    return reinterpret_cast<unsigned char *>(object) + type.offset;
}

void entry::REALLockObject(REALobjectStruct *object)
{
    Host::Current().ledger.Lock(object, Kind::Object, REALLockObjectName);
}

void entry::REALUnlockObject(REALobjectStruct *object)
{
    Release(object, Kind::Object, REALUnlockObjectName);
}

REALobjectStruct *entry::REALnewInstance(const char *className)
{
    const Class *type = Host::Current().classes.Find(className != nullptr ? className : "");
    return type != nullptr ? NewInstance(*type) : nullptr;
}

REALobjectStruct *entry::CreateInstance(REALclassRefStruct *classRef)
{
    auto type = reinterpret_cast<const Class *>(classRef);
    return Host::Current().classes.Owns(type) ? NewInstance(*type) : nullptr;
}

REALclassRefStruct *entry::REALGetClassRef(const char *className)
{
    const Class *type = Host::Current().classes.Find(className != nullptr ? className : "");
    return reinterpret_cast<REALclassRefStruct *>(const_cast<Class *>(type));
}

unsigned long entry::REALObjectIsA(REALobjectStruct *object, REALclassRefStruct *classRef)
{
    const Class *type = ClassOf(object, REALObjectIsAName);
    auto wanted = reinterpret_cast<const Class *>(classRef);
    return type != nullptr && Host::Current().classes.Owns(wanted) && type->IsA(wanted->name);
}

void *entry::REALLoadObjectMethod(REALobjectStruct *object, const char *prototype)
{
    const Class *type = ClassOf(object, REALLoadObjectMethodName);
    auto wanted = ParseDeclaration(prototype != nullptr ? prototype : "");
    if (type == nullptr || !wanted) return nullptr;
    const Function *method = FindMember(*type, &Class::methods, Like(*wanted));
    return method != nullptr ? method->address : nullptr;
}

void *entry::REALLoadGlobalMethod(void *, const char *prototype)
{
    auto wanted = ParseDeclaration(prototype != nullptr ? prototype : "");
    for (const Function *function : Host::Current().classes.AllFunctions()) {
        if (wanted && SamePrototype(*function, *wanted)) return function->address;
    }
    return nullptr;
}

} // namespace host
