#include "Host/Runtime/Properties.h"

#include "Host/Runtime/Host.h"

#include <bit>
#include <cstring>

namespace host {
namespace {

// Dead for what is no handle.
Kind KindOf(TypeKind kind)
{
    if (kind == TypeKind::String) return Kind::String;
    return kind == TypeKind::Object ? Kind::Object : Kind::Dead;
}

unsigned char *FieldOf(REALobjectStruct *object, const Property &property)
{
    auto block = static_cast<unsigned char *>(InstanceBlock(object, *property.owner));
    return block + static_cast<std::int32_t>(property.record->parameter);
}

// The fields of narrower types have no sign; the bytes of a word begin with its lowest.
Word LoadField(const unsigned char *address, const Type &type)
{
    Word word = 0;
    std::memcpy(&word, address, WidthOf(type.kind));
    return word;
}
static_assert(std::endian::native == std::endian::little);

// The property of this name and type; null, with nothing recorded, when the object has none.
const Property *FindTyped(REALobjectStruct *object, const char *name, TypeKind kind, const char *operation)
{
    const Class *type = ClassOf(object, operation);
    if (type == nullptr || name == nullptr) return nullptr;
    const Property *property = FindMember(*type, &Class::properties, Named(name));
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

// Whatever its type, a property travels as a word, of which a Boolean's low byte counts.
Word ReadProperty(REALobjectStruct *object, const Property &property)
{
    const REALproperty &record = *property.record;
    Word word;
    if (record.getter.word == kStandardAccessor) {
        word = LoadField(FieldOf(object, property), property.type);
        LockWord(property.type.kind, word);
    } else {
        word = object != nullptr ? record.getter.integer(object, record.parameter) : record.getter.shared();
    }
    return property.type.kind == TypeKind::Boolean ? (word & 0xFF) != 0 : word;
}

// A plain field gets its own reference on the new value before the old one goes: they may be the same.
void WriteProperty(REALobjectStruct *object, const Property &property, Word value)
{
    const REALproperty &record = *property.record;
    if (property.type.kind == TypeKind::Boolean) value = value != 0;
    if (record.setter.word == kStandardAccessor) {
        unsigned char *field = FieldOf(object, property);
        Word old = LoadField(field, property.type);
        LockWord(property.type.kind, value);
        std::memcpy(field, &value, WidthOf(property.type.kind));
        ReleaseWord(property.type.kind, old);
    } else if (object == nullptr) {
        record.setter.shared(static_cast<HostBoolean>(value != 0));
    } else {
        record.setter.integer(object, record.parameter, value);
    }
}

void LockWord(TypeKind kind, Word word)
{
    Host::Current().ledger.Lock(FromWord<const void *>(word), KindOf(kind), "lock of a value");
}

void ReleaseWord(TypeKind kind, Word word)
{
    Release(FromWord<const void *>(word), KindOf(kind), "release of a value");
}

unsigned long entry::REALGetPropValueString(REALobjectStruct *object, const char *name, REALstringStruct **value)
{
    Word word = 0;
    if (value == nullptr || !GetByName(object, name, TypeKind::String, &word, REALGetPropValueStringName)) return 0;
    *value = FromWord<REALstringStruct *>(word);
    return 1;
}

unsigned long entry::REALSetPropValueString(REALobjectStruct *object, const char *name, REALstringStruct *value)
{
    return SetByName(object, name, TypeKind::String, AsWord(value), REALSetPropValueStringName);
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
