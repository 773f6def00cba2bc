#include "Host/Runtime/Properties.h"

#include "Host/Runtime/Host.h"

#include <cstring>

namespace host {
namespace {

void LockValue(const Type &type, Word word)
{
    if (type.kind == TypeKind::String) entry::REALLockString(reinterpret_cast<REALstringStruct *>(word));
    if (type.kind == TypeKind::Object) entry::REALLockObject(reinterpret_cast<REALobjectStruct *>(word));
}

void ReleaseValue(const Type &type, Word word)
{
    if (type.kind == TypeKind::String) Release(reinterpret_cast<REALstringStruct *>(word));
    if (type.kind == TypeKind::Object) Release(reinterpret_cast<REALobjectStruct *>(word));
}

unsigned char *FieldOf(REALobjectStruct *object, const Property &property)
{
    auto block = static_cast<unsigned char *>(InstanceBlock(object, *property.owner));
    return block + static_cast<std::int32_t>(property.record->parameter);
}

template <typename Field>
Word Load(const unsigned char *address)
{
    Field field;
    std::memcpy(&field, address, sizeof field);
    return static_cast<Word>(field);
}

template <typename Field>
void Store(unsigned char *address, Word word)
{
    auto field = static_cast<Field>(word);
    std::memcpy(address, &field, sizeof field);
}

Word LoadField(const unsigned char *address, TypeKind kind)
{
    switch (kind) {
    case TypeKind::Boolean:
        return *address != 0;
    case TypeKind::UInt16:
        return Load<std::uint16_t>(address);
    case TypeKind::UInt32:
        return Load<std::uint32_t>(address);
    default:
        return Load<Word>(address);
    }
}

void StoreField(unsigned char *address, TypeKind kind, Word word)
{
    switch (kind) {
    case TypeKind::Boolean:
        *address = word != 0;
        break;
    case TypeKind::UInt16:
        Store<std::uint16_t>(address, word);
        break;
    case TypeKind::UInt32:
        Store<std::uint32_t>(address, word);
        break;
    default:
        Store<Word>(address, word);
    }
}

// The property of this name and type; null, with nothing recorded, when the object has none.
const Property *FindTyped(REALobjectStruct *object, const char *name, TypeKind kind, const char *operation)
{
    const Class *type = ClassOf(object, operation);
    if (type == nullptr || name == nullptr) return nullptr;
    const Property *property = FindProperty(*type, name);
    return property != nullptr && property->type.kind == kind ? property : nullptr;
}

unsigned long GetByName(REALobjectStruct *object, const char *name, TypeKind kind, Word *value, const char *operation)
{
    const Property *property = FindTyped(object, name, kind, operation);
    if (property == nullptr || value == nullptr) return 0;
    *value = ReadProperty(object, *property);
    return 1;
}

unsigned long SetByName(REALobjectStruct *object, const char *name, TypeKind kind, Word value, const char *operation)
{
    const Property *property = FindTyped(object, name, kind, operation);
    if (property == nullptr || property->ReadOnly()) return 0;
    WriteProperty(object, *property, value);
    return 1;
}

} // namespace

Word ReadProperty(REALobjectStruct *object, const Property &property)
{
    const REALproperty &record = *property.record;
    if (property.IsField()) {
        Word word = LoadField(FieldOf(object, property), property.type.kind);
        LockValue(property.type, word);
        return word;
    }
    if (object == nullptr) return record.getter.shared();
    switch (property.type.kind) {
    case TypeKind::Boolean:
        return record.getter.boolean(object, record.parameter) != 0;
    case TypeKind::String:
        return reinterpret_cast<Word>(record.getter.string(object, record.parameter));
    default:
        return record.getter.integer(object, record.parameter);
    }
}

// A plain field gets its own reference on the new value before the old one goes: they may be the same.
void WriteProperty(REALobjectStruct *object, const Property &property, Word value)
{
    const REALproperty &record = *property.record;
    if (record.setter.word == kStandardAccessor) {
        unsigned char *field = FieldOf(object, property);
        Word old = LoadField(field, property.type.kind);
        LockValue(property.type, value);
        StoreField(field, property.type.kind, value);
        ReleaseValue(property.type, old);
    } else if (object == nullptr) {
        record.setter.shared(value != 0);
    } else if (property.type.kind == TypeKind::Boolean) {
        record.setter.boolean(object, record.parameter, value != 0);
    } else if (property.type.kind == TypeKind::String) {
        record.setter.string(object, record.parameter, reinterpret_cast<REALstringStruct *>(value));
    } else {
        record.setter.integer(object, record.parameter, value);
    }
}

// --- entries -----------------------------------------------------------------------------------------------

unsigned long entry::REALGetPropValueString(REALobjectStruct *object, const char *name, REALstringStruct **value)
{
    Word word = 0;
    if (value == nullptr || !GetByName(object, name, TypeKind::String, &word, REALGetPropValueStringName)) return 0;
    *value = reinterpret_cast<REALstringStruct *>(word);
    return 1;
}

unsigned long entry::REALSetPropValueString(REALobjectStruct *object, const char *name, REALstringStruct *value)
{
    return SetByName(object, name, TypeKind::String, reinterpret_cast<Word>(value), REALSetPropValueStringName);
}

unsigned long entry::REALGetPropValueInteger(REALobjectStruct *object, const char *name, long *value)
{
    return GetByName(object, name, TypeKind::Integer, value, REALGetPropValueIntegerName);
}

unsigned long entry::REALSetPropValueInteger(REALobjectStruct *object, const char *name, long value)
{
    return SetByName(object, name, TypeKind::Integer, value, REALSetPropValueIntegerName);
}

} // namespace host
