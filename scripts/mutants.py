"""Runs the mutants of scripts/mutants and tells which the tests kill.

mutants.py TREE BUILD WORK REASONS [--count N] [--seed N] [--jobs N]

TREE is a scratch copy of the sources, BUILD its build, WORK a folder for results, which a later run
takes over as far as the sources and the tests are still the same. Nothing is changed in TREE: a
mutant's sources lie before it in the compiler's search path. A line of REASONS is

    FILE | LINE ==> MUTANT | REASON

for a mutant that no test needs to kill. Writes a Markdown report to standard output and progress to
standard error. Fails where a survivor has no reason or a reason no survivor.
"""

import argparse
import collections
import concurrent.futures
import json
import os
import queue
import resource
import sys
import threading

import mutations
from mutants_bench import DIGESTS, LAYERS, Bench, Build, digest, file_digest


class Results:
    """Outcomes by mutant, kept in a file."""

    def __init__(self, name, build):
        self.name, self.build, self.lock = name, build, threading.Lock()
        self.known = {}
        if os.path.exists(name):
            with open(name) as lines:
                self.known = dict(json.loads(line) for line in lines)

    def get(self, key, source):
        """None where it is not known, or tests have changed on which it rests."""
        outcome = self.known.get(key)
        if outcome is None or outcome["outcome"] in ("uncompilable", "same"):
            return outcome
        killer = outcome.get("by")
        for program in self.build.programs_for(source):
            if program.name == killer:
                return outcome if program.state == outcome["state"] else None
            # That no other test kills what the digests kill, rests on the others.
            if killer in (None, DIGESTS) and outcome["passed"].get(program.name) != program.state:
                return None
        return outcome if killer is None else None

    def passed(self, key):
        return self.known.get(key, {}).get("passed", {})

    def put(self, key, outcome):
        with self.lock, open(self.name, "a") as file:
            self.known[key] = outcome
            file.write(json.dumps([key, outcome]) + "\n")


def measure(programs, name, state, folder):
    """Has each program run on sources without a fault, but for those whose times the file holds."""
    known = {}
    if os.path.exists(name):
        with open(name) as file:
            known = json.load(file)
    for program in programs:
        key = digest(state, program.state)
        if key not in known:
            program.measure(folder)
            known[key] = [program.calls, program.seconds]
        program.calls, program.seconds = known[key]
        program.order = program.seconds
    with open(name, "w") as file:
        json.dump(known, file)


def read_sources(tree):
    sources = {}
    for layer in LAYERS:
        folder = os.path.join(tree, "src", layer)
        for name in sorted(os.listdir(folder)):
            if name.endswith((".cpp", ".h")):
                with open(os.path.join(folder, name)) as file:
                    sources[f"src/{layer}/{name}"] = file.read()
    return sources


def run_file(source, text, count, seed, benches, results, state):
    """[(mutation, outcome)] of a file's mutants; the last of them `count` that could be tested."""
    bench = benches.get()
    done, originals, tested = [], None, 0
    try:
        for mutation in mutations.in_order(text, f"{seed} {source}") if count else []:
            key = digest(state, source, str(mutation.number), mutation.new)
            outcome = results.get(key, source)
            if outcome is None:
                if originals is None:
                    originals = bench.objects_without_fault(source, text)
                outcome = bench.outcome(source, text, mutation, originals, results.passed(key))
                results.put(key, outcome)
                shown = outcome.get("by", outcome["outcome"])
                print(f"{source}:{mutation.number + 1}: {mutation.old} ==> {mutation.new}: {shown}",
                      file=sys.stderr, flush=True)
            done.append((mutation, outcome))
            tested += outcome["outcome"] in ("killed", "survived")
            if tested == count:
                break
        if originals is not None:
            bench.take_away(source)
    finally:
        benches.put(bench)
    return done


def read_reasons(name):
    reasons = {}
    with open(name) as lines:
        for line in lines:
            if line.strip() and not line.startswith("#"):
                source, rest = line.strip().split(" | ", 1)
                change, reason = rest.rsplit(" | ", 1)
                reasons[source, *change.split(" ==> ")] = reason
    return reasons


def shown(text):
    return "`" + text.replace("|", "\\|") + "`"


