// What a program that is its own host calls of host.c. C++ that knows the records by another header may include it too.
#ifndef HOST_H
#define HOST_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct REALclassDefinition;
struct REALobjectStruct;
struct REALproperty;

// Makes the host's own classes known, once, before any plugin is loaded.
void host_start(void);

// The resolver to hand to a plugin.
void *host_resolve(const char *entryName);

// The record of a class, and the function of its method or shared method of that declaration; null if unknown.
const struct REALclassDefinition *host_class(const char *className);
void *host_method(const char *className, const char *declaration);

// The record of an object's property, null if unknown; and where its field is if it has the standard accessor.
const struct REALproperty *host_property(struct REALobjectStruct *object, const char *name, void **field);

// Has the object's event of that declaration handled; null for no longer.
void host_set_handler(struct REALobjectStruct *object, const char *event, void (*handler)(struct REALobjectStruct *));

// Calls each background task once.
void host_turn(void);

// The exception that the library has raised, with a reference for the caller; null if there is none.
struct REALobjectStruct *host_take_exception(void);

// How many strings, objects and background tasks there are.
struct HostCounts {
    long strings, objects, tasks;
};
struct HostCounts host_counts(void);

#ifdef __cplusplus
}
#endif

#endif
