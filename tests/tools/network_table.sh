#!/usr/bin/env bash
# What headers of 40 bytes make of the bit rates: rows of a table, one per number of units in a packet,
# and from how many units on the headers are less than half, by flavor. Sizes of units are measured on
# what quel writes.
#   network_table.sh QUEL
set -euo pipefail
quel=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
# A thousand frames of 18, 18, 30 and 10 ms, which fill whole units.
seconds=(18 18 30 10)
sizes=()
for flavor in 0 1 2 3; do
  rate=$((flavor == 3 ? 16000 : 8000))
  head -c $((2 * rate * seconds[flavor])) /dev/zero |
    "$quel" encode --raw --raw-rate $rate --flavor $flavor - "$folder/$flavor"
  sizes+=("$("$quel" mux --flavor $flavor "$folder/$flavor" - | "$quel" info --json - |
    sed -n 's/.*"units":\([0-9]*\),.*/\1/p') $(stat -c %s "$folder/$flavor")")
done
printf '%s\n' "${sizes[@]}" | awk '
  { bytes[NR] = $2 / $1 }
  END {
    split("36 18 60 10", ms)
    for (units = 1; units <= 16; units *= 2) {
      row = "| " units " |"
      for (f = 1; f <= 4; ++f)
        row = row sprintf(" %.1f kbit/s, %d ms |", 8 * (40 / units + bytes[f]) / ms[f], units * ms[f])
      print row
    }
    for (f = 1; f <= 4; ++f) {
      for (units = 1; units * bytes[f] <= 40; ++units);
      half = half (f == 1 ? "" : f == 4 ? " and " : ", ") units
    }
    print "less than half of the traffic from " half " units"
  }'
