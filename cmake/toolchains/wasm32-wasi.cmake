# cmake --toolchain cmake/toolchains/wasm32-wasi.cmake ...
# Debian packages: clang-14 lld-14 wasi-libc libc++-14-dev-wasm32 libc++abi-14-dev-wasm32
#                  libclang-rt-14-dev-wasm32; nodejs to run what was built
# One thread, no exceptions, no shared libraries.
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR wasm32)
set(CMAKE_C_COMPILER clang-14)
set(CMAKE_C_COMPILER_TARGET wasm32-wasi)
set(CMAKE_CXX_COMPILER clang++-14)
set(CMAKE_CXX_COMPILER_TARGET wasm32-wasi)
set(CMAKE_CXX_FLAGS_INIT -fno-exceptions)
set(CMAKE_EXECUTABLE_SUFFIX_C .wasm)
set(CMAKE_EXECUTABLE_SUFFIX_CXX .wasm)
set(CMAKE_FIND_ROOT_PATH /usr/lib/wasm32-wasi)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Node 18 needs the second option; newer ones take it for nothing.
set(CMAKE_CROSSCOMPILING_EMULATOR node;--no-warnings;--experimental-wasi-unstable-preview1
    ${CMAKE_CURRENT_LIST_DIR}/../../scripts/run-wasi.mjs)
