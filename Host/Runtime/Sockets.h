// The host's own sockets: SocketCore, which shows a descriptor as its Handle, with a TCP and a UDP kind.
#pragma once

#include "Source/SDK/GlueCode/HostTypes.h"

namespace host {

// A host socket around a descriptor, which it closes when it dies; -1 for one that is not open.
REALobjectStruct *NewSocket(const char *className, int descriptor);

} // namespace host
