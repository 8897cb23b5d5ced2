# Installation: headers, libraries, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

set(LUMORA_INSTALL_TARGETS lumora_framework lumora_imagestore lumora)
if(TARGET lumora_hostinfo)
  list(APPEND LUMORA_INSTALL_TARGETS lumora_hostinfo)
endif()
install(TARGETS ${LUMORA_INSTALL_TARGETS}
  EXPORT lumoraTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/lumora DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# The command line, beside the libraries' runtime files on Windows and finding
# them through its run path elsewhere.
if(TARGET lumora_cli)
  install(TARGETS lumora_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

set(LUMORA_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/lumora)
install(EXPORT lumoraTargets NAMESPACE lumora:: DESTINATION ${LUMORA_CMAKE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/lumoraConfig.cmake.in
  ${PROJECT_BINARY_DIR}/lumoraConfig.cmake INSTALL_DESTINATION ${LUMORA_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/lumoraConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/lumoraConfig.cmake ${PROJECT_BINARY_DIR}/lumoraConfigVersion.cmake
  DESTINATION ${LUMORA_CMAKE_DIR})

if(BUILD_SHARED_LIBS)
  set(LUMORA_PC_CFLAGS "")
else()
  set(LUMORA_PC_CFLAGS "-DLUMORA_STATIC")
endif()
# The pkg-config file finds the prefix from its own location, so that an
# installation moved elsewhere, or installed with `cmake --install --prefix`,
# still points at its own headers and libraries.
set(LUMORA_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE "${LUMORA_PC_DIR}")
  set(LUMORA_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH LUMORA_PC_UP "/root/${LUMORA_PC_DIR}" "/root")
  string(REGEX REPLACE "/$" "" LUMORA_PC_UP "${LUMORA_PC_UP}")
  set(LUMORA_PC_PREFIX "\${pcfiledir}/${LUMORA_PC_UP}")
endif()
foreach(dir LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
    set(LUMORA_PC_${dir} "${CMAKE_INSTALL_${dir}}")
  else()
    set(LUMORA_PC_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
  endif()
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/cmake/lumora.pc.in ${PROJECT_BINARY_DIR}/lumora.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/lumora.pc DESTINATION ${LUMORA_PC_DIR})
