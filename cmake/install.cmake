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
configure_file(${PROJECT_SOURCE_DIR}/cmake/lumora.pc.in ${PROJECT_BINARY_DIR}/lumora.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/lumora.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
