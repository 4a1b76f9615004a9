# Compile settings shared by every target of the project.

# fsrl_library_target(<target>)
# Library code builds as C++14 with every warning an error: it has to pass the
# vehicle toolchain unchanged.
function(fsrl_library_target target)
  set_target_properties(${target} PROPERTIES
    CXX_STANDARD 14
    CXX_STANDARD_REQUIRED ON
    CXX_EXTENSIONS OFF)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Werror)
endfunction()

# fsrl_tool_target(<target>)
# Tools, tests and benchmarks: C++17, same warnings, still fatal.
function(fsrl_tool_target target)
  set_target_properties(${target} PROPERTIES
    CXX_STANDARD 17
    CXX_STANDARD_REQUIRED ON
    CXX_EXTENSIONS OFF)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Werror)
endfunction()

# Sanitizers apply to the whole tree so that library, tests and tools agree.
# address and thread cannot be combined; refuse that early instead of failing at link time.
macro(fsrl_apply_sanitizers)
  if(FSRL_SANITIZER)
    if(FSRL_SANITIZER MATCHES "thread" AND FSRL_SANITIZER MATCHES "address")
      message(FATAL_ERROR "FSRL_SANITIZER: thread and address sanitizers cannot be combined")
    endif()
    add_compile_options(-fsanitize=${FSRL_SANITIZER} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${FSRL_SANITIZER})
  endif()
endmacro()
