# Shared by the toolchain files beside it: Debian's cross compiler for `triple`, and qemu's user mode
# (`emulator`), by which CTest runs what was built, or whatever QUEL_EMULATOR says.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${triple}-gcc)
set(CMAKE_CXX_COMPILER ${triple}-g++)
set(CMAKE_FIND_ROOT_PATH /usr/${triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator};-L;/usr/${triple})
if(DEFINED QUEL_EMULATOR)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${QUEL_EMULATOR})
endif()
