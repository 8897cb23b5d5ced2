# 32-bit Windows, the host platform of the original: cmake --preset windows-i686
# (build-win32/, the libraries only).
set(LUMORA_MINGW_TRIPLE i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
