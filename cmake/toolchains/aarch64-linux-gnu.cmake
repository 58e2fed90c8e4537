# cmake --toolchain cmake/toolchains/aarch64-linux-gnu.cmake ...
# Debian packages: g++-aarch64-linux-gnu, qemu-user
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(triple aarch64-linux-gnu)
set(emulator qemu-aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
