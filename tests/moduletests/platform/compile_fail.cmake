# Compile-time rejections cannot be tested from inside a test binary. Each test
# below compiles one case of a source file with the project's C++14 settings and
# passes when the compiler's output contains the expected diagnostic; the
# control case must compile cleanly, which proves the file itself is sound.
set(ZOL_COMPILE_FAIL_DIR ${CMAKE_CURRENT_SOURCE_DIR}/compile_fail)
set(ZOL_COMPILE_FAIL_FLAGS -std=c++14 -Wall -Wextra -Wpedantic -Werror -fsyntax-only
    -I${PROJECT_SOURCE_DIR}/platform/include)

# zol_add_compile_check(<test name> <source> <define or "NONE"> <regex or "">)
# An empty regex means the case must compile.
function(zol_add_compile_check name source define regex)
  set(defines "")
  if(NOT define STREQUAL "NONE")
    set(defines -D${define})
  endif()
  add_test(NAME ${name}
    COMMAND ${CMAKE_CXX_COMPILER} ${ZOL_COMPILE_FAIL_FLAGS} ${defines} ${source})
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
