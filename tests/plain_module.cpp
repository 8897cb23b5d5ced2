// A shared object that is not a language library: it lacks the string lookup.
extern "C" __attribute__((visibility("default"))) int LumoraTestPlainModule() { return 1; }
