#!/usr/bin/env python3
"""What the inner loops of kernels consist of, from objdump -d of their object files on standard input:
for each routine the innermost loops, jumps backwards over no other jump backwards, with how many
instructions a pass has and how many of them multiply or add vectors (PATTERN). Prints the one of the most.

usage: objdump -d --no-show-raw-insn FILE... | other-processors-loops.py PATTERN"""
import re
import sys

fused = re.compile(sys.argv[1])
name, lines = None, []
rows = []


def routine(symbol):
    symbol = re.sub(r"<[^<>]*>", "", re.sub(r"\(.*", "", symbol))
    return symbol.split("::")[-1]


def finish():
    at = {address: i for i, (address, _) in enumerate(lines)}
    loops = []
    for i, (_, text) in enumerate(lines):
        jump = re.match(r"(?:b\.\w+|cbn?z\s+\w+,|tbn?z\s+\w+, #\w+,|j\w+)\s+([0-9a-f]+) ", text)
        if jump and at.get(jump[1], len(lines)) <= i:
            loops.append((at[jump[1]], i))
    inner = [(a, b) for a, b in loops if not any((c, d) != (a, b) and a <= c and d <= b for c, d in loops)]
    best = max(inner, key=lambda l: sum(bool(fused.match(lines[i][1])) for i in range(l[0], l[1] + 1)),
               default=None)
    if best:
        body = [text for _, text in lines[best[0]:best[1] + 1]]
        count = sum(bool(fused.match(text)) for text in body)
        if count:
            rows.append((routine(name), len(body), count))


for line in sys.stdin:
    head = re.match(r"[0-9a-f]+ <(.*)>:$", line)
    if head:
        if name:
            finish()
        name, lines = head[1], []
    elif found := re.match(r" *([0-9a-f]+):\s+(.*)", line):
        lines.append((found[1], found[2].strip()))
if name:
    finish()
print("| Routine | Instructions of a pass | of these multiply or add vectors |")
print("|---|---|---|")
for name, size, count in rows:
    print(f"| {name} | {size} | {count} |")
