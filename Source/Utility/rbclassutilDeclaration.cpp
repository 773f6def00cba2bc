// Rewrites the declaration of an extension's method as that of a global method, which gets the object first.
#include "rbclassutil.h"

#include "MyMemory.h"
#include "rbDebug.h"

#include <cstdio>
#include <cstring>

using Declaration = char[1000];

// The length of the text before that place, for %.*s.
static int LengthUpTo(const char *text, const char *place)
{
    return static_cast<int>(place - text);
}

char *AddClassParameter(const char *declaration, const char *className)
{
    if (declaration == nullptr) return nullptr;
    const char *place = declaration + std::strcspn(declaration, "( ");
    int length = LengthUpTo(declaration, place);
    Declaration result;
    switch (*place) {
    case '(':
        std::snprintf(result, sizeof result, "%.*s(extends ref as %s, %s", length, declaration, className, place + 1);
        break;
    case ' ':
        std::snprintf(result, sizeof result, "%.*s(extends ref as %s)%s", length, declaration, className, place);
        break;
    default:
        std::snprintf(result, sizeof result, "%s(extends ref as %s)", declaration, className);
    }
    return strdup(result);
}

char *AddClassParameterAssign(const char *declaration, const char *className)
{
    MemoryOwner<char> extended(AddClassParameter(declaration, className));
    const char *text = extended.get();
    if (text == nullptr) return nullptr;
    Declaration result;
    if (const char *end = std::strchr(text, ')')) {
        std::snprintf(result, sizeof result, "%.*s, assigns value%s)", LengthUpTo(text, end), text, end + 1);
    } else if (const char *blank = std::strchr(text, ' ')) {
        std::snprintf(result, sizeof result, "%.*s(assigns value%s)", LengthUpTo(text, blank), text, blank);
    } else {
        // "No parenthesis in the declaration". The text is known outside and stays.
        LogMessage("Error: Keine Klammer in der Deklaration", text);
        return nullptr;
    }
    return strdup(result);
}
