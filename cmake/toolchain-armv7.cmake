# ARMv7 hard-float with Debian's cross compiler. Libraries of the target come from a folder of their own
# (scripts/setup-armv7.sh), so the machine's architectures stay as they are.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)

set(ORB_ARMV7_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../build/armv7-sysroot" CACHE PATH "Unpacked armhf packages")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ORB_ARMV7_SYSROOT)

set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_C_FLAGS_INIT "-march=armv7-a -mfpu=vfpv3-d16 -mfloat-abi=hard")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT} -Wno-psabi")

set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH ${ORB_ARMV7_SYSROOT}/usr ${ORB_ARMV7_SYSROOT} /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${ORB_ARMV7_SYSROOT}/usr/lib/arm-linux-gnueabihf")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${CMAKE_EXE_LINKER_FLAGS_INIT}")

set(CMAKE_CROSSCOMPILING_EMULATOR
  /usr/bin/env QEMU_LD_PREFIX=/usr/arm-linux-gnueabihf
  LD_LIBRARY_PATH=${ORB_ARMV7_SYSROOT}/usr/lib/arm-linux-gnueabihf
  qemu-arm)
