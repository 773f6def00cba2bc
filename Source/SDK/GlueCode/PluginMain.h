// Start-up: the function that the host calls first, and what it has learned of the host.
//
// Everything here is set by REALPluginMain, before any other call from the host, and only read later.
#pragma once

// Finds a host entry by its name; null when the host has none of that name.
using HostResolver = void *(*)(const char *entryName);

extern HostResolver gHostResolver;
extern double gHostVersion;              // the host's release as a number, such as 2020.02; 0.0 when it does not say
extern int gSDKVersion;                  // 9 to 13, chosen from the host's version
extern const char *gPluginVersionMarker; // names this build in the file; set at plugin start

// True for the releases that take method tables and class extensions as modules.
inline bool HostTakesModules()
{
    return gHostVersion >= 2013.0 && gHostVersion < 3000.0;
}

#define EXPORTED __attribute__((visibility("default")))

extern "C" {
// Called by the host with its resolver: stores it, chooses the SDK version, announces it and registers
// everything. A null resolver is stored and nothing else happens.
EXPORTED void REALPluginMain(HostResolver resolver);

// Registers what this plugin offers; defined by the plugin itself.
EXPORTED void PluginEntry();
}
