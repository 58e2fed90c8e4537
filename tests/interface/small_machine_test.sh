#!/usr/bin/env bash
# The same program for a 32-bit processor, small: it runs there in less memory than is promised, and
# gives what it gives here. The first run compiles the library, some tens of seconds.
#   small_machine_test.sh SOURCE_FOLDER ARCHIVE C_COMPILER CXX_COMPILER CMAKE WORK_FOLDER
# Exit status 77 where the compiler or the emulator is missing.
set -euo pipefail
source=$1 archive=$2 cc=$3 cxx=$4 cmake=$5 work=$6
triple=arm-linux-gnueabihf
for tool in "$triple-gcc" "$triple-g++" qemu-arm; do
  command -v "$tool" >/dev/null || {
    echo "Skipped: there is no $tool (Debian packages: g++-$triple, qemu-user)"
    exit 77
  }
done
mkdir -p "$work"
"$cmake" -S "$source" -B "$work/build" -G Ninja \
  --toolchain "$source/cmake/toolchains/$triple.cmake" -DCMAKE_BUILD_TYPE=MinSizeRel \
  -DCMAKE_CXX_FLAGS="-ffunction-sections -fdata-sections" \
  -DQUELCODEC_TESTS=OFF -DQUELCODEC_TOOLS=OFF >"$work/log" 2>&1 &&
  "$cmake" --build "$work/build" --target quelcodec_static >>"$work/log" 2>&1 || {
  tail -n 30 "$work/log"
  exit 1
}
test=$source/tests/interface/own_memory_test.sh
"$test" "$source" "$archive" "$cc" "$cxx" "$work/here"
"$test" "$source" "$work/build/src/libquelcodec.a" "$triple-gcc" "$triple-g++" "$work/there" \
  qemu-arm -L "/usr/$triple"
diff "$work/here/own.txt" "$work/there/own.txt"

# What the program takes of a machine, without a receiver: all of it but the C library.
"$triple-gcc" -std=c99 -Os -ffunction-sections -fdata-sections -Wl,--gc-sections \
  -I"$source/include" "$source/tests/interface/own_memory.c" "$work/build/src/libquelcodec.a" -lm \
  -o "$work/small"
[[ $(qemu-arm -L "/usr/$triple" "$work/small") == "$(head -n 4 "$work/here/own.txt")" ]]
"$triple-size" "$work/small" | tee "$work/size.txt"
