# The unit's processor: 32-bit ARM with hardware floating point, Debian's armhf (ARMv7-A, VFPv3-D16). No option selects a
# certain processor, so that qemu and the unit run the same code.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(target arm-linux-gnueabihf)

set(CMAKE_C_COMPILER ${target}-gcc)
set(CMAKE_CXX_COMPILER ${target}-g++)

# Set here, because CMake cannot parse it from the compiler's output if the sysroot's path has a blank.
set(CMAKE_LIBRARY_ARCHITECTURE ${target})

# The compiler has its own C and C++ libraries. It would look for all others in the build machine's folders. The sysroot
# replaces these folders. prepare_target (cmake/prepare.sh) fills it.
set(CMAKE_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../../build/sysroot)

if(NOT EXISTS ${CMAKE_SYSROOT}/usr/include/zlib.h)
  message(FATAL_ERROR "The target's libraries are missing: run ./build-for-target once, which fetches them.")
endif()

# No remarks that GCC 7 changed how some structures are passed, because no code here is from an older compiler.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${CMAKE_SYSROOT}/usr/lib/${target}/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})

set(JUCE_DIR ${CMAKE_CURRENT_LIST_DIR}/JUCE)

# -L names the loader and the C library of the compiler. zlib is in the sysroot.
set(CMAKE_CROSSCOMPILING_EMULATOR
  qemu-arm -L /usr/${target} -E LD_LIBRARY_PATH=${CMAKE_SYSROOT}/lib/${target})
