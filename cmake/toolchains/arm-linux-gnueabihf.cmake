# The unit's processor: 32-bit ARM with hardware floating point, Debian's armhf (ARMv7-A, VFPv3-D16). No option for a
# certain processor is added, so what runs under qemu is what runs on the unit.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(target arm-linux-gnueabihf)

set(CMAKE_C_COMPILER ${target}-gcc)
set(CMAKE_CXX_COMPILER ${target}-g++)

# CMake reads this from the compiler's output, which it cannot parse if the path of the sysroot has a blank.
set(CMAKE_LIBRARY_ARCHITECTURE ${target})

# The compiler brings its own C and C++ libraries and would look for all others in the build machine's folders. With a
# sysroot it looks in no folder of this machine; prepare_target (cmake/prepare.sh) fills it.
set(CMAKE_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../../build/sysroot)

if(NOT EXISTS ${CMAKE_SYSROOT}/usr/include/zlib.h)
  message(FATAL_ERROR "The target's libraries are missing: run ./build-for-target once, which fetches them.")
endif()

# No remarks that GCC 7 changed how some structures are passed: nothing here meets code of an older compiler.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${CMAKE_SYSROOT}/usr/lib/${target}/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})

set(JUCE_DIR ${CMAKE_CURRENT_LIST_DIR}/JUCE)

# -L: the loader and the C library that the compiler brings; zlib is in the sysroot.
set(CMAKE_CROSSCOMPILING_EMULATOR
  qemu-arm -L /usr/${target} -E LD_LIBRARY_PATH=${CMAKE_SYSROOT}/lib/${target})
