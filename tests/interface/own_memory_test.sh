#!/usr/bin/env bash
# A C program with streams in memory of its own, linked with the archive by the C compiler: no C++
# library, no allocator, and the same results as from streams on the heap.
#   own_memory_test.sh SOURCE_FOLDER ARCHIVE C_COMPILER CXX_COMPILER WORK_FOLDER [EMULATOR...]
# Leaves the program and what it printed in WORK_FOLDER, as `own` and `own.txt`.
set -euo pipefail
source=$1 archive=$2 cc=$3 cxx=$4 work=$5
shift 5
emulator=("$@")
mkdir -p "$work"
program=$source/tests/interface/own_memory.c
warn=(-DWITH_RECEIVER -std=c99 -Wall -Wextra -Wpedantic -Werror -I"$source/include")

# -lm: builds that do not optimise take sqrt and floor from the C library.
"$cc" "${warn[@]}" -O2 "$program" "$archive" -lm -o "$work/own" || {
  echo "It does not link without the C++ library"
  exit 1
}
# Versions of symbols are not of interest.
undefined=$(nm -u "$work/own" | sed 's/^ *[a-zA-Z] //; s/@.*//')
grep -q putc <<<"$undefined" || {
  echo "No undefined symbols to look at"
  exit 1
}
if grep -xE '(_*(libc_)?((m|c|re|aligned_)alloc|free|memalign|valloc|posix_memalign|s?brk|mmap))|_Zn.*|_Zd.*|__cxa_(throw|guard|allocate).*|__gxx_.*|_Unwind_.*' \
    <<<"$undefined"; then
  echo "is what the program asks for and should not"
  exit 1
fi
"$cc" "${warn[@]}" -DFROM_THE_HEAP -O2 -c "$program" -o "$work/heap.o"
"$cxx" "$work/heap.o" "$archive" -o "$work/heap"

got=$("${emulator[@]}" "$work/own" | tee "$work/own.txt")
wanted=$("${emulator[@]}" "$work/heap")
[[ $(wc -l <<<"$got") -eq 8 && $(sort -u <<<"$got" | wc -l) -eq 8 && $got == "$wanted" ]] || {
  printf 'In memory of its own\n%s\non the heap\n%s\n' "$got" "$wanted"
  exit 1
}
