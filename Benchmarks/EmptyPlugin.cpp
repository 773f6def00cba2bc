// The least that can be loaded: a library whose start-up does nothing.

extern "C" void REALPluginMain(void *(*)(const char *)) {}
