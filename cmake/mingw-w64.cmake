# Cross-compiling for Windows with Debian's MinGW-w64 compilers (the
# posix-thread flavour, which has std::thread and OpenMP). Included by
# mingw-w64-x86_64.cmake and mingw-w64-i686.cmake after they set
# LUMORA_MINGW_TRIPLE.
set(CMAKE_SYSTEM_NAME Windows)
string(REGEX REPLACE "-.*" "" CMAKE_SYSTEM_PROCESSOR "${LUMORA_MINGW_TRIPLE}")

set(CMAKE_C_COMPILER ${LUMORA_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${LUMORA_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${LUMORA_MINGW_TRIPLE}-windres)

# Libraries and headers come from the MinGW sysroot (and the prefixes the
# project appends), never from the build machine's own /usr.
list(APPEND CMAKE_FIND_ROOT_PATH /usr/${LUMORA_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The compiler's runtime (libgcc, libstdc++, winpthread, libgomp) is linked
# into every DLL and executable, so they run on a bare Windows or Wine that
# has none of MinGW's DLLs.
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -static)
set(CMAKE_MODULE_LINKER_FLAGS_INIT -static)
