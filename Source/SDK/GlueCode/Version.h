// The version of this build. The build and the packages read it from here.
#pragma once

#define PLUGIN_VERSION "23.5"
#define PLUGIN_YEAR "2023"
#define PLUGIN_DATE "Nov 19 2023"
