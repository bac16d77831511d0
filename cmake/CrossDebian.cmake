# A toolchain file for another Debian architecture, with a folder that holds its libraries:
#   cmake --toolchain cmake/CrossDebian.cmake -D JN_TRIPLET=aarch64-linux-gnu -D JN_SYSROOT=DIR
# Programs of the build run under qemu's user emulation.
set(CMAKE_SYSTEM_NAME Linux)
string(REGEX MATCH "^[^-]+" CMAKE_SYSTEM_PROCESSOR "${JN_TRIPLET}")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES JN_TRIPLET JN_SYSROOT)

set(CMAKE_C_COMPILER ${JN_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${JN_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${JN_TRIPLET})
set(CMAKE_FIND_ROOT_PATH ${JN_SYSROOT} /usr/${JN_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(ENV{PKG_CONFIG_SYSROOT_DIR} ${JN_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR}
  ${JN_SYSROOT}/usr/lib/${JN_TRIPLET}/pkgconfig:${JN_SYSROOT}/usr/share/pkgconfig)
set(libraries ${JN_SYSROOT}/usr/lib/${JN_TRIPLET})
string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " -Wl,-rpath-link,${libraries}")

if(JN_TRIPLET MATCHES "^aarch64")
  set(emulator qemu-aarch64)
elseif(JN_TRIPLET MATCHES "^arm")
  set(emulator qemu-arm)
endif()
set(CMAKE_CROSSCOMPILING_EMULATOR
  ${emulator} -L /usr/${JN_TRIPLET} -E LD_LIBRARY_PATH=${libraries}:/usr/${JN_TRIPLET}/lib)
