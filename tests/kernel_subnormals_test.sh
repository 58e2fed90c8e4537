#!/usr/bin/env bash
# No kernel computes floats with the NEON of 32-bit ARM, which takes subnormals for zero: its bits
# would not be the plain routine's. Left to itself, clang takes NEON for vectors of floats.
#
#   kernel_subnormals_test.sh CLANG SOURCE_FOLDER
set -euo pipefail
compiler=$1
cd "$2"
# Arithmetic and comparisons of floats in registers of several: d and q. Those of one float are s.
neon='\bv[a-z]+\.f32[[:space:]]+[dq][0-9]'
listing=$(mktemp)
trap 'rm -f "$listing"' EXIT
compile() {
  "$compiler" --target=arm-linux-gnueabihf -march=armv7-a -mfpu=neon -std=c++20 -Isrc \
    -ffp-contract=off "$@" -S -o "$listing"
}

compile -O2 -x c++ - <<'END'
typedef float Floats __attribute__((vector_size(16)));
void multiply(Floats* x, const Floats* y) { *x *= *y; }
END
grep -qE "$neon" "$listing" || { echo "what to look for is not what this compiler writes"; exit 1; }

fail=0 units=0
for unit in src/*/kernels_baseline.cpp; do
  units=$((units + 1))
  for flags in -O0 -O2 -O3; do
    compile "$flags" "$unit"
    if grep -qE "$neon" "$listing"; then
      echo "$unit with $flags: $(grep -cE "$neon" "$listing") instructions, the first is"
      grep -m 1 -E "$neon" "$listing"
      fail=1
    fi
  done
done
[[ $units -gt 0 ]] || { echo "no units"; fail=1; }
exit $fail
