// The smallest plugin: its start-up does nothing.

extern "C" void REALPluginMain(void *(*)(const char *)) {}
