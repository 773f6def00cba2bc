// What a program does with sockets, in a few words, and what it sees of them. Every value is released by its owner; an
// exception of the host passes through as host::Exception.
#pragma once

#include "Host/Runtime/Host.h"

#include <functional>
#include <netinet/in.h>
#include <string>
#include <vector>

namespace program {

using Object = host::Owned<REALobjectStruct>;
using String = host::Owned<REALstringStruct>;

inline constexpr char kBind[] = "Bind(Port as Integer, IP as String)";
inline constexpr char kAccept[] = "Accept(byref RemoteAddress as String, byref RemotePort as Integer, "
                                  "NewSocket as RAWSocketVYN) as RAWSocketVYN";
inline constexpr char kConstructor[] =
    "Constructor(AddressFamily as Integer, SocketType as Integer, Protocol as Integer)";
inline constexpr char kConnect[] =
    "Connect(Address as String, Port as Integer, byref ErrorMessage as String) as Boolean";
inline constexpr char kSend[] = "SendMessage(Data as String, IP as String, Port as Integer) as Integer";
inline constexpr char kSendBlock[] = "SendMessage(Data as MemoryBlock, IP as String, Port as Integer) as Integer";
inline constexpr char kSendBytes[] = "Send(Data as Ptr, DataByteSize as Integer, Flags as Integer) as Integer";
inline constexpr char kSendDatagram[] = "SendMessage(Data as DatagramVYN) as Integer";

inline host::Host &Host()
{
    return host::Host::Current();
}

// What is handed over for an argument: for an owner its handle.
template <typename Argument>
const Argument &Given(const Argument &argument)
{
    return argument;
}
template <typename Handle>
Handle *Given(const host::Owned<Handle> &owner)
{
    return owner.Get();
}

template <typename Result = void, typename... Arguments>
Result Call(const Object &object, const char *method, const Arguments &...arguments)
{
    return Host().Call<Result>(object.Get(), method, Given(arguments)...);
}

// New values. Where a faulty host gives none, std::runtime_error is thrown: the end of one step, not of the run.
Object Some(REALobjectStruct *object);
Object Udp();
Object Raw(long family = AF_INET, long type = SOCK_DGRAM, long protocol = 0);
String Text(const char *text);

long Number(const Object &object, const char *property);
std::string Words(const Object &object, const char *property);
long Port(const Object &socket); // LocalPort

void Bind(const Object &socket, const char *address);
Object Bound(Object socket); // to a free loopback port
long Send(const Object &socket, const char *text, const char *address, long port);
Object Read(const Object &socket, bool peek = false);
void On(const Object &socket, const char *event, std::function<void(const Object &)> handler);

// A listening stream socket, and the next connection to it, in `into` where that is an object; its address is in
// `from`.
Object Listener();
Object Accept(const Object &listener, std::string *from = nullptr, const Object &into = Object());
// What the attempt to connect by name says: "" when it is connected.
std::string Connect(const Object &client, const char *address, long port);

// The exception that the body ends with, as "Class: message"; "" for none.
std::string Raised(const std::function<void()> &body);

// Whether an emulator of another machine runs this: it is slow, its select takes no descriptor above 1,023, and it
// lacks MulticastInterface and the clearing of IP options.
bool Emulated();

// Descriptors of this process that are open.
std::vector<int> OpenDescriptors();

// Runs the body in a child process, with a time limit. Result: what the child said is wrong, "" for nothing; a crash is
// said too.
std::string InChild(const std::function<std::string()> &body);

} // namespace program