def report(sources, outcomes, reasons):
    """Prints the tables; returns what is wrong."""
    def tally(counts, source, mutation, outcome):
        layer = source.split("/")[1]
        kind = outcome["outcome"]
        if kind == "killed":
            by = outcome["by"]
            kind = "digests" if by == DIGESTS else \
                "own" if by.startswith(layer + ".") else "others"
        for row in ("src/" + layer, "all"):
            counts[row, kind] += 1
            if outcome["outcome"] in ("killed", "survived"):
                counts[row, "tested"] += 1
                counts[row, mutation.kind] += 1
        return kind

    counts, failures, survivors, by_digest = collections.Counter(), [], [], []
    judged = {}
    for source, mutation, outcome in outcomes:
        kind = tally(counts, source, mutation, outcome)
        judged.setdefault((source, mutation.old, mutation.new), set()).add(kind)
        if kind == "survived":
            survivors.append((source, mutation))
        elif kind == "digests":
            by_digest.append((source, mutation))
    print("| folder | mutants | operators | constants | float or double | statements missing |"
          " killed by the layer's tests | by other tests | by a digest alone | survived |"
          " drawn besides: same object code |")
    print("|---|" + "---:|" * 10)
    for row in ["src/" + layer for layer in LAYERS] + ["all"]:
        print(f"| {row} | " + " | ".join(str(counts[row, column]) for column in (
            "tested", "operator", "constant", "precision", "statement", "own", "others", "digests",
            "survived", "same")) + " |")
    if survivors:
        print("\n| survivor | as written | mutant | reason |\n|---|---|---|---|")
    for source, mutation in survivors:
        reason = reasons.get((source, mutation.old, mutation.new))
        if reason is None:
            failures.append(f"no reason: {source}:{mutation.number + 1} | "
                            f"{mutation.old} ==> {mutation.new} |")
        print(f"| `{os.path.basename(source)}` | {shown(mutation.old)} | {shown(mutation.new)} |"
              f" {reason} |")
    if by_digest:
        print("\n| killed by a digest alone | as written | mutant |\n|---|---|---|")
    for source, mutation in by_digest:
        print(f"| `{os.path.basename(source)}` | {shown(mutation.old)} | {shown(mutation.new)} |")
    for (source, old, new) in reasons:
        lines = [line.strip() for line in sources.get(source, "").split("\n")]
        if old not in lines:
            failures.append(f"a reason for a line that is not there: {source} | {old}")
        elif "survived" not in judged.get((source, old, new), {"survived"}):
            failures.append(f"a reason for what does not survive: {source} | {old} ==> {new}")
    return failures


def main():
    parser = argparse.ArgumentParser()
    for name in ("tree", "build", "work", "reasons"):
        parser.add_argument(name)
    parser.add_argument("--count", type=int, default=160)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    options = parser.parse_args()
    # For all that is started: a mutant may ask for any amount of memory.
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    resource.setrlimit(resource.RLIMIT_AS, (4 << 30, 4 << 30))
    reasons = read_reasons(options.reasons)
    sources = read_sources(options.tree)
    os.makedirs(options.work, exist_ok=True)
    build = Build(options.tree, options.build)
    benches = queue.Queue()
    for k in range(options.jobs):
        benches.put(Bench(build, os.path.join(options.work, f"bench{k}")))
    headers = []  # of trained tables, which mutants leave alone but results rest on
    for folder, _, names in os.walk(os.path.join(options.tree, "src")):
        headers += [os.path.join(folder, name) for name in names if name.endswith(".inc")]
    state = digest(*sources.values(), *map(file_digest, sorted(headers)))
    measure(build.programs, os.path.join(options.work, "times"), state, options.work)
    results = Results(os.path.join(options.work, "results"), build)

    weights = {source: len(mutations.mutations_of(text)) for source, text in sources.items()}
    share = mutations.shares(weights, options.count)
    outcomes = []
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        runs = {source: pool.submit(run_file, source, text, share[source], options.seed, benches,
                                    results, state) for source, text in sources.items()}
        for source, future in runs.items():
            outcomes += [(source, *done) for done in future.result()]
    failures = report(sources, outcomes, reasons)
    tested = sum(outcome["outcome"] in ("killed", "survived") for _, _, outcome in outcomes)
    if tested < options.count:
        failures.append(f"only {tested} mutants could be tested, not {options.count}")
    for failure in failures:
        print(failure, file=sys.stderr)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
