#!/usr/bin/env python3
"""The tables of scripts/time-shares, from what it measures on standard input: for each direction and
flavor a line "run DIRECTION FLAVOR FRAMES_A_SECOND GHZ" and the lines of perf report behind it."""
import re
import sys

LEAST = 1.5  # per cent that a routine has to take to be named

# Multiply-adds that the definition asks for in a frame, counted by hand from the loops of the plain
# routines: sums of products, filters, correlations, candidates of the searches. Only of these.
MULTIPLY_ADDS = {("encode", 1): 85000, ("encode", 3): 92000}
LANES = {"baseline": 2, "avx2": 4, "avx512": 8}  # doubles, in each of two units that multiply and add


def routine(symbol):
    """quel::avx512::rotations::place<3>(int) -> place; the rest of the processor's time is no routine
    of ours."""
    if "quel" not in symbol:
        return "C library, dynamic linker"
    symbol = re.sub(r"\(anonymous namespace\)::", "", symbol)
    symbol = re.sub(r"<[^<>]*>|\(.*", "", symbol).split(" ")[-1]
    if symbol.startswith("for"):
        return "C library, dynamic linker"
    return symbol.split("::")[-1]


def read(lines):
    runs, shares, sets = {}, {}, {}
    for line in lines:
        parts = line.split()
        if parts[0] == "run":
            key = parts[1], int(parts[2])
            runs[key] = float(parts[3]), float(parts[4])
            shares[key] = {}
            continue
        share, symbol = float(parts[0].rstrip("%")), " ".join(parts[1:])
        for name in LANES:
            if f"quel::{name}::" in symbol:
                sets[key] = name
        name = routine(symbol)
        shares[key][name] = shares[key].get(name, 0.0) + share
    if len(runs) != 8 or any(not table for table in shares.values()):
        sys.exit("time-shares: figures are missing")
    return runs, shares, sets


def main():
    runs, shares, sets = read(sys.stdin)
    print(f"Instruction set: {sets['encode', 0]}.\n")
    print("| | Flavor | Cycles a frame | Multiply-adds a frame | a cycle | of the peak |")
    print("|---|---|---|---|---|---|")
    for (direction, flavor), (frames, clock) in runs.items():
        cycles = clock * 1e9 / frames
        wanted = MULTIPLY_ADDS.get((direction, flavor))
        peak = 2 * LANES[sets[direction, flavor]]
        rest = (f"{wanted} | {wanted / cycles:.1f} | {100 * wanted / cycles / peak:.0f} %"
                if wanted else " | | ")
        print(f"| {direction} | {flavor} | {cycles:.0f} | {rest} |")
    for direction in ("encode", "decode"):
        names = [name for name in dict.fromkeys(n for f in range(4) for n in sorted(
            shares[direction, f], key=lambda n: -shares[direction, f][n]))
            if max(shares[direction, f].get(name, 0) for f in range(4)) >= LEAST]
        names.sort(key=lambda name: -sum(shares[direction, f].get(name, 0) for f in range(4)))
        print(f"\n| Per cent of the time, {direction} | 0 | 1 | 2 | 3 |\n|---|---|---|---|---|")
        for name in names:
            cells = [f"{shares[direction, f].get(name, 0):.1f}" for f in range(4)]
            print(f"| {name} | {' | '.join(cells)} |")
        rest = [100 - sum(shares[direction, f].get(name, 0) for name in names) for f in range(4)]
        print("| the rest | " + " | ".join(f"{r:.1f}" for r in rest) + " |")


main()
