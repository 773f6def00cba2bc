#include "rbDebug.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <strings.h>
#include <utility>

constinit Relaxed<bool> gDebugging = false;
const char *gpartname = nullptr;
const char *const gLinePrefix = "VYN Debug: ";

static FILE *debugFile = nullptr; // null: the standard error stream

void ReadDebugEnvironment()
{
    const char *setting = getenv("VYNDEBUG");
    if (setting == nullptr) return;
    for (const char *yes : {"1", "true", "yes"}) {
        if (strcasecmp(setting, yes) == 0) gDebugging = true;
    }
}

void OpenDebugFile()
{
    OpenDebugFileMode("w");
}

void AppendDebugFile()
{
    OpenDebugFileMode("a");
}

void OpenDebugFileMode(const char *mode)
{
    // The tilde is taken as written: a folder of that name below the current one.
    static const char *const places[] = {
        "/tmp/vyndebug ", "/var/tmp/vyndebug ", "vyndebug ", "/vyndebug ", "~/vyndebug ",
    };
    CloseDebugFile();
    char path[260] = {};
    for (const char *place : places) {
        snprintf(path, 258, "%s%s.txt", place, gpartname); // the limit is known outside and stays
        debugFile = fopen(path, mode);
        if (debugFile != nullptr) return;
    }
    LogMessageX("Failed to open debug file: %s", path);
}

int CloseDebugFile()
{
    return debugFile != nullptr ? fclose(std::exchange(debugFile, nullptr)) : 0;
}

void LogMessageX(const char *format, ...)
{
    int savedErrno = errno;
    char line[4096] = {};
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);

    FILE *stream = debugFile != nullptr ? debugFile : stderr;
    fprintf(stream, "%s\n", line);
    fflush(stream);
    errno = savedErrno;
}

void LogMessage(const char *label)
{
    LogMessageX("%s%s", gLinePrefix, label);
}

#define LOG_OVERLOAD(parameters, format, ...)                                                                          \
    void LogMessage parameters                                                                                         \
    {                                                                                                                  \
        LogMessageX("%s%s " format, gLinePrefix, label, __VA_ARGS__);                                                  \
    }
#include "rbDebugOverloads.inc"

void LogMessage(const wchar_t *text)
{
    LogMessageX("%s%ls", gLinePrefix, text);
}

void LogMessage(const char *label, const wchar_t *text)
{
    LogMessageX("%s%s %ls", gLinePrefix, label, text);
}
