"""Tables of scripts/coverage, from what llvm-cov exports.

coverage-report.py SOURCE_DIR FOLDER REASONS

Reads FOLDER/{set,all}.{lcov,text}. Writes to standard output how much of each folder of src/ is
reached, and what is not, with the reason. A line of REASONS is

    FILE | TEXT | REASON

and stands for every line or branch not reached in a line of FILE that contains TEXT; where TEXT
ends with (), for all of that function. Complains on standard error and fails where a place has no
reason, a reason no place, or too little is reached.
"""

import collections
import json
import os
import sys

LEAST_LINES, LEAST_BRANCHES = 98.0, 95.0


class Coverage:
    """Reached or not: lines by (file, number), sides of branches by (file, region, side)."""

    def __init__(self, source, stem):
        self.lines, self.branches, self.functions = {}, {}, collections.defaultdict(list)
        with open(stem + ".lcov") as lcov:
            for record in lcov:
                kind, _, value = record.strip().partition(":")
                if kind == "SF":
                    file = os.path.relpath(value, source)
                elif kind == "DA":
                    number, count = value.split(",")[:2]
                    self.lines[file, int(number)] = int(count) > 0
        with open(stem + ".text") as text:
            data = json.load(text)["data"][0]
        for entry in data["files"]:
            file = os.path.relpath(entry["filename"], source)
            # A template has a region per instance: reached where any instance is.
            for branch in entry["branches"]:
                for side, count in enumerate(branch[4:6]):
                    key = (file, tuple(branch[:4]), side)
                    self.branches[key] = self.branches.get(key, False) or count > 0
        for function in data["functions"]:
            first, _, last, _ = function["regions"][0][:4]
            file = os.path.relpath(function["filenames"][0], source)
            self.functions[file].append((function["name"], first, last))


def percent(flags):
    return 100.0 * sum(flags) / len(flags) if flags else 100.0


def folder_of(file):
    return "/".join(file.split("/")[:2])


def share(cells, folder):
    return percent([hit for key, hit in cells.items() if folder in ("", folder_of(key[0]))])


def table(of_set, of_all):
    """Markdown; the shares of everything come last."""
    print("| folder | lines | branch sides | lines, set alone | branches, set alone |"
          " lines, with unit tests | branches, with unit tests |")
    print("|---|---:|---:|---:|---:|---:|---:|")
    folders = sorted({folder_of(file) for file, _ in of_all.lines})
    for folder in folders + [""]:
        lines = sum(folder in ("", folder_of(key[0])) for key in of_all.lines)
        sides = sum(folder in ("", folder_of(key[0])) for key in of_all.branches)
        shares = [share(cells, folder) for cells in
                  (of_set.lines, of_set.branches, of_all.lines, of_all.branches)]
        print(f"| {folder or 'all'} | {lines} | {sides} | " +
              " | ".join(f"{x:.1f} %" for x in shares) + " |")


def read_reasons(name):
    reasons = []
    with open(name) as lines:
        for line in lines:
            if line.strip() and not line.startswith("#"):
                file, text, reason = (part.strip() for part in line.split(" | "))
                reasons.append((file, text, reason))
    return reasons


def reason_for(reasons, functions, text_of, file, number):
    for index, (wanted, text, _) in enumerate(reasons):
        if wanted != file:
            continue
        if text.endswith("()"):
            # Mangled names hold each name behind its length.
            mangled = f"{len(text) - 2}{text[:-2]}"
            if any(mangled in name and first <= number <= last
                   for name, first, last in functions[file]):
                return index
        elif text in text_of(file, number):
            return index
    return None


def main():
    source, folder, reasons_file = sys.argv[1:]
    of_set = Coverage(source, os.path.join(folder, "set"))
    of_all = Coverage(source, os.path.join(folder, "all"))
    reasons = read_reasons(reasons_file)
    sources = {}

    def text_of(file, number):
        if file not in sources:
            with open(os.path.join(source, file)) as lines:
                sources[file] = lines.read().split("\n")
        return sources[file][number - 1]

    table(of_set, of_all)
    missed = [(file, number, "line") for (file, number), hit in of_all.lines.items() if not hit]
    missed += [(file, region[0], "never " + ("true", "false")[side])
               for (file, region, side), hit in of_all.branches.items() if not hit]
    counts, failures = collections.Counter(), []
    for file, number, what in sorted(missed):
        index = reason_for(reasons, of_all.functions, text_of, file, number)
        if index is None:
            failures.append(f"no reason: {file}:{number}: {what}: {text_of(file, number).strip()}")
        else:
            counts[index, "line" if what == "line" else "branch"] += 1

    print("\n| not reached | lines | branch sides | reason |\n|---|---:|---:|---|")
    for index, (file, text, reason) in enumerate(reasons):
        lines, sides = counts[index, "line"], counts[index, "branch"]
        if lines + sides == 0:
            failures.append(f"no such place, or it is reached: {file}: {text}")
            continue
        name = os.path.basename(file)
        shown = text.replace("|", "\\|")
        print(f"| `{name}`: `{shown}` | {lines} | {sides} | {reason} |")

    for name, cells, least in (("lines", of_all.lines, LEAST_LINES),
                               ("branches", of_all.branches, LEAST_BRANCHES)):
        reached = percent(list(cells.values()))
        if reached < least:
            failures.append(f"{reached:.2f} % of the {name} are reached, not {least} %")
    for failure in failures:
        print(failure, file=sys.stderr)
    return 1 if failures else 0


sys.exit(main())
