# 64-bit Windows: cmake --preset windows (build-win/).
set(LUMORA_MINGW_TRIPLE x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
