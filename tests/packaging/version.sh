#!/usr/bin/env bash
# Prints the version that the public header gives, as 1.2.3.
#   version.sh SOURCE_FOLDER
set -euo pipefail
sed -n 's/^#define QUEL_VERSION_[MP][A-Z]* \([0-9]*\).*/\1/p' "$1/include/quelcodec/quelcodec.h" |
  paste -sd .
