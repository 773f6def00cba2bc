// Declarations rewritten as global methods: whatever stands in them, the parameters come in and nothing runs over.
#include "Fuzz.h"
#include "Source/Utility/MyMemory.h"
#include "Source/Utility/rbclassutil.h"

#include <cstring>

static void ExpectRewritten(char *text, const std::string &declaration, const std::string &part)
{
    MemoryOwner<char> owner(text);
    std::size_t nameLength = std::min(declaration.find_first_of("( "), declaration.size());
    Expect(std::strlen(text) <= 999, "at most 999 characters");
    if (declaration.size() + part.size() < 900)
        Expect(std::strncmp(text + nameLength, part.c_str(), part.size()) == 0, "the object stands behind the name");
}

void Fuzz(Input &input)
{
    std::string className = input.ConsumeRandomLengthString(200).c_str();
    std::string declaration = input.ConsumeRemainingBytesAsString().c_str();
    std::string part = "(extends ref as " + className;
    ExpectRewritten(AddClassParameter(declaration.c_str(), className.c_str()), declaration, part);
    if (char *text = AddClassParameterAssign(declaration.c_str(), className.c_str())) {
        bool assigns = std::strstr(text, "assigns value") != nullptr;
        Expect(assigns || declaration.size() + className.size() > 900, "the value is assigned");
        MemoryOwner<char> owner(text);
    }
}
