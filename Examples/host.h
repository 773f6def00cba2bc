// The functions of host.c for a program that is its own host. C++ that has the records from another header may include
// this one too.
#ifndef HOST_H
#define HOST_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct REALclassDefinition;
struct REALobjectStruct;
struct REALproperty;

// Registers the host's own classes. Call it once, before a plugin is loaded.
void host_start(void);

// The resolver to hand to a plugin.
void *host_resolve(const char *entryName);

// The record of a class, and the function of the method or shared method with that declaration; null if unknown.
const struct REALclassDefinition *host_class(const char *className);
void *host_method(const char *className, const char *declaration);

// The record of an object's property; null if unknown. `field` gets the place of its field if it has the standard
// accessor.
const struct REALproperty *host_property(struct REALobjectStruct *object, const char *name, void **field);

// Sets the handler of the object's event with that declaration; null removes it.
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
