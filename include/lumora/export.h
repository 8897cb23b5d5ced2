// Symbol visibility for the three shared libraries of the project.
//
// Each library defines its own LUMORA_BUILDING_* macro while it is compiled, so
// its public names are exported from the DLL / shared object and imported by
// everybody else. A static build defines LUMORA_STATIC and the macros vanish.
#pragma once

#if defined(_WIN32) || defined(__CYGWIN__)
#define LUMORA_DECL_EXPORT __declspec(dllexport)
#define LUMORA_DECL_IMPORT __declspec(dllimport)
#else
#define LUMORA_DECL_EXPORT __attribute__((visibility("default")))
#define LUMORA_DECL_IMPORT __attribute__((visibility("default")))
#endif

#if defined(LUMORA_STATIC)
#define LUMORA_IMAGESTORE_API
#define LUMORA_API
#define LUMORA_HOSTINFO_API
#else
#if defined(LUMORA_BUILDING_IMAGESTORE)
#define LUMORA_IMAGESTORE_API LUMORA_DECL_EXPORT
#else
#define LUMORA_IMAGESTORE_API LUMORA_DECL_IMPORT
#endif
#if defined(LUMORA_BUILDING_LUMORA)
#define LUMORA_API LUMORA_DECL_EXPORT
#else
#define LUMORA_API LUMORA_DECL_IMPORT
#endif
#if defined(LUMORA_BUILDING_HOSTINFO)
#define LUMORA_HOSTINFO_API LUMORA_DECL_EXPORT
#else
#define LUMORA_HOSTINFO_API LUMORA_DECL_IMPORT
#endif
#endif
