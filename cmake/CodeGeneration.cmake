# Code generation for all targets, JUCE included.

# Size before speed: a pass spends its time in shell commands, so it is not measurably slower (benchmarks/run).
set(CMAKE_CXX_FLAGS_RELEASE "-Os -DNDEBUG")

# The fan curve must give the same bits on the PC and on the target, so nothing uses fused multiply-add.
add_compile_options(-ffp-contract=off)

# The daemon uses only a small part of the framework, so the linker drops the unused sections.
add_compile_options(-ffunction-sections -fdata-sections)
add_link_options(-Wl,--gc-sections)

# Two builds of the same sources give identical files, even in different folders. The linker compiles the daemon once
# more, so it needs the option too.
set(without_paths -ffile-prefix-map=${PROJECT_BINARY_DIR}=. -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
add_compile_options(${without_paths})
add_link_options(${without_paths})

# Without these, a 32-bit program's clock ends in January 2038 and its log continues in 1901.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  add_compile_definitions(_TIME_BITS=64 _FILE_OFFSET_BITS=64)
endif()

# orbis_optimised_as_one(TARGET...): the linker optimises these parts of the daemon as one program in a release, which leaves
# out another fifth. Their objects hold ordinary code too, because each test program would otherwise take as long to link.
function(orbis_optimised_as_one)
  if(CMAKE_BUILD_TYPE STREQUAL "Release" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    foreach(target IN LISTS ARGN)
      target_compile_options(${target} PRIVATE -flto=auto -ffat-lto-objects)
      get_target_property(type ${target} TYPE)
      if(type STREQUAL "EXECUTABLE")
        target_link_options(${target} PRIVATE -flto=auto)
      endif()
    endforeach()
  endif()
endfunction()

# orbis_hardened(TARGET...): a fault in these parts of the daemon ends it, where it could otherwise run foreign code. -U, because
# some compilers predefine the macro. The linker compiles them once more, so it needs the options too.
function(orbis_hardened)
  if(CMAKE_BUILD_TYPE STREQUAL "Release" AND NOT ORBIS_SANITIZE)
    set(checks -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fPIE)
    foreach(target IN LISTS ARGN)
      target_compile_options(${target} PRIVATE ${checks})
      get_target_property(type ${target} TYPE)
      if(type STREQUAL "EXECUTABLE")
        target_link_options(${target} PRIVATE ${checks} -pie LINKER:-z,relro,-z,now)
      endif()
    endforeach()
  endif()
endfunction()

# orbis_stripped(PROGRAM): the unit gets the stripped program. PROGRAM.debug is left beside it for gdb and for stack traces from
# units.
function(orbis_stripped program)
  if(ORBIS_STATIC_LIBSTDCXX)
    target_link_options(${program} PRIVATE -static-libstdc++ -static-libgcc)
  endif()
  if(CMAKE_BUILD_TYPE STREQUAL "Release")
    add_custom_command(TARGET ${program} POST_BUILD
      COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:${program}> $<TARGET_FILE:${program}>.debug
      COMMAND ${CMAKE_STRIP} --strip-all $<TARGET_FILE:${program}>
      COMMAND ${CMAKE_OBJCOPY} --add-gnu-debuglink=$<TARGET_FILE:${program}>.debug $<TARGET_FILE:${program}>
      VERBATIM)
  endif()
endfunction()

# orbis_shipped(TARGET...): our own code that a unit gets. A release has its debug symbols in a file.
function(orbis_shipped)
  orbis_optimised_as_one(${ARGN})
  orbis_hardened(${ARGN})
  if(CMAKE_BUILD_TYPE STREQUAL "Release")
    foreach(target IN LISTS ARGN)
      target_compile_options(${target} PRIVATE -g)
    endforeach()
  endif()
endfunction()
