#!/usr/bin/env bash
# A unit compiled for a higher instruction set defines symbols of its own namespace only. Where it
# shared a template or an inline function with other units, the linker would keep one copy of the
# two, and an older processor could be handed the one that it cannot run.
#
#   kernel_symbols_test.sh COMPILER SOURCE_FOLDER
set -euo pipefail
compiler=$1
cd "$2"
object=$(mktemp)
trap 'rm -f "$object"' EXIT
fail=0 units=0
for unit in src/*/kernels_avx2.cpp src/*/kernels_avx512.cpp; do
  units=$((units + 1))
  case $unit in
    *avx512*) set=avx512 options="-mavx2 -mfma -mavx512f -mavx512bw -mavx512dq -mavx512vl" ;;
    *) set=avx2 options="-mavx2 -mfma" ;;
  esac
  for flags in "-O0 -g" "-O2" "-O3 -DNDEBUG"; do
    # shellcheck disable=SC2086  # flags and options are several words
    "$compiler" -std=c++20 -fno-exceptions -Isrc $flags $options -ffp-contract=off -fPIC -c "$unit" -o "$object"
    defined=$(nm --defined-only "$object" | sed 's/^[0-9a-f]* *//')
    # Lower-case letters are the unit's own symbols, but for weak ones: v, w and the unique u.
    foreign=$(grep -E '^[A-Zuvw] ' <<<"$defined" | grep -vE "^[A-Z] _ZN4quel${#set}$set" || true)
    if [[ -n $foreign ]]; then
      printf '%s with %s defines\n%s\n' "$unit" "$flags" "$(c++filt <<<"$foreign")"
      fail=1
    fi
    grep -qE " _ZN4quel${#set}$set[0-9]+[a-z]+_kernelsE\$" <<<"$defined" ||
      { echo "$unit: no kernels in it"; fail=1; }
  done
done
[[ $units -gt 0 ]] || { echo "no units"; fail=1; }
exit $fail
