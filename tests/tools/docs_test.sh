#!/usr/bin/env bash
# Compiles and runs the programs that the documentation shows.
#   docs_test.sh SOURCE_FOLDER C_COMPILER CXX_COMPILER LIBRARY_FOLDER
set -euo pipefail
source=$1 cc=$2 cxx=$3 libraries=$4
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# block FILE LANGUAGE: the first code block of that language that is a whole program.
block() {
  awk -v mark="\`\`\`$2" '
    $0 == mark { inside = 1; text = ""; next }
    inside && /^```/ { if (text ~ /int main/) { printf "%s", text; exit } inside = 0; next }
    inside { text = text $0 "\n" }' "$1"
}
# build COMPILER STANDARD SOURCE
build() {
  "$1" "-std=$2" -Wall -Wextra -Werror -I "$source/include" "$3" -o "$folder/program" \
    -L "$libraries" -lquelcodec -ldl -Wl,-rpath,"$libraries"
}
# expect WHAT GOT WANTED
expect() {
  if [[ $2 != "$3" ]]; then
    printf '%s gave\n%s\ninstead of\n%s\n' "$1" "$2" "$3"
    exit 1
  fi
}

block "$source/README.md" c >"$folder/readme.c"
build "$cc" c99 "$folder/readme.c"
# Ten units of 144 samples and a piece of one.
count=$(head -c 3000 /dev/zero | "$folder/program" | wc -c)
expect README.md "$count" 2880

block "$source/docs/plugin.md" c >"$folder/plugin.c"
build "$cc" c99 "$folder/plugin.c"
expect docs/plugin.md "$(LD_LIBRARY_PATH=$libraries "$folder/program")" \
  "2304 samples, 304 bytes, 2304 samples"

block "$source/docs/streams.md" cpp >"$folder/streams.cpp"
build "$cxx" c++20 "$folder/streams.cpp"
expect docs/streams.md "$("$folder/program")" "20 bytes, 160 and 160 samples
-5: The input is not exactly one unit."
