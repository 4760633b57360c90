# Cross build for the board: 32-bit ARM, soft-float EABI, glibc (Debian armel).
#
# Compiler and C library come from Debian's g++-arm-linux-gnueabi; third-party
# libraries (json-c) from the armel multiarch packages in /usr/lib/arm-linux-gnueabi.
# GoogleTest is cross-built into the build tree by scripts/armel-deps.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabi)

set(QUORIX_ARMEL_TRIPLET arm-linux-gnueabi)
set(CMAKE_C_COMPILER ${QUORIX_ARMEL_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${QUORIX_ARMEL_TRIPLET}-g++)

# The board has no FPU: every float operation must go through the soft-float
# routines, and the ABI must match the firmware stack's libraries.
# 64-bit file offsets: a 32-bit process on a 64-bit kernel (the tests under
# qemu) gets 64-bit directory offsets from ext4, which the 32-bit readdir
# refuses with EOVERFLOW; on the board they also cover files above 2 GiB.
set(CMAKE_C_FLAGS_INIT "-mfloat-abi=soft -D_FILE_OFFSET_BITS=64")
set(CMAKE_CXX_FLAGS_INIT "-mfloat-abi=soft -D_FILE_OFFSET_BITS=64")

# Headers and libraries of the target only; programs (code generators, tools)
# are the host's.
set(CMAKE_FIND_ROOT_PATH /usr/${QUORIX_ARMEL_TRIPLET})
list(APPEND CMAKE_FIND_ROOT_PATH /)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

# pkg-config must see only the armel .pc files, never the host's.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/${QUORIX_ARMEL_TRIPLET}/pkgconfig:/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "")

# Binary tools of the cross binutils (objdump reads the forwarders' code).
find_program(CMAKE_OBJDUMP ${QUORIX_ARMEL_TRIPLET}-objdump REQUIRED)
find_program(CMAKE_NM ${QUORIX_ARMEL_TRIPLET}-nm REQUIRED)
find_program(CMAKE_READELF ${QUORIX_ARMEL_TRIPLET}-readelf REQUIRED)

# Programs built here run under user-mode qemu with the armel multiarch
# runtime (libc6, libstdc++6, libgcc-s1 :armel; loader /lib/ld-linux.so.3).
# Not the cross toolchain's copy in /usr/arm-linux-gnueabi: with that libc a
# forked child crashes under qemu. Presets may override this.
if(NOT DEFINED CMAKE_CROSSCOMPILING_EMULATOR)
  find_program(QUORIX_QEMU_ARM qemu-arm REQUIRED)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${QUORIX_QEMU_ARM})
endif()
