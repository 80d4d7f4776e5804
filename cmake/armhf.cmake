# The management controller: 32-bit Arm Linux, built with Debian's cross compiler, and run under
# user-mode emulation where that is installed.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_FLAGS_INIT "-Wno-psabi")
find_program(BOARDCTL_QEMU_ARM qemu-arm)
if(BOARDCTL_QEMU_ARM)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${BOARDCTL_QEMU_ARM} -L /usr/arm-linux-gnueabihf)
endif()
