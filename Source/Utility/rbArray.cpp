// The array operations, each written once for all element types and then made for each of them.
//
// An element is read and written in the array's storage, or else by the host's two-stage operations.
#include "rbArray.h"

#include "rbDebug.h"
#include "rbReference.h"

#include <cstring>
#include <type_traits>

namespace {

// Converts an element to its type in the host's operations, where Booleans are bool and all objects are
// REALobjectStruct.
template <typename To, typename From>
To ElementCast(From value)
{
    if constexpr (std::is_pointer_v<From>) {
        return reinterpret_cast<To>(value);
    } else if constexpr (std::is_same_v<To, bool>) {
        return value != 0;
    } else {
        return value;
    }
}

bool HasArray(const void *array, const char *operation)
{
    if (array == nullptr) TRACE(operation, "Array is nil");
    return array != nullptr;
}

// The index after this one. A host may answer with any number; the largest has no next one and wraps.
long NextIndex(long index)
{
    return static_cast<long>(static_cast<unsigned long>(index) + 1);
}

// Whether the array is there and has an element of that number. A number out of range raises.
bool HasElement(void *array, long index, const char *operation)
{
    if (!HasArray(array, operation)) return false;
    long upperBound = REALGetArrayUBound(array);
    if (index >= 0 && index <= upperBound) return true;
    RaiseOutOfBoundsException(index, 0, NextIndex(upperBound), "index", "");
    return false;
}

// The place of an element in the storage; null without direct access. Storage knows no types: an element
// is copied from and to its place.
template <typename Element>
char *FindElement(void *array, long index)
{
    char *storage = static_cast<char *>(GetArrayStorage(array));
    return storage != nullptr ? storage + static_cast<std::size_t>(index) * sizeof(Element) : nullptr;
}

template <typename Element>
Element LoadElement(const char *place)
{
    Element element;
    std::memcpy(&element, place, sizeof element);
    return element;
}

// Reads the element straight from the storage, with a reference if it is a string or an object. Result: whether that
// is possible.
template <typename Element>
bool GetDirectly(void *array, long index, Element *out)
{
    if (out == nullptr) return false;
    const char *place = FindElement<Element>(array, index);
    if (place == nullptr) return false;
    std::memcpy(out, place, sizeof *out);
    if constexpr (std::is_pointer_v<Element>) Keep(LoadElement<Element>(place));
    return true;
}

// The new element is in its place before the old one is released, which may run the program's code.
template <typename Element>
bool SetDirectly(void *array, long index, Element value)
{
    char *place = FindElement<Element>(array, index);
    if (place == nullptr) return false;
    if constexpr (std::is_pointer_v<Element>) {
        Keep(value);
        auto old = LoadElement<Element>(place);
        std::memcpy(place, &value, sizeof value);
        ReleaseKept(old);
    } else {
        std::memcpy(place, &value, sizeof value);
    }
    return true;
}

template <typename Element, typename HostElement>
void GetElement(void *array, long index, Element *out, void (*getFromHost)(void *, long, HostElement *))
{
    if (!HasElement(array, index, "REALGetArrayValue")) return;
    if constexpr (std::is_same_v<HostElement, bool>) {
        if (GetDirectly(array, index, out)) return;
        bool element = out != nullptr && *out != 0;
        getFromHost(array, index, out != nullptr ? &element : nullptr);
        if (out != nullptr) *out = element;
    } else {
        auto hostOut = reinterpret_cast<HostElement *>(out);
        if (!GetDirectly(array, index, hostOut)) getFromHost(array, index, hostOut);
    }
}

template <typename Element, typename HostElement>
void SetElement(void *array, long index, Element value, void (*setInHost)(void *, long, HostElement))
{
    auto hostValue = ElementCast<HostElement>(value);
    if (!HasElement(array, index, "REALSetArrayValue") || SetDirectly(array, index, hostValue)) return;
    setInHost(array, index, hostValue);
}

template <typename Element, typename HostElement>
void InsertElement(void *array, long index, Element value, void (*insertInHost)(void *, long, HostElement))
{
    insertInHost(array, index, ElementCast<HostElement>(value));
}

} // namespace

#define ARRAY_GET_YES(type, element, host)                                                                             \
    void REALGetArrayValue(_REALarray##type *array, long index, element *out)                                          \
    {                                                                                                                  \
        Guarded([=] { GetElement(array, index, out, REALGetArrayValue##host); });                                      \
    }
#define ARRAY_SET_YES(type, element, host)                                                                             \
    void REALSetArrayValue(_REALarray##type *array, long index, element value)                                         \
    {                                                                                                                  \
        Guarded([=] { SetElement(array, index, value, REALSetArrayValue##host); });                                    \
    }
#define ARRAY_INSERT_YES(type, element, host)                                                                          \
    void REALInsertArrayValue(_REALarray##type *array, long index, element value)                                      \
    {                                                                                                                  \
        Guarded([=] { InsertElement(array, index, value, REALInsertArrayValue##host); });                              \
    }                                                                                                                  \
    void REALAppendArrayValue(_REALarray##type *array, element value)                                                  \
    {                                                                                                                  \
        Guarded([=] {                                                                                                  \
            if (array != nullptr) REALInsertArrayValue(array, NextIndex(REALGetArrayUBound(array)), value);            \
        });                                                                                                            \
    }
#define ARRAY_ELEMENT(type, element, host, get, set, insert)                                                           \
    long REALGetArrayUBound(_REALarray##type *array)                                                                   \
    {                                                                                                                  \
        return array != nullptr ? REALGetArrayUBound(static_cast<void *>(array)) : -1;                                 \
    }                                                                                                                  \
    element *GetArrayBasePointer(_REALarray##type *array)                                                              \
    {                                                                                                                  \
        return static_cast<element *>(GetArrayStorage(array));                                                         \
    }                                                                                                                  \
    ARRAY_GET_##get(type, element, host) ARRAY_SET_##set(type, element, host) ARRAY_INSERT_##insert(type, element, host)
#define ARRAY_CREATOR(name, type, code)                                                                                \
    _REALarray##type *REALCreateArray##name(long upperBound)                                                           \
    {                                                                                                                  \
        return static_cast<_REALarray##type *>(REALCreateArray(code, upperBound));                                     \
    }
#include "rbArrayElements.inc"

long REALGetArrayInt(_REALarrayInteger *array, long index)
{
    return Guarded([=] {
        long value = 0;
        if (!HasElement(array, index, "REALGetArrayInt") || GetDirectly(array, index, &value)) return value;
        REALGetArrayValueInteger(array, index, &value);
        return value;
    });
}

REALstringStruct *REALGetArrayString(_REALarrayString *array, long index)
{
    return Guarded([=] {
        REALstringStruct *value = nullptr;
        if (!HasElement(array, index, "REALGetArrayString") || GetDirectly(array, index, &value)) return value;
        return REALGetArrayString(static_cast<void *>(array), index);
    });
}

REALobjectStruct *REALGetArrayObject(_REALarrayObject *array, long index)
{
    return Guarded([=] {
        REALobjectStruct *value = nullptr;
        if (!HasElement(array, index, "REALGetArrayObject") || GetDirectly(array, index, &value)) return value;
        return REALGetArrayObject(static_cast<void *>(array), index);
    });
}

REALobjectStruct *REALGetArrayVariant(_REALarrayObject *array, long index)
{
    return Guarded([=]() -> REALobjectStruct * {
        if (!HasArray(array, "REALGetArrayVariant")) return nullptr;
        return REALGetArrayObject(static_cast<void *>(array), index);
    });
}
