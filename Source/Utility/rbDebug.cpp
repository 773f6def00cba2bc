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

// LOG_OVERLOADS(long, "%ld") makes ten functions, the second of which is
//   void LogMessage(const char *label, long a, long b) { LogMessageX("%s%s %ld, %ld", gLinePrefix, label, a, b); }
#define LOG_OVERLOAD(parameters, format, ...)                                                                          \
    void LogMessage parameters                                                                                         \
    {                                                                                                                  \
        LogMessageX("%s%s " format, gLinePrefix, label, __VA_ARGS__);                                                  \
    }
#define LOG_OVERLOADS(V, code)                                                                                         \
    LOG_OVERLOAD((const char *label, V a), code, a)                                                                    \
    LOG_OVERLOAD((const char *label, V a, V b), code ", " code, a, b)                                                  \
    LOG_OVERLOAD((const char *label, V a, V b, V c), code ", " code ", " code, a, b, c)                                \
    LOG_OVERLOAD((const char *label, V a, V b, V c, V d), code ", " code ", " code ", " code, a, b, c, d)              \
    LOG_OVERLOAD((const char *label, V a, V b, V c, V d, V e), code ", " code ", " code ", " code ", " code, a, b, c,  \
                 d, e)                                                                                                 \
    LOG_OVERLOAD((const char *label, V a, V b, V c, V d, V e, V f),                                                    \
                 code ", " code ", " code ", " code ", " code ", " code, a, b, c, d, e, f)                             \
    LOG_OVERLOAD((const char *label, V a, V b, V c, V d, V e, V f, V g),                                               \
                 code ", " code ", " code ", " code ", " code ", " code ", " code, a, b, c, d, e, f, g)                \
    LOG_OVERLOAD((const char *label, V a, V b, V c, V d, V e, V f, V g, V h),                                          \
                 code ", " code ", " code ", " code ", " code ", " code ", " code ", " code, a, b, c, d, e, f, g, h)   \
    LOG_OVERLOAD((const char *label, V a, V b, V c, V d, V e, V f, V g, V h, V i),                                     \
                 code ", " code ", " code ", " code ", " code ", " code ", " code ", " code ", " code, a, b, c, d, e,  \
                 f, g, h, i)                                                                                           \
    LOG_OVERLOAD((const char *label, V a, V b, V c, V d, V e, V f, V g, V h, V i, V j),                                \
                 code ", " code ", " code ", " code ", " code ", " code ", " code ", " code ", " code ", " code, a, b, \
                 c, d, e, f, g, h, i, j)
#include "rbDebugOverloads.inc"
#undef LOG_OVERLOADS
#undef LOG_OVERLOAD

void LogMessage(const wchar_t *text)
{
    LogMessageX("%s%ls", gLinePrefix, text);
}

void LogMessage(const char *label, const wchar_t *text)
{
    LogMessageX("%s%s %ls", gLinePrefix, label, text);
}
