// Registration of global methods and of modules, some of which are built here from method tables and class extensions.
//
// The host keeps its records for the life of the process. Until it gets them, they have owners.
#include "rbclassutil.h"

#include "MyMemory.h"
#include "Source/SDK/GlueCode/HostOperations.h"
#include "Source/SDK/GlueCode/PluginMain.h"
#include "rbDebugHost.h"
#include "rbclassutilChecks.h"

#include <cstdio>
#include <cstring>
#include <iterator>

REALmoduleDefinition *gGeneratedModule = nullptr;

// What a module itself has. A generated one already carries the SDK version.
static void CheckModuleRecord(const REALmoduleDefinition &m)
{
    if (m.version != static_cast<std::uint32_t>(gSDKVersion)) {
        CheckVersion("Error: The module %s has the wrong kCurrentREALControlVersion: %d vs. %d", m.name, m.version);
    }
    if (m.name == nullptr) LogMessageX("Error: A module without name.");
    // clang-format off
    CheckCounts(m.name, {
        {m.properties, m.propertyCount,  kMaximum, "Error: The module %s has the wrong propertyCount value: %d"},
        {m.methods,    m.methodCount,    kMaximum, "Error: The module %s has the wrong methodCount value: %d"},
        {m.structures, m.structureCount, kMaximum, "Error: The module %s has the wrong structureCount value: %d"},
        {m.enums,      m.enumCount,      kMaximum, "Error: The module %s has the wrong enumCount value: %d"},
        {m.attributes, m.attributeCount, kMaximum, "Error: The module %s has the wrong attributeCount value: %d"},
        {m.delegates,  m.delegateCount,  kMaximum, "Error: The module %s has the wrong delegateCount value: %d"},
    });
    // clang-format on
}

void MyREALRegisterModule(REALmoduleDefinition *module)
{
    REALmoduleDefinition &m = *module;
    if (!HasPartName(m.name)) return;
    CheckModuleRecord(m);
    CheckMethods(m.name, m.methods, m.methodCount);
    CheckProperties(m.name, m.properties, m.propertyCount);
    CheckConstants(m.name, m.constants, m.constantCount);
    CheckDelegates(m.name, m.delegates, m.delegateCount);
    CheckTargetFlags(module);

    MarkProtected(module);
    FixFlags(module);
    if (m.flags == 0) m.flags = kConsoleSafe;
    m.version = static_cast<std::uint32_t>(gSDKVersion);
    REALRegisterModule(module);
}

void MyREALRegisterMethod(REALmethodDefinition *method)
{
    if (method == nullptr) return LogMessageX("Error: A method registered is nil.");
    const char *declaration = method->declaration;
    if (declaration == nullptr) LogMessageX("Error: A method without declaration.");
    if (method->function == nullptr) Report("Error: The method %s has no function.", declaration);
    CheckCounts(declaration, {{method->attributes, method->attributeCount, kMaximum,
                               "Error: The method %s has the wrong attributeCount value: %d"}});
    CheckAttributes("", declaration, method->attributes, method->attributeCount);
    REALRegisterMethod(method);
}

namespace {

constexpr char kNoModule[] = "Warning: Failed to allocate memory for module definition.";

using ModuleName = char[100]; // longer names are cut

// A cleared module record, kept as the module built last.
REALmoduleDefinition *NewModule()
{
    gGeneratedModule = static_cast<REALmoduleDefinition *>(AllocateClearMemory(sizeof(REALmoduleDefinition)));
    if (gGeneratedModule == nullptr) LogMessage(kNoModule);
    return gGeneratedModule;
}

// Frees method records, and with them the declarations that were made for them.
struct MethodsDeleter {
    unsigned long ownDeclarations; // how many of the records, from the first on, may have one

