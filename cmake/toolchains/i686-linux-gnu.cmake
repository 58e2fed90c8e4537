# cmake --toolchain cmake/toolchains/i686-linux-gnu.cmake ...
# Debian packages: g++-i686-linux-gnu, qemu-user
set(CMAKE_SYSTEM_PROCESSOR i686)
set(triple i686-linux-gnu)
set(emulator qemu-i386)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
