// How the rows of the host's own classes are written, and the calls that add these classes.
#pragma once

#include "Host/Runtime/Classes.h"

namespace host {

template <typename Signature>
REALmethodDefinition Method(const char *declaration, Signature *function)
{
    REALmethodDefinition method{};
    method.function = reinterpret_cast<void *>(function);
    method.declaration = declaration;
    return method;
}

// Read and written by the host itself, at this offset of the instance block.
inline REALproperty Field(const char *name, const char *type, std::size_t offset)
{
    REALproperty property{};
    property.name = name;
    property.type = type;
    property.getter = PropertyGetter(kStandardAccessor);
    property.setter = PropertySetter(kStandardAccessor);
    property.parameter = static_cast<std::intptr_t>(offset);
    return property;
}

// Read-only.
inline REALproperty Computed(const char *name, const char *type, PropertyGetter getter)
{
    REALproperty property{};
    property.name = name;
    property.type = type;
    property.getter = getter;
    return property;
}

void AddMemoryBlockClass(Classes &classes); // MemoryBlock
void AddExceptionClasses(Classes &classes); // RuntimeException and its subclasses
void AddSocketClasses(Classes &classes);    // SocketCore, TCPSocket, UDPSocket
void AddArrayClass(Classes &classes);       // what arrays are objects of

} // namespace host
