#!/usr/bin/env bash
# Calls of the example: the same seed gives the same call, sound goes on through all that its network
# does, and nearly everything that was not lost is heard.
#   loopback_call_test.sh PROGRAM
set -euo pipefail
program=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
fail() {
  printf '%s\n' "$*"
  exit 1
}
call() { "$program" "$2" "$3" >"$folder/$1.raw" 2>"$folder/$1.txt"; }

for seed in 1 2 3; do
  call "$seed" 300 "$seed" || fail "seed $seed: status $?"
  cat "$folder/$seed.txt"
  read -r received lost late doubled heard made_up delay jitter < \
    <(grep -oE "[0-9]+" "$folder/$seed.txt" | paste -sd" ")
  # 300 s are 8333.3 packets of 36 ms, of which one in twenty is lost on average; those of the last
  # 130 ms may be under way.
  sent=$((received + lost))
  ((sent >= 8329 && sent <= 8334)) || fail "$sent packets sent"
  ((lost > 8333 * 3 / 100 && lost < 8333 * 7 / 100)) || fail "$lost lost"
  ((doubled > 30 && doubled < 150)) || fail "$doubled doubled"
  # One in fifty is overtaken by 60 ms, and an honest wait leaves one in a hundred behind.
  ((late * 50 < sent)) || fail "$late late"
  ((made_up >= 2 * lost && made_up < 2 * lost + 2 * sent / 50)) || fail "$made_up made up"
  ((heard + made_up > 2 * 8333 * 99 / 100)) || fail "$heard heard"
  # Its network takes 30 ms at least, and 40 ms more where nothing is overtaken.
  ((delay >= 40 && delay <= 160)) || fail "delay of $delay ms"
  ((jitter >= 3 && jitter <= 40)) || fail "jitter of $jitter ms"
  # Whole blocks of 160 samples, 200 ppm faster.
  size=$(stat -c %s "$folder/$seed.raw")
  ((size % 320 == 0 && size >= 4800960 && size <= 4801280)) || fail "$size bytes"
  # There is sound in every second; not all are looked at.
  for ((second = 1; second < 300; second += 7)); do
    loudest=$(od -An -v -td2 -w2 -j $((second * 16000)) -N 16000 "$folder/$seed.raw" |
      awk '{ if ($1 > most) most = $1 } END { print most }')
    ((loudest > 2000)) || fail "seed $seed: nothing to hear in second $second"
  done
done
call again 300 2
cmp "$folder/2.raw" "$folder/again.raw"
! cmp -s "$folder/1.raw" "$folder/2.raw" || fail "another seed gives the same call"
