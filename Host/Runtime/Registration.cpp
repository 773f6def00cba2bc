// The entries by which a plugin announces itself and registers what it has.
#include "Host/Runtime/Host.h"

namespace host {

double entry::REALGetRBVersion()
{
    return Host::Current().version;
}

void entry::RegisterPluginVersion(int sdkVersion)
{
    Host::Current().classes.sdkVersion = sdkVersion;
}

void *entry::REALRegisterClass(REALclassDefinition *definition)
{
    Classes &classes = Host::Current().classes;
    classes.Note("class", definition->name, definition);
    return &classes.AddClass(*definition, false);
}

void *entry::REALRegisterModule(REALmoduleDefinition *definition)
{
    Host::Current().classes.Note("module", definition->name, definition);
    Host::Current().classes.AddModule(*definition);
    return definition;
}

void *entry::REALRegisterMethod(REALmethodDefinition *definition)
{
    Host::Current().classes.Note("method", definition->declaration, definition);
    Host::Current().classes.AddFunction(*definition, false);
    return definition;
}

// The other kinds are kept for a test to look at; programs here have no use for them.

void *entry::REALRegisterClassExtension(REALclassDefinition *definition)
{
    Host::Current().classes.Note("class extension", definition->name, definition);
    return definition;
}

void *entry::REALRegisterInterface(REALinterfaceDefinition *definition)
{
    Host::Current().classes.Note("interface", definition->name, definition);
    return definition;
}

void *entry::REALRegisterControl(REALcontrol *definition)
{
    Host::Current().classes.Note("control", definition->name, definition);
    return definition;
}

void *entry::REALRegisterDBEngine(REALdbEngineDefinition *definition)
{
    Host::Current().classes.Note("database engine", "", definition);
    return definition;
}

void *entry::REALRegisterDBCursor(REALdbCursorDefinition *definition)
{
    Host::Current().classes.Note("database cursor", "", definition);
    return definition;
}

} // namespace host
