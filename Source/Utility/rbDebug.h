// The debug log: one switch, one line writer and the typed LogMessage family.
//
// The writer never looks at the switch. Trace lines go through TRACE, which does, and whose arguments
// cost nothing while the switch is off; findings about definition records are written always.
//
// The log knows no host. Only the lines about host values do, which are written in rbDebugHost.cpp.
#pragma once

#include "Source/SDK/GlueCode/Relaxed.h"

struct REALstringStruct;
struct RuntimeText;

extern Relaxed<bool> gDebugging;      // whether trace lines are wanted
extern const char *gpartname;         // the plugin's name as plugin start got it; null before
extern const char *const gLinePrefix; // "VYN Debug: ", before every line of the LogMessage family

// Writes a line of the LogMessage family while the debug switch is on.
#define TRACE(...)                                                                                                     \
    do {                                                                                                               \
        if (gDebugging) [[unlikely]]                                                                                   \
            LogMessage(__VA_ARGS__);                                                                                   \
    } while (false)

// Switches the log on when the environment variable VYNDEBUG is "1", "true" or "yes" in any case.
void ReadDebugEnvironment();

// Sends all further lines to a file named after the plugin, in the first of five places that can be
// written; where none can, lines go on to the standard error stream and one more says so.
void OpenDebugFile();   // overwrites the file
void AppendDebugFile(); // appends to it
void OpenDebugFileMode(const char *mode);

// Back to the standard error stream. Result: that of fclose, 0 when no file was open.
int CloseDebugFile();

// Formats a line as vsnprintf does, cut at 4095 characters, and writes and flushes it at once. Leaves
// errno as it was, so that a trace between a system call and its report does no harm.
[[gnu::format(printf, 1, 2)]] void LogMessageX(const char *format, ...);

// "VYN Debug: ", the label, and up to ten values of one type, separated by ", ".
void LogMessage(const char *label);
#define LOG_OVERLOAD(parameters, format, ...) void LogMessage parameters;
#include "rbDebugOverloads.inc"
void LogMessage(const wchar_t *text);
void LogMessage(const char *label, const wchar_t *text);

// Lines about host values, with the handle and the text.
void LogMessage(const char *label, const RuntimeText *text);
void LogMessage(REALstringStruct *string);
void LogMessage(const char *label, REALstringStruct *string);
