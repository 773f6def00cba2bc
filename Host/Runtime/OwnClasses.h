// The host's own classes: how their rows are written, and the calls that add them.
#pragma once

#include "Host/Runtime/Classes.h"
#include "Source/SDK/GlueCode/RecordRows.h"

namespace host {

void AddMemoryBlockClass(Classes &classes); // MemoryBlock
void AddExceptionClasses(Classes &classes); // RuntimeException and its subclasses
void AddSocketClasses(Classes &classes);    // SocketCore, TCPSocket, UDPSocket
void AddArrayClass(Classes &classes);       // what arrays are objects of

} // namespace host
