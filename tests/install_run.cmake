# Installs the build into a scratch prefix and runs the installed lumora
# command from there: it must find its libraries and its language libraries
# in the installed tree alone. Arguments:
#   -DBUILD_DIR=<build tree> -DWORK=<scratch folder> -DINPUT=<an image file>
#   -DEMULATOR=<program|arg|...> (optional, Wine for a Windows build)
cmake_minimum_required(VERSION 3.25)
string(REPLACE "|" ";" EMULATOR "${EMULATOR}")
file(REMOVE_RECURSE "${WORK}")
execute_process(COMMAND ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${WORK}/prefix"
                RESULT_VARIABLE rc OUTPUT_QUIET)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "cmake --install failed: ${rc}")
endif()
file(GLOB lumora "${WORK}/prefix/bin/lumora" "${WORK}/prefix/bin/lumora.exe")
if(NOT lumora)
  message(FATAL_ERROR "the lumora command is not installed in bin/")
endif()
execute_process(COMMAND ${EMULATOR} ${lumora} --language kor contrast "${INPUT}" "${WORK}/out.png" --no-table
                RESULT_VARIABLE rc ERROR_VARIABLE err)
if(rc EQUAL 0 OR NOT err MATCHES "^lumora: 먼저 SetCoefficient 함수와 CreateVectorTable 함수를 호출해야 합니다.")
  message(FATAL_ERROR "the installed lumora did not show the Korean warning\nexit: ${rc}\nstderr:\n${err}")
endif()
