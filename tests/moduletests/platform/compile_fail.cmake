# Compile-time rejections cannot be tested from inside a test binary. Each test
# below compiles one case of a source file with the project's C++14 settings and
# passes when the compiler's output contains the expected diagnostic; the
# control case must compile cleanly, which proves the file itself is sound.
set(ZOL_COMPILE_FAIL_DIR ${CMAKE_CURRENT_SOURCE_DIR}/compile_fail)
set(ZOL_COMPILE_FAIL_FLAGS -std=c++14 -Wall -Wextra -Wpedantic -Werror -fsyntax-only
    -I${PROJECT_SOURCE_DIR}/platform/include)

# zol_add_compile_check(<test name> <source> <define or "NONE"> <regex or ""> [COMPILER <compiler>])
# An empty regex means the case must compile. The compiler defaults to the build's own.
function(zol_add_compile_check name source define regex)
  cmake_parse_arguments(PARSE_ARGV 4 check "" "COMPILER" "")
  set(compiler ${CMAKE_CXX_COMPILER})
  if(check_COMPILER)
    set(compiler ${check_COMPILER})
  endif()
  set(defines "")
  if(NOT define STREQUAL "NONE")
    set(defines -D${define})
  endif()
  add_test(NAME ${name}
    COMMAND ${compiler} ${ZOL_COMPILE_FAIL_FLAGS} ${defines} ${source})
  if(regex STREQUAL "")
    set_tests_properties(${name} PROPERTIES LABELS compile_check)
  else()
    set_tests_properties(${name} PROPERTIES PASS_REGULAR_EXPRESSION "${regex}" LABELS compile_check)
  endif()
endfunction()

zol_add_compile_check(StaticFunction.ACallableThatFitsCompiles
  ${ZOL_COMPILE_FAIL_DIR}/static_function_too_large.cpp NONE "")
zol_add_compile_check(StaticFunction.ACallableLargerThanTheCapacityDoesNotCompile
  ${ZOL_COMPILE_FAIL_DIR}/static_function_too_large.cpp ZOL_CASE_TOO_LARGE
  "callable is larger than the StaticFunction's inline storage")
zol_add_compile_check(StaticFunction.AnOverAlignedCallableDoesNotCompile
  ${ZOL_COMPILE_FAIL_DIR}/static_function_too_large.cpp ZOL_CASE_OVER_ALIGNED
  "callable needs a stricter alignment than the StaticFunction's inline storage")

# The HAL is compiled without the platform's control side. Each case is a probe that builds one source with
# exactly the usage requirements the HAL's own sources get (it links the HAL's object library) and must fail to
# find the control header; the control case must build. The probes are built by the test, not by the build.
# GCC says "<header>: No such file", clang "'<header>' file not found".
set(ZOL_HAL_BOUNDARY_SOURCE ${ZOL_COMPILE_FAIL_DIR}/hal_without_control_side.cpp)
function(zol_add_hal_boundary_check name probe define regex)
  add_library(${probe} OBJECT EXCLUDE_FROM_ALL ${ZOL_HAL_BOUNDARY_SOURCE})
  fsrl_library_target(${probe})
  target_link_libraries(${probe} PRIVATE hal_frontsideradarleft_core)
  if(NOT define STREQUAL "NONE")
    target_compile_definitions(${probe} PRIVATE ${define})
  endif()
  add_test(NAME ${name} COMMAND ${CMAKE_COMMAND} --build ${CMAKE_BINARY_DIR} --target ${probe})
  # A nested build of the same tree must not run beside another one.
  set_tests_properties(${name} PROPERTIES RUN_SERIAL TRUE LABELS compile_check)
  if(NOT regex STREQUAL "")
    set_tests_properties(${name} PROPERTIES PASS_REGULAR_EXPRESSION "${regex}")
  endif()
endfunction()
zol_add_hal_boundary_check(PlatformBoundary.TheHalCompilesWithThePlatformInterfacesItUses
  hal_boundary_probe_control NONE "")
zol_add_hal_boundary_check(PlatformBoundary.TheHalCannotIncludeTheSignalServiceControl
  hal_boundary_probe_signal_service ZOL_CASE_SIGNAL_SERVICE "zol/signalcomm/service.h(: No such file|' file not found)")
