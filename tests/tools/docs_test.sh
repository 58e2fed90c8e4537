#!/usr/bin/env bash
# Compiles and runs the programs and runs the commands that the documentation shows.
#   docs_test.sh SOURCE_FOLDER C_COMPILER CXX_COMPILER LIBRARY_FOLDER PROGRAM_FOLDER
set -euo pipefail
source=$1 cc=$2 cxx=$3 libraries=$4 programs=$5
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

# Every block of commands, in a folder with what they speak of: a second of sound from random units.
export PATH=$programs:$PATH
mkdir -p "$folder/shell/recordings/more"
cd "$folder/shell"
head -c 1064 /dev/urandom >units
quel decode --raw --flavor 1 units speech.wav
quel decode --raw --flavor 1 units speech.flac
cp speech.wav recordings/a.wav
cp speech.flac "recordings/more/b c.flac"
for page in README.md docs/flavors.md docs/concealment.md docs/dump.md docs/numerics.md; do
  awk '/^```sh$/ { inside = 1; next } /^```/ { inside = 0 } inside' "$source/$page" >commands
  [[ -s commands ]] || { echo "$page has no commands"; exit 1; }
  bash -euo pipefail commands >log 2>&1 || { echo "$page:"; cat log; exit 1; }
done
for file in small.quel heard.wav piped.wav lossy.wav eval.html random.wav bursts.wav deferred.wav \
  again.quel; do
  [[ -s $file ]] || { echo "nothing made $file"; exit 1; }
done
expect "A folder" "$(find coded -name '*.quel' | wc -l)" 2
cmp heard.wav piped.wav

# What the container costs, as the page says.
while IFS= read -r row; do
  grep -qF -- "$row" "$source/docs/packets.md" || { echo "docs/packets.md lacks: $row"; exit 1; }
done < <("$source/tests/tools/packet_table.sh" "$programs/quel")

# Links between pages.
for page in "$source"/*.md "$source"/docs/*.md; do
  { grep -oE '\]\([^)#:]+\)' "$page" || true; } | tr -d '()]' | while read -r link; do
    [[ -e $(dirname "$page")/$link ]] || { echo "$page links to $link, which is not there"; exit 1; }
  done
done
