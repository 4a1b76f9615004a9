# Run with cmake -P. Installs the build tree FSRL_BUILD_DIR into WORK_DIR/install,
# configures and builds the consumer project in CONSUMER_SOURCE_DIR against it
# with the same generator and compiler, and runs the consumer. Any failing step
# fails the script.
cmake_minimum_required(VERSION 3.25)

foreach(required FSRL_BUILD_DIR CONSUMER_SOURCE_DIR WORK_DIR GENERATOR CXX_COMPILER)
  if(NOT DEFINED ${required} OR "${${required}}" STREQUAL "")
    message(FATAL_ERROR "check_installed_package.cmake: ${required} is not set")
  endif()
endforeach()

set(prefix "${WORK_DIR}/install")
set(consumer_build "${WORK_DIR}/build")

# Start from nothing: stale files from an earlier run must not hide a missing install rule.
file(REMOVE_RECURSE "${WORK_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")

function(run_step description)
  message(STATUS "consumer check: ${description}")
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "consumer check: ${description} failed (${result})")
  endif()
endfunction()

set(config_args)
if(BUILD_CONFIG)
  set(config_args --config "${BUILD_CONFIG}")
endif()

run_step("install the build tree into ${prefix}"
  "${CMAKE_COMMAND}" --install "${FSRL_BUILD_DIR}" --prefix "${prefix}" ${config_args})

set(configure_args
  -S "${CONSUMER_SOURCE_DIR}"
  -B "${consumer_build}"
  -G "${GENERATOR}"
  "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}"
  "-DCMAKE_PREFIX_PATH=${prefix}")
if(MAKE_PROGRAM)
  list(APPEND configure_args "-DCMAKE_MAKE_PROGRAM=${MAKE_PROGRAM}")
endif()
if(BUILD_CONFIG)
  list(APPEND configure_args "-DCMAKE_BUILD_TYPE=${BUILD_CONFIG}")
endif()
if(SANITIZER)
  # A sanitized library needs a sanitized executable to load its runtime first.
  list(APPEND configure_args
    "-DCMAKE_CXX_FLAGS=-fsanitize=${SANITIZER} -fno-omit-frame-pointer"
    "-DCMAKE_EXE_LINKER_FLAGS=-fsanitize=${SANITIZER}")
endif()

run_step("configure the consumer project" "${CMAKE_COMMAND}" ${configure_args})
run_step("build the consumer project" "${CMAKE_COMMAND}" --build "${consumer_build}" ${config_args})

# The consumer finds the installed libraries through its build RPATH and the
# libraries' own install RPATH; nothing is added to the environment on purpose.
set(consumer_executable "${consumer_build}/fsrl_consumer")
if(BUILD_CONFIG AND NOT EXISTS "${consumer_executable}")
  set(consumer_executable "${consumer_build}/${BUILD_CONFIG}/fsrl_consumer")
endif()
run_step("run the consumer" "${consumer_executable}")