zol_add_hal_boundary_check(PlatformBoundary.TheHalCannotIncludeTheE2eFaultInjection
  hal_boundary_probe_e2e_testing ZOL_CASE_E2E_TESTING "zol/e2e/e2e_protection_testing.h(: No such file|' file not found)")
zol_add_hal_boundary_check(PlatformBoundary.TheHalCannotIncludeTheDeviceActivationServiceControl
  hal_boundary_probe_device_service ZOL_CASE_DEVICE_SERVICE
  "device_activator/device_activation_service.h(: No such file|' file not found)")
zol_add_hal_boundary_check(PlatformBoundary.TheHalCannotIncludeTheTransactionTestHooks
  hal_boundary_probe_transaction_testing ZOL_CASE_TRANSACTION_TESTING
  "zol/afw/core/transaction_testing.h(: No such file|' file not found)")

# Each platform component includes only its own headers and those of the components it depends on. The
# interpreter is named by its path, not as a target: a cross build would run a target through its emulator.
find_package(Python3 COMPONENTS Interpreter REQUIRED)
add_test(NAME PlatformBoundary.EveryComponentIncludesOnlyWhatItDependsOn
  COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/boundaries/check_component_boundaries.py
          ${CMAKE_BINARY_DIR}/platform_components.txt ${PROJECT_SOURCE_DIR}/platform)
set_tests_properties(PlatformBoundary.EveryComponentIncludesOnlyWhatItDependsOn PROPERTIES LABELS compile_check)
# The check itself finds a crossing: a fixture whose lower component includes the higher one.
add_test(NAME PlatformBoundary.TheCheckReportsAComponentThatIncludesOneItDoesNotDependOn
  COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/boundaries/check_component_boundaries.py
          ${CMAKE_CURRENT_SOURCE_DIR}/boundaries/violation/components.txt
          ${CMAKE_CURRENT_SOURCE_DIR}/boundaries/violation/platform)
set_tests_properties(PlatformBoundary.TheCheckReportsAComponentThatIncludesOneItDoesNotDependOn PROPERTIES
  PASS_REGULAR_EXPRESSION "low/low.h:2: component 'low' includes \"zol/high/high.h\" of 'high'"
  LABELS compile_check)

# Dropped results. The default builds use GCC and the fuzz build clang, and ZOL_NODISCARD is spelled differently
# for each in C++14, so both are checked wherever clang is installed, whichever compiler this build uses.
set(zol_nodiscard_compilers ${CMAKE_CXX_COMPILER_ID}=${CMAKE_CXX_COMPILER})
if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  find_program(ZOL_CLANGXX NAMES clang++ clang++-14)
  if(ZOL_CLANGXX)
    list(APPEND zol_nodiscard_compilers Clang=${ZOL_CLANGXX})
  endif()
endif()
foreach(entry IN LISTS zol_nodiscard_compilers)
  string(REPLACE "=" ";" entry "${entry}")
  list(GET entry 0 id)
  list(GET entry 1 compiler)
  set(source ${ZOL_COMPILE_FAIL_DIR}/dropped_result.cpp)
  # GCC: "ignoring returned value of type ...", clang: "ignoring return value of function declared with ...".
  set(diagnostic "error: ignoring return(ed)? value of")
  zol_add_compile_check(NoDiscard.${id}.ResultsReadOrCastToVoidCompile ${source} NONE "" COMPILER ${compiler})
  zol_add_compile_check(NoDiscard.${id}.ADroppedErrorCodeDoesNotCompile ${source} ZOL_CASE_DROPPED_ERROR_CODE
    "${diagnostic}" COMPILER ${compiler})
  zol_add_compile_check(NoDiscard.${id}.ADroppedStatusOrDoesNotCompile ${source} ZOL_CASE_DROPPED_STATUS_OR
    "${diagnostic}" COMPILER ${compiler})
  zol_add_compile_check(NoDiscard.${id}.ADroppedMemberFunctionResultDoesNotCompile ${source}
    ZOL_CASE_DROPPED_MEMBER_RESULT "${diagnostic}" COMPILER ${compiler})
endforeach()
