#!/usr/bin/env bash
# Includes point downwards only: interface -> narrowband, wideband -> bitstream -> dsp.
set -euo pipefail
cd "$1/src"
fail=0
# forbid <layer> <pattern of folders that it must not include>
forbid() {
  local found
  found=$(grep -rnE "#include \"($2)/" "$1" || true)
  if [[ -n $found ]]; then
    printf '%s must not include %s:\n%s\n' "$1" "$2" "$found"
    fail=1
  fi
}
[[ -d dsp && -d interface ]]
forbid dsp 'bitstream|narrowband|wideband|interface|quelcodec'
forbid bitstream 'narrowband|wideband|interface|quelcodec'
forbid narrowband 'wideband|interface|quelcodec'
forbid wideband 'narrowband|interface|quelcodec'
exit $fail
