# cmake --toolchain cmake/toolchains/x86_64-linux-gnu.cmake ...
# Debian packages: g++, qemu-user
#
# This machine's own processor family as it was in 2008: programs run without AVX, whatever the machine
# has. What an older processor cannot run then stops them.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-x86_64;-cpu;Nehalem)
