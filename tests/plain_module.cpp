// A shared object that is not a language library: it lacks the string lookup.
#if defined(_WIN32)
#define PLAIN_EXPORT __declspec(dllexport)
#else
#define PLAIN_EXPORT __attribute__((visibility("default")))
#endif

extern "C" PLAIN_EXPORT int LumoraTestPlainModule() { return 1; }
