// Typed access to the host's arrays: create, ask for the upper bound, get, set, insert and append elements. No class of
// this plugin takes arrays. They are part of the layer that plugin code may count on.
//
// The operations are overloads on the array's handle. rbArrayElements.inc lists them for each element type. A null
// array does no harm, and an index out of range raises "OutOfBoundsException".
#pragma once

#include "Source/SDK/GlueCode/HostOperations.h"

// For each type T with an element E, as far as the table says YES:
//
//   _REALarrayT *REALCreateArrayT(long upperBound)
//       A new array with elements 0 to upperBound; the caller owns it. Null when the host makes none.
//   long REALGetArrayUBound(_REALarrayT *array)
//       -1 for null and for an array without elements.
//   void REALGetArrayValue(_REALarrayT *array, long index, E *out)
//       Of a string or object the caller gets one reference. *out needs a value before, which it keeps on failure.
//   void REALSetArrayValue(_REALarrayT *array, long index, E value)
//       The array takes its own reference on a string or object, and drops the one on the old element.
//   void REALInsertArrayValue(_REALarrayT *array, long index, E value)
//       Left to the host in all respects, the range of the index too. Booleans become 0 or 1.
//   void REALAppendArrayValue(_REALarrayT *array, E value)
//   E *GetArrayBasePointer(_REALarrayT *array)
//       The elements, one after the other, for as long as the array keeps its size; null unless direct
//       access is possible.
#define ARRAY_GET_YES(type, element) void REALGetArrayValue(_REALarray##type *array, long index, element *out);
#define ARRAY_SET_YES(type, element) void REALSetArrayValue(_REALarray##type *array, long index, element value);
#define ARRAY_INSERT_YES(type, element)                                                                                \
    void REALInsertArrayValue(_REALarray##type *array, long index, element value);                                     \
    void REALAppendArrayValue(_REALarray##type *array, element value);
#define ARRAY_ELEMENT(type, element, host, get, set, insert)                                                           \
    struct _REALarray##type;                                                                                           \
    long REALGetArrayUBound(_REALarray##type *array);                                                                  \
    element *GetArrayBasePointer(_REALarray##type *array);                                                             \
    ARRAY_GET_##get(type, element) ARRAY_SET_##set(type, element) ARRAY_INSERT_##insert(type, element)
#define ARRAY_CREATOR(name, type, code) _REALarray##type *REALCreateArray##name(long upperBound);
#include "rbArrayElements.inc"

// The element as the result, with one reference for the caller; 0 or null on failure.
long REALGetArrayInt(_REALarrayInteger *array, long index);
REALstringStruct *REALGetArrayString(_REALarrayString *array, long index);
REALobjectStruct *REALGetArrayObject(_REALarrayObject *array, long index);

// Leaves the range of the index to the host.
REALobjectStruct *REALGetArrayVariant(_REALarrayObject *array, long index);

// --- direct access -------------------------------------------------------------------------------------

// Tests whether this host's arrays lie in memory as expected, so that elements can be read and written without the
// host. The first access runs it. A failure goes to the trace.
void TestArray();

// The same with that array, which should have elements 0 to 1234 and is written to. Direct access is off meanwhile,
// and afterwards as this test found.
void TestArray(_REALarrayInteger *array);

// The elements of an array of any type, and what its header says; null and 0 without direct access and
// for null.
void *GetArrayStorage(void *array);
long GetArrayReferenceCount(void *array);
long GetArrayAllocatedSize(void *array);
