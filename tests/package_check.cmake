# Installs the build into a scratch prefix, then builds and runs an outside
# project against it twice: through the CMake package and through pkg-config.
# Arguments: -DBUILD_DIR -DSOURCE_DIR (tests/package) -DWORK -DGENERATOR
#            -DCXX (compiler) -DLIBDIR (install libdir, relative)
cmake_minimum_required(VERSION 3.25)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    string(REPLACE ";" " " command "${ARGN}")
    message(FATAL_ERROR "failed (${rc}): ${command}\n${out}\n${err}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()

set(prefix "${WORK}/prefix")
file(REMOVE_RECURSE "${WORK}")
run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")

# The CMake package.
run(${CMAKE_COMMAND} -S "${SOURCE_DIR}" -B "${WORK}/consumer" -G "${GENERATOR}"
    -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build "${WORK}/consumer")
run("${WORK}/consumer/app")
message(STATUS "CMake package: ${out}")

# The pkg-config module, used to compile and link by hand.
set(ENV{PKG_CONFIG_PATH} "${prefix}/${LIBDIR}/pkgconfig")
run(pkg-config --cflags --libs lumora)
string(STRIP "${out}" flags)
message(STATUS "pkg-config --cflags --libs lumora: ${flags}")
separate_arguments(flag_list UNIX_COMMAND "${flags}")
# The module must point at this installation, wherever it was installed.
foreach(expected "-I;${prefix}/include" "-L;${prefix}/${LIBDIR}")
  list(GET expected 0 option)
  list(GET expected 1 dir)
  file(REAL_PATH "${dir}" dir)
  set(found FALSE)
  foreach(flag IN LISTS flag_list)
    if(flag MATCHES "^${option}(.+)$")
      file(REAL_PATH "${CMAKE_MATCH_1}" path)
      if(path STREQUAL dir)
        set(found TRUE)
      endif()
    endif()
  endforeach()
  if(NOT found)
    message(FATAL_ERROR "pkg-config gives no ${option}${dir}: ${flags}")
  endif()
endforeach()
run(${CXX} "${SOURCE_DIR}/main.cpp" -o "${WORK}/app-pkgconfig" ${flag_list})
set(ENV{LD_LIBRARY_PATH} "${prefix}/${LIBDIR}")
run("${WORK}/app-pkgconfig")
message(STATUS "pkg-config build: ${out}")
