#include "PluginMain.h"

HostResolver gHostResolver = nullptr;
double gHostVersion = 0.0;
int gSDKVersion = 0;
[[gnu::used]] const char *gPluginVersionMarker = nullptr; // nothing reads it, and the optimiser must not drop it

// The SDK version that a host of this version speaks.
static int ChooseSDKVersion(double hostVersion)
{
    static constexpr struct {
        double hostVersion;
        int sdkVersion;
    } rows[] = {
        {2013.04, 13},
        {2013.03, 12},
        {2013.0, 11},
        {2012.0, 10},
    };
    for (const auto &row : rows) {
        if (hostVersion >= row.hostVersion) return row.sdkVersion;
    }
    return 9;
}

void REALPluginMain(HostResolver resolver)
{
    gHostResolver = resolver;
    if (resolver != nullptr) {
        if (auto hostVersion = reinterpret_cast<double (*)()>(resolver("REALGetRBVersion"))) {
            gHostVersion = hostVersion();
        }
    }
    gSDKVersion = ChooseSDKVersion(gHostVersion);
    if (resolver == nullptr) return;

    // A host without the entry is not told. It still gets the classes.
    if (auto announce = reinterpret_cast<void (*)(int)>(resolver("RegisterPluginVersion"))) announce(gSDKVersion);
    PluginEntry();
}
