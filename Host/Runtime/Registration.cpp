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
    return &Host::Current().classes.AddClass(*definition, false);
}

void *entry::REALRegisterModule(REALmoduleDefinition *definition)
{
    Host::Current().classes.AddModule(*definition);
    return definition;
}

void *entry::REALRegisterMethod(REALmethodDefinition *definition)
{
    Host::Current().classes.AddFunction(*definition, false);
    return definition;
}

} // namespace host
