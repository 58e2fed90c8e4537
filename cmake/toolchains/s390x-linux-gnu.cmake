# cmake --toolchain cmake/toolchains/s390x-linux-gnu.cmake ...
# Debian packages: g++-s390x-linux-gnu, qemu-user
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(triple s390x-linux-gnu)
set(emulator qemu-s390x)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
