# cmake --toolchain cmake/toolchains/arm-linux-gnueabihf.cmake ...
# Debian packages: g++-arm-linux-gnueabihf, qemu-user
set(CMAKE_SYSTEM_PROCESSOR arm)
set(triple arm-linux-gnueabihf)
set(emulator qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