    void operator()(REALmethodDefinition *methods) const
    {
        for (unsigned long i = 0; i < ownDeclarations; i++)
            std::free(const_cast<char *>(methods[i].declaration));
        std::free(methods);
    }
};
using MethodsOwner = std::unique_ptr<REALmethodDefinition[], MethodsDeleter>;

// Cleared method records.
MethodsOwner NewMethods(unsigned long count, unsigned long ownDeclarations)
{
    void *methods = AllocateClearMemory(static_cast<long>(count * sizeof(REALmethodDefinition)));
    if (methods == nullptr) LogMessage("Warning: Failed to allocate memory for method definitions.");
    return MethodsOwner(static_cast<REALmethodDefinition *>(methods), MethodsDeleter{ownDeclarations});
}

// Completes the module and registers it; without memory for the name nothing happens.
void RegisterGeneratedModule(REALmoduleDefinition &module, const ModuleName &name, MethodsOwner methods,
                             unsigned long count)
{
    module.name = strdup(name);
    if (module.name == nullptr) return LogMessage(kNoModule);
    module.version = static_cast<std::uint32_t>(gSDKVersion);
    module.methods = methods.release();
    module.methodCount = count;
    module.properties = gDebuggingProperty;
    module.propertyCount = std::size(gDebuggingProperty);
    module.flags = kConsoleSafe;
    MyREALRegisterModule(&module);
}

void RegisterMethodsAsModule(std::span<REALmethodDefinition> methods)
{
    ModuleName name;
    std::snprintf(name, sizeof name, "%s%s", gpartname, "GlobalsVYN");
    REALmoduleDefinition *module = NewModule();
    if (module == nullptr) return;
    MethodsOwner copies = NewMethods(methods.size(), 0);
    if (copies == nullptr) return;
    for (std::size_t i = 0; i < methods.size(); i++) {
        copies[i] = methods[i];
        copies[i].flags |= kScopeGlobal;
    }
    RegisterGeneratedModule(*module, name, std::move(copies), methods.size());
}

unsigned long CountFunctions(const REALclassDefinition &extension)
{
    unsigned long count = 0;
    for (const REALmethodDefinition &method : Members(extension.methods, extension.methodCount)) {
        if (method.setterFunction != nullptr) count++;
        if (method.function != nullptr) count++;
    }
    return count;
}

// Result: whether all declarations could be rewritten.
bool RewriteMethods(const REALclassDefinition &extension, REALmethodDefinition *target)
{
    for (const REALmethodDefinition &method : Members(extension.methods, extension.methodCount)) {
        struct {
            void *function;
            char *(*rewrite)(const char *declaration, const char *className);
        } halves[] = {{method.setterFunction, AddClassParameterAssign}, {method.function, AddClassParameter}};
        for (auto [function, rewrite] : halves) {
            if (function == nullptr) continue;
            char *declaration = rewrite(method.declaration, extension.name);
            if (declaration == nullptr) return false;
            *target = method;
            target->function = function;
            target->setterFunction = nullptr;
            target->declaration = declaration;
            target++->flags |= kScopeGlobal;
        }
    }
    return true;
}

} // namespace

void MyREALRegisterMethodArray(REALmethodDefinition *methods, unsigned long count)
{
    if (count == 0) return LogMessageX("Warning: A method array registered with count = 0.");
    FixFlags(methods, static_cast<long>(count), gpartname);
    if (HostTakesModules()) return RegisterMethodsAsModule(Members(methods, count));
    for (REALmethodDefinition &method : Members(methods, count))
        MyREALRegisterMethod(&method);
}

void BuildXojoModule(REALclassDefinition *extension)
{
    if (extension->methodCount == 0) return;
    ModuleName name;
    std::snprintf(name, sizeof name, "%s%s%s", extension->name, gpartname, "ExtensionVYN");
    REALmoduleDefinition *module = NewModule();
    if (module == nullptr) return;
    unsigned long count = CountFunctions(*extension);
    MethodsOwner methods = NewMethods(count, count);
    if (methods == nullptr || !RewriteMethods(*extension, methods.get())) return;
    RegisterGeneratedModule(*module, name, std::move(methods), count);
}
