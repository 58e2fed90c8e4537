# cmake --toolchain cmake/toolchains/riscv64-linux-gnu.cmake ...
# Debian packages: g++-riscv64-linux-gnu, qemu-user
set(CMAKE_SYSTEM_PROCESSOR riscv64)
set(triple riscv64-linux-gnu)
set(emulator qemu-riscv64)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
