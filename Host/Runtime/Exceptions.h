// Exceptions of the program's language.
//
// A plugin raises one and returns; it stays pending until the caller of the plugin takes it and throws a C++ exception
// of the type below. That type is deliberately no std::exception: a plugin must handle both.
#pragma once

#include "Source/SDK/GlueCode/HostTypes.h"

#include <string>
#include <utility>
#include <vector>

namespace host {

struct Exception {
    std::string className;
    std::string message;
    long number = 0;
    std::string where = {};     // the place in the program, as file:line, if it is known
    std::string traceback = {}; // of the program there

    std::string Text() const { return className + ": " + message; }
};

class Exceptions {
  public:
    // Keeps the exception with a reference of its own. One that is pending already stays.
    void Raise(REALobjectStruct *exception);

    // The pending one with the reference that was kept, or null.
    REALobjectStruct *TakePending() { return std::exchange(pending, nullptr); }

    void ThrowPending();
    bool ArePending() const { return pending != nullptr; }

    // Runs the function; answers the exception that left it or that it raised, with a reference, or null.
    REALobjectStruct *RunGuarded(void (*function)(void *), void *data);

    const std::vector<Exception> &Raised() const { return raised; } // all since the start, in order

  private:
    REALobjectStruct *pending = nullptr;
    std::vector<Exception> raised;
};

// An object of the named class, or of RuntimeException when that is no exception class; one reference.
REALobjectStruct *NewException(const Exception &exception);

} // namespace host
