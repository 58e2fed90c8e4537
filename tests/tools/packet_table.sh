#!/usr/bin/env bash
# What Ogg costs beyond the bare units, from the sizes of files that quel writes: rows of a table,
# one per length of a packet.
#   packet_table.sh QUEL
set -euo pipefail
quel=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
# Ten minutes of units: bytes per unit and number.
bytes=(29 19 37 20) units=(16667 33333 10000 60000)
for flavor in 0 1 2 3; do
  head -c $((bytes[flavor] * units[flavor])) /dev/zero >"$folder/raw$flavor"
done
for packet_ms in 1 60 120 240 480 1000; do
  row="| $packet_ms ms |"
  for flavor in 0 1 2 3; do
    "$quel" mux -f --flavor $flavor --packet-ms $packet_ms "$folder/raw$flavor" "$folder/file"
    row+=$(awk -v file="$(stat -c %s "$folder/file")" -v raw="$(stat -c %s "$folder/raw$flavor")" \
      'BEGIN { printf " %.2f %% |", 100 * (file / raw - 1) }')
  done
  echo "$row"
done
