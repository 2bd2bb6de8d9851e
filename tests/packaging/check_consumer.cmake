# Installs the build tree into a scratch prefix, then builds and runs a small
# consumer twice: once through find_package(slrt CONFIG), once through
# pkg-config.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "command failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

# 1. CMake package.
run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/cmake-build
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-build)
run(${WORK_DIR}/cmake-build/consumer)

# 2. pkg-config.
find_program(PKG_CONFIG pkg-config REQUIRED)
file(GLOB_RECURSE pcfile ${prefix}/*/slrt.pc)
get_filename_component(pcdir "${pcfile}" DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pcdir})
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs slrt
  OUTPUT_VARIABLE flags RESULT_VARIABLE rc OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "pkg-config does not know slrt")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
find_program(CXX NAMES c++ g++ REQUIRED)
run(${CXX} -std=c++17 ${SOURCE_DIR}/consumer.cpp ${flags}
    -Wl,-rpath,${pcdir}/.. -o ${WORK_DIR}/consumer-pc)
run(${WORK_DIR}/consumer-pc)
message(STATUS "consumer built and ran through the CMake package and pkg-config")
