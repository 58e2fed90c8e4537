#!/usr/bin/env bash
# What scripts/instructions and scripts/bench-report.py make of figures.
#   reports_test.sh SOURCE_FOLDER
set -euo pipefail
cd "$1"
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
fail() {
  printf '%s\n' "$*"
  exit 1
}

# ---- Growth of instructions ----
counts() {
  printf '# a comment\n'
  printf '%s\tencode\t0\t%s\n' "$@"
}
counts baseline 100000 avx2 50000 >"$folder/old"
# compares WANTED SET COUNT...: whether a comparison of the old counts with these passes.
compares() {
  local wanted=$1 got=passes
  shift
  counts "$@" >"$folder/new"
  scripts/instructions --compare "$folder/old" "$folder/new" >"$folder/said" || got=fails
  [[ $got == "$wanted" ]] || fail "$* $got:" "$(cat "$folder/said")"
}
says() {
  grep -qF -- "$1" "$folder/said" || fail "nothing says $1:" "$(cat "$folder/said")"
}
compares passes baseline 100000 avx2 50000
compares passes baseline 102000 avx2 51000
compares fails baseline 100000 avx2 51001
says 'avx2, encode, flavor 0: 51001 instructions a frame, +2.00 %'
compares passes baseline 90000 avx2 50000
says '--renew holds what was won'
compares passes baseline 100000
says 'this processor has no avx2'
compares fails baseline 100000 avx2 50000 avx512 30000
says 'stands nowhere yet'
compares fails wasm 1
printf 'baseline\tdecode\t0\t1\navx2\tencode\t0\t50000\n' >"$folder/new"
scripts/instructions --compare "$folder/old" "$folder/new" >"$folder/said" && fail "a figure is missing"
says 'baseline, encode, flavor 0: not counted'
# The checked-in file has a figure for each flavor and direction of each set.
[[ $(grep -c '^[^#]' bench/instructions.txt) == 16 ]] || fail "bench/instructions.txt lacks figures"
scripts/instructions --compare bench/instructions.txt bench/instructions.txt >/dev/null

# ---- Tables ----
peers() {
  printf 'set\t%s\nrounds\t11\nspeech\t8000\t60\t8\tonce\n' "$1"
  local name
  for name in 'flavor 0' 'Speex 8, complexity 3'; do
    printf 'coder\t%s\t8000\t8.00\t0.700\n' "$name"
    printf 'speed\tencode\t%s\t300.0\t1\t2\nspeed\tdecode\t%s\t3000.0\t1\t2\n' "$name" "$name"
  done
  printf 'ratio\tencode\t0\tSpeex 8, complexity 3\t%s\t0.4\t0.6\n' "$2"
  printf 'ratio\tdecode\t0\tSpeex 8, complexity 3\t0.700\t0.6\t0.8\n'
}
# row TEXT COMMAND...: the command prints this row.
row() {
  local text=$1
  shift
  "$@" >"$folder/table"
  grep -qxF -- "$text" "$folder/table" || fail "no row $text in" "$(cat "$folder/table")"
}
report() {
  /usr/bin/python3 -B scripts/bench-report.py "$@"
}
peers chosen 0.5 >"$folder/before.tsv"
peers chosen 2.0 >"$folder/now.tsv"
peers baseline 1.0 >"$folder/baseline.tsv"
row '| 0 | Speex 8, complexity 3 | 2.00 (0.40 to 0.60) | 1.9 | 0.70 (0.60 to 0.80) | 1.65 |' \
  report peers <"$folder/now.tsv"
row '| 0 | Speex 8, complexity 3 | 0.50 | 2.00 (0.40 to 0.60) | 1.9 | 0.70 | 0.70 (0.60 to 0.80) | 1.65 |' \
  report peers "$folder/before.tsv" <"$folder/now.tsv"
row '| 0 | Speex 8, complexity 3 | 1.00 (0.40 to 0.60) | 0.95 | 0.70 (0.60 to 0.80) | 0.82 |' \
  report peers <"$folder/baseline.tsv"
row '| Speex 8, complexity 3 | 8000 | 8.0 | 300 | 3000 | 0.70 |' report peers <"$folder/now.tsv"
report peers </dev/null 2>/dev/null && fail "a table of nothing"

flatness() {
  local kind flavor
  for kind in length streams threads kind; do
    for flavor in 0 1 2 3; do printf '%s\t%s\t10\t%s00.0\t9.4\n' "$kind" "$flavor" "$flavor"; done
  done
  for flavor in 0 1 2 3; do printf 'slowest\t%s\t\t1.10\t1.20\n' "$flavor"; done
}
flatness >"$folder/flatness.tsv"
row '| 10 s | 0 / 9 | 100 / 9 | 200 / 9 | 300 / 9 |' report flatness <"$folder/flatness.tsv"
row '| 3 | 1.10 | 1.20 |' report flatness <"$folder/flatness.tsv"
for missing in '^kind.2' '^slowest.1' '^length'; do
  grep -v "$missing" "$folder/flatness.tsv" | report flatness >/dev/null 2>&1 &&
    fail "nobody misses $missing"
done
exit 0
