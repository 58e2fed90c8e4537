#!/usr/bin/env bash
# Compiles and runs every program and runs every command that README.md and docs/ show, and those of
# the manual pages' examples; holds the numbers of docs/packets.md against the program.
#   docs_test.sh SOURCE_FOLDER C_COMPILER CXX_COMPILER LIBRARY_FOLDER PROGRAM_FOLDER
set -euo pipefail
source=$1 cc=$2 cxx=$3 libraries=$4 programs=$5
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export PATH=$programs:$PATH
cd "$source"
pages=(README.md docs/*.md docs/measured/*.md)

# Commands that are not run here, by their start (a regular expression), and why.
not_run=(
  'scripts/' 'works for minutes, some with recordings that are not here; CI runs the tests that they
    are made of'
  'cmake |cat build/' 'builds the project, or shows what such a build made: tests/packaging builds,
    installs and links'
  'quel decode speech\.quel - \| aplay' 'plays through a sound card'
)

fail() {
  printf '%s\n' "$*"
  exit 1
}
# expect WHAT GOT WANTED
expect() {
  [[ $2 == "$3" ]] || fail "$1 gave
$2
instead of
$3"
}

# ---- Blocks of code: numbered files PAGE.NUMBER.LABEL ----
# block_name PAGE: its path without the extension, slashes as underlines.
block_name() {
  local path=${1%.md}
  echo "${path//\//_}"
}
mkdir "$folder/blocks"
for page in "${pages[@]}"; do
  awk -v name="$folder/blocks/$(block_name "$page")" -v page="$page" '
    function report(what) { print page ":" NR ": " what; bad = 1 }
    /^```/ && !inside {
      label = substr($0, 4)
      if (label !~ /^(sh|c|cpp|cmake|text)$/) report("a block labelled \"" label "\" is checked by nobody")
      inside = 1
      file = sprintf("%s.%02d.%s", name, ++number, label)
      printf "" > file
      next
    }
    /^```/ { inside = 0; close(file); next }
    inside { print > file; next }
    /^    / && (last == "" || code) && !list { report("an indented block is checked by nobody"); code = 1 }
    !/^    / { code = 0 }
    /^[-*0-9]/ { list = 1 }
    /^[^ *0-9-]/ { list = 0 }
    { last = $0 }
    END { if (inside) report("a block without end"); exit bad }' "$page" || exit 1
done

# ---- Programs ----
# build COMPILER STANDARD BLOCK: makes $folder/program.
build() {
  cp "$3" "$folder/program.$2"
  "$1" "-std=$2" -Wall -Wextra -Werror -I include -x "$([[ $3 == *.c ]] && echo c || echo c++)" "$3" \
    -o "$folder/program" -L "$libraries" -lquelcodec -ldl -Wl,-rpath,"$libraries"
}
count=0
for block in "$folder"/blocks/*.c "$folder"/blocks/*.cpp; do
  count=$((count + 1))
  case $block in
    *.c) build "$cc" c11 "$block" ;;
    *) build "$cxx" c++20 "$block" ;;
  esac
  got=$(head -c 3000 /dev/zero | LD_LIBRARY_PATH=$libraries "$folder/program" | tr -d '\0' ; echo .)
  case $(basename "$block") in
    README.*)
      # Ten units of 144 samples and a piece of one.
      expect README.md "$(head -c 3000 /dev/zero | "$folder/program" | wc -c)" 2880
      cp "$block" "$folder/example.c"
      ;;
    *)
      # The block after a program is what it prints.
      page=$(basename "$block")
      next=$(find "$folder/blocks" -name "${page%%.*}.*" | sort | grep -A 1 -F "$block" | tail -n 1)
      [[ $next == *.text ]] || fail "$page: the page does not say what it prints"
      expect "$block" "${got%.}" "$(cat "$next")
"
      ;;
  esac
done
[[ $count -ge 3 ]] || fail "only $count programs"

# ---- Commands, in a folder with what they speak of ----
# sound_folder FOLDER: a second of sound from random units, and a folder with two of them.
head -c 1064 /dev/urandom >"$folder/units"
quel decode --raw --flavor 1 "$folder/units" "$folder/speech.wav"
quel decode --raw --flavor 1 "$folder/units" "$folder/speech.flac"
sound_folder() {
  mkdir -p "$1/recordings/more"
  cp "$folder"/{units,speech.wav,speech.flac} "$1"
  cp "$folder/speech.wav" "$1/recordings/a.wav"
  cp "$folder/speech.flac" "$1/recordings/more/b c.flac"
}
sound_folder "$folder/shell"
cp "$folder/example.c" "$folder/shell"
mkdir "$folder/shell/build"
ln -s "$libraries" "$folder/shell/build/lib"
ln -s "$source/include" "$folder/shell/include"
used=' '
# commands BLOCK: those to run; notes which exceptions were made.
commands() {
  local line i kept
  sed -e ':a' -e '/\\$/N; s/\\\n//; ta' "$1" >"$folder/lines"
  : >"$folder/commands"
  while IFS= read -r line; do
    kept=1
    for ((i = 0; i < ${#not_run[@]}; i += 2)); do
      [[ $line =~ ^(${not_run[i]}) ]] || continue
      kept=0 used+="$i "
      if [[ ${line%% *} == scripts/* ]]; then
        [[ -x $source/${line%% *} ]] || fail "$1: there is no ${line%% *}"
      fi
    done
    [[ $kept -eq 0 ]] || printf '%s\n' "$line" >>"$folder/commands"
  done <"$folder/lines"
}
run=0
for page in "${pages[@]}"; do
  for block in "$folder/blocks/$(block_name "$page")".*.sh; do
    [[ -e $block ]] || continue
    commands "$block"
    [[ -s $folder/commands ]] || continue
    run=$((run + $(wc -l <"$folder/commands")))
    (cd "$folder/shell" && PATH=$(dirname "$(command -v "$cc")"):$PATH bash -euo pipefail "$folder/commands") \
      >"$folder/log" 2>&1 || { cat "$folder/log"; fail "$block: a command failed"; }
  done
done
[[ $run -ge 20 ]] || fail "only $run commands"
for ((i = 0; i < ${#not_run[@]}; i += 2)); do
  [[ $used == *" $i "* ]] || fail "No page has a command that starts with \"${not_run[i]}\""
done
for file in small.quel heard.wav piped.wav lossy.wav eval.html random.wav bursts.wav deferred.wav \
  again.quel heard.raw losses.html example; do
  [[ -s $folder/shell/$file ]] || fail "nothing made $file"
done
expect "A folder" "$(find "$folder/shell/coded" -name '*.quel' | wc -l)" 2
cmp "$folder/shell/heard.wav" "$folder/shell/piped.wav"
expect "Text blocks with commands" \
  "$(grep -lE '^ *(quelo?|cmake|cc|ninja|scripts/[a-z-]+) ' "$folder"/blocks/*.text || true)" ""

# ---- Examples of the manual pages ----
# Into no sound card: where quel cannot do that it says that there is none, and only then fails.
play_examples() {
  local line status played=0
  echo 'pcm.!default { type null }' >"$folder/asound.conf"
  while IFS= read -r line; do
    status=0
    (cd "$place" && ALSA_CONFIG_PATH=$folder/asound.conf bash -c "$line") \
      >"$folder/log" 2>&1 </dev/null || status=$?
    [[ $status == 0 ]] ||
      { [[ $status == 1 ]] && grep -qE 'no sound output|built without PortAudio' "$folder/log"; } ||
      { cat "$folder/log"; fail "quel play: the example failed: $line"; }
    played=$((played + 1))
  done < <(grep '^quel play ' "$folder/commands")
  [[ $played -ge 2 ]] || fail "only $played examples of quel play"
}
for command in '' $(quel --help | sed -n '/^Subcommands:/,$s/^  \([a-z]*\) .*/\1/p'); do
  place=$folder/manual.$command
  sound_folder "$place"
  case $command in
    '' | encode) ;;
    *) cp "$folder/shell"/{speech,small}.quel "$place" ;;
  esac
  # shellcheck disable=SC2086
  quel --man $command | sed -n '/^\.EX$/,/^\.EE$/ { /^\./d; s/\\-/-/g; p }' >"$folder/commands"
  [[ -s $folder/commands ]] || fail "The page of quel $command has no examples"
  if [[ $command == play ]]; then
    play_examples
    continue
  fi
  (cd "$place" && bash -euo pipefail "$folder/commands") >"$folder/log" 2>&1 ||
    { cat "$folder/commands" "$folder/log"; fail "quel $command: an example of the page failed"; }
done

# ---- Numbers of docs/packets.md ----
# table HEADING: the rows below it that start with a number.
table() {
  awk -v heading="## $1" '/^## / { inside = $0 == heading } inside && /^\| [0-9]/' docs/packets.md
}
"$source/tests/tools/network_table.sh" "$programs/quel" >"$folder/network"
expect "docs/packets.md, On a network" "$(table 'On a network')" "$(grep '^|' "$folder/network")"
[[ $(tr '\n' ' ' <docs/packets.md) == *"$(grep -v '^|' "$folder/network")"* ]] ||
  fail "docs/packets.md lacks: $(grep -v '^|' "$folder/network")"
expect "docs/packets.md, In a file" "$(table 'In a file')" \
  "$("$source/tests/tools/packet_table.sh" "$programs/quel")"

# ---- Links between pages ----
"$source/tests/tools/links.sh" .
