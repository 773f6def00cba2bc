// A program on the host of host.c: two sockets talk by events, a mistake raises, and every value is released.
//
//   cc -std=c11 -IInclude -o small_host Examples/host.c Examples/host_main.c -ldl
//   ./small_host build/libVYNNetwork.Linux32.so.21016 [MORE PLUGINS]
//
// With vynnetwork-dev installed, the compiler finds the header without -I.
#include "host.h"

#include <vynnetwork/vynhost.h>

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

// --- the entries that the plugin asked for ---

static const char *asked[64];
static size_t askedCount;

static void *resolve(const char *name)
{
    void *entry = host_resolve(name);
    size_t i = 0;
    while (i < askedCount && strcmp(asked[i], name) != 0)
        i++;
    if (i == askedCount && i < sizeof asked / sizeof *asked) {
        asked[askedCount++] = name;
        printf("%s %s\n", entry != NULL ? "asked for" : "has no   ", name);
    }
    return entry;
}

// --- values and calls, which a language makes from declarations ---

typedef void Bind(REALobjectStruct *socket, int64_t port, REALstringStruct *address);
typedef REALobjectStruct *Read(REALobjectStruct *socket, HostBoolean peek);
typedef int64_t Send(REALobjectStruct *socket, REALstringStruct *data, REALstringStruct *address, int64_t port);
typedef int64_t SendDatagram(REALobjectStruct *socket, REALobjectStruct *datagram);

static void *method(const char *declaration)
{
    return host_method("UDPSocketVYN", declaration);
}

static REALstringStruct *new_string(const char *bytes)
{
    return REALBuildStringWithEncoding(bytes, (int)strlen(bytes), kEncodingUTF8);
}

static REALobjectStruct *new_socket(VynHandler *handler)
{
    REALobjectStruct *socket = PluginNewInstance("UDPSocketVYN");
    ((VynMethod *)method("Constructor"))(socket);
    host_set_handler(socket, "DataAvailable", handler);
    return socket;
}

// Prints the exception that the last call raised, if any.
static void report(void)
{
    REALobjectStruct *exception = host_take_exception();
    if (exception == NULL) return;
    void *message, *number;
    host_property(exception, "Message", &message);
    host_property(exception, "ErrorNumber", &number);
    printf("raised: %s (%ld)\n", StringGetCString(*(REALstringStruct **)message), *(long *)number);
    REALUnlockObject(exception);
}

static void bind_socket(REALobjectStruct *socket, int64_t port)
{
    REALstringStruct *address = new_string("127.0.0.1");
    ((Bind *)method("Bind(Port as Integer, IP as string = \"\")"))(socket, port, address);
    REALUnlockString(address); // the argument was borrowed; the socket has its own reference
    report();
}

// --- the program ---

static bool finished;

static REALobjectStruct *read_datagram(REALobjectStruct *socket, const char *who)
{
    REALobjectStruct *datagram = ((Read *)method("Read(peek as boolean = false) as DatagramVYN"))(socket, 0);
    if (datagram == NULL) return NULL; // it was empty, and is gone
    void *data;
    host_property(datagram, "Data", &data);
    printf("%s got \"%s\"\n", who, StringGetCString(*(REALstringStruct **)data));
    return datagram;
}

static void answer(REALobjectStruct *socket)
{
    REALobjectStruct *datagram = read_datagram(socket, "server");
    if (datagram == NULL) return;
    ((SendDatagram *)method("SendMessage(Data as DatagramVYN) as Integer"))(socket, datagram);
    REALUnlockObject(datagram);
}

static void finish(REALobjectStruct *socket)
{
    REALobjectStruct *datagram = read_datagram(socket, "client");
    if (datagram == NULL) return;
    REALUnlockObject(datagram);
    finished = true;
}

int main(int count, char **arguments)
{
    host_start();
    for (int i = 1; i < count; i++) {
        void *library = dlopen(arguments[i], RTLD_NOW | RTLD_LOCAL);
        void *start = library != NULL ? dlsym(library, "REALPluginMain") : NULL;
        if (start == NULL) return fprintf(stderr, "host: %s\n", dlerror()), 2;
        ((VynPluginMain *)start)(resolve);
    }
    if (host_class("UDPSocketVYN") == NULL) return fputs("usage: small_host LIBRARY [MORE PLUGINS]\n", stderr), 2;

    REALobjectStruct *server = new_socket(answer), *client = new_socket(finish);
    bind_socket(server, 0); // a free port
    bind_socket(client, 70000);
    void *unused;
    int64_t port = host_property(server, "LocalPort", &unused)->getter.integer(server, 0);
    REALstringStruct *data = new_string("hello"), *address = new_string("127.0.0.1");
    Send *send = (Send *)method("SendMessage(Data as string, IP as String, Port as Integer) as Integer");
    printf("sent %ld bytes\n", (long)send(client, data, address, port));
    REALUnlockString(data);
    REALUnlockString(address);

    for (int turns = 0; turns < 1000 && (turns < 5 || !finished); turns++)
        host_turn();
    REALUnlockObject(server);
    REALUnlockObject(client);
    struct HostCounts left = host_counts();
    printf("left: %ld strings, %ld objects, %ld tasks\n", left.strings, left.objects, left.tasks);
    return finished && left.strings == 0 && left.objects == 0 && left.tasks == 0 ? 0 : 1;
}
