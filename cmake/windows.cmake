# A Windows build made on Linux with the MinGW-w64 toolchain files.
#
# The tools and tests need libpng and GoogleTest for MinGW: windows/deps.sh
# builds them once into <build>/_deps/prefix (libpng from Debian's source
# package, GoogleTest from /usr/src/googletest). zlib is Debian's MinGW
# package, linked statically like everything else.
if(LUMORA_BUILD_TOOLS OR LUMORA_BUILD_TESTS OR LUMORA_FUZZ)
  set(LUMORA_DEPS_DIR ${PROJECT_BINARY_DIR}/_deps)
  set(deps_args ${LUMORA_DEPS_DIR} ${CMAKE_TOOLCHAIN_FILE} ${LUMORA_MINGW_TRIPLE})
  if(LUMORA_BUILD_TESTS)
    list(APPEND deps_args --with-tests)
  endif()
  execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/windows/deps.sh ${deps_args} RESULT_VARIABLE deps_result)
  if(NOT deps_result EQUAL 0)
    message(FATAL_ERROR "cmake/windows/deps.sh failed: libpng and GoogleTest for MinGW are missing")
  endif()
  list(APPEND CMAKE_FIND_ROOT_PATH ${LUMORA_DEPS_DIR}/prefix)
endif()

# Static archives only (zlib, libgomp): nothing of MinGW's runtime is left
# for the DLLs and executables to find at run time.
set(CMAKE_FIND_LIBRARY_SUFFIXES .a)

# Tests and the tools run under Wine (Debian's wine64, or the one named by
# LUMORA_WINE64 when wine.sh runs): a prefix of their own inside the build
# folder, quiet. The tests share one wineserver (tests/CMakeLists.txt).
if(NOT CMAKE_CROSSCOMPILING_EMULATOR AND CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64"
   AND (EXISTS /usr/lib/wine/wine64 OR DEFINED ENV{LUMORA_WINE64}))
  set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/windows/wine.sh ${PROJECT_BINARY_DIR}/wine)
endif()

# DLLs keep the names their hosts load them by: lumora.dll, not liblumora.dll.
set(CMAKE_SHARED_LIBRARY_PREFIX "")
set(CMAKE_IMPORT_LIBRARY_PREFIX "")
set(CMAKE_SHARED_MODULE_PREFIX "")
