# Cross-compiles for 64-bit Arm Linux with Debian's GNU cross toolchain
# (g++-aarch64-linux-gnu) and runs the resulting executables under user-mode
# QEMU (qemu-user), so that test discovery and ctest execute on the target's
# instruction set, data model and byte order.
#
#   cmake --preset aarch64            (see CMakePresets.json)
#   cmake -S . -B build/x -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/aarch64-linux-gnu.cmake
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(FSRL_CROSS_TRIPLE aarch64-linux-gnu)
# The target's system root as Debian's cross packages lay it out (libc6-dev-arm64-cross,
# libstdc++-12-dev-arm64-cross, ...).
set(FSRL_CROSS_SYSROOT /usr/${FSRL_CROSS_TRIPLE})

# C is not a language of the project, but GoogleTest, built from source for the
# target, enables it.
set(CMAKE_C_COMPILER ${FSRL_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${FSRL_CROSS_TRIPLE}-g++)

# Libraries, headers and packages come from the target's root only; programs
# (python3, the emulator) from the build machine.
list(APPEND CMAKE_FIND_ROOT_PATH ${FSRL_CROSS_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Every target executable that CMake runs (gtest_discover_tests after each
# build, add_test with a target as COMMAND under ctest) goes through QEMU; -L
# lets it find the target's dynamic loader, libc and libstdc++.
find_program(FSRL_QEMU_AARCH64 NAMES qemu-aarch64 qemu-aarch64-static)
if(NOT FSRL_QEMU_AARCH64)
  message(FATAL_ERROR "qemu-aarch64 not found: install Debian's qemu-user (or qemu-user-static)")
endif()
set(CMAKE_CROSSCOMPILING_EMULATOR ${FSRL_QEMU_AARCH64} -L ${FSRL_CROSS_SYSROOT})
