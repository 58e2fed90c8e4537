"""Tables of scripts/bench, from what its programs print.

bench-report.py peers [BEFORE] < PRINTED    this library beside other coders; BEFORE is what
                                            quel_peers printed of an earlier state of the sources
bench-report.py flatness < PRINTED          whether the cost is flat

Complains and fails where figures are missing.
"""

import sys

# How many times as fast as a peer this library wants to be with all that the processor has: for
# flavors, by the start of a peer's name: encoding, decoding.
GOALS = {
    (0, 1): {
        "opencore-amrnb": (3.8, 5.3),
        "Speex": (1.9, 1.65),
        "bcg729": (2.3, None),
        "Opus": (2.7, 1.4),
    },
    (2,): {"opencore-amrnb": (5.0, 3.4), "Speex": (2.3, 1.05), "Opus": (None, 0.95)},
    (3,): {
        "vo-amrwbenc": (5.0, 5.7),
        "Speex": (1.7, 1.6),
        "Opus": (3.2, 1.7),
        "liblc3": (None, 1.2),
    },
}
DIRECTIONS = ("encode", "decode")
# Of these goals with the instructions that every processor of the architecture has.
BASELINE_SHARE = {0: 0.5, 1: 0.5, 2: 0.5, 3: 0.4}


def goal(flavor, peer, direction, instruction_set):
    for flavors, peers in GOALS.items():
        for name, figures in peers.items():
            figure = figures[DIRECTIONS.index(direction)]
            if flavor in flavors and peer.startswith(name) and figure is not None:
                if instruction_set != "baseline":
                    return figure
                return figure * (BASELINE_SHARE[flavor] if direction == "encode" else 0.5)
    return None


def read(lines):
    """The parts of each line, by its first."""
    found = {}
    for line in lines:
        kind, *rest = line.rstrip("\n").split("\t")
        found.setdefault(kind, []).append(rest)
    return found


def table(head, rows):
    print("| " + " | ".join(head) + " |")
    print("|" + "---|" * len(head))
    for row in rows:
        print("| " + " | ".join(row) + " |")


def ratios(found):
    """(direction, flavor, peer) -> median, lower and upper quartile."""
    return {
        (direction, int(flavor), peer): tuple(map(float, figures))
        for direction, flavor, peer, *figures in found.get("ratio", [])
    }


def ratio_rows(now, before, instruction_set):
    order = dict.fromkeys((flavor, peer) for _, flavor, peer in now)
    for flavor, peer in order:
        row = [str(flavor), peer]
        for direction in DIRECTIONS:
            median, lower, upper = now[direction, flavor, peer]
            wanted = goal(flavor, peer, direction, instruction_set)
            if before is not None:
                old = before.get((direction, flavor, peer))
                row.append(f"{old[0]:.2f}" if old else "")
            row.append(f"{median:.2f} ({lower:.2f} to {upper:.2f})")
            row.append(f"{wanted:.2f}".rstrip("0").rstrip(".") if wanted else "")
        yield row


def report_peers(found, before):
    now = ratios(found)
    if not now or "coder" not in found:
        sys.exit("bench-report: no figures of coders")
    for rate, seconds, files, times in found["speech"]:
        again = ", repeated since there is less" if times == "repeated" else ""
        print(f"Speech at {rate} Hz: {seconds} s, from {files} recordings{again}.")
    print(f"Rounds: {found['rounds'][0][0]}.", end=" ")
    (chosen,) = found["set"][0]
    forced = f"`QUELCODEC_CPU={chosen}`"
    print("Instruction set: " + ("what the library chooses." if chosen == "chosen" else forced + "."))
    if "missing" in found:
        print("Left out, since not installed: " + ", ".join(name for name, in found["missing"]) + ".")
    head = ["Flavor", "Peer"]
    for what in ("Encoding", "Decoding"):
        head += [f"{what}, before"] if before is not None else []
        head += [f"{what}, times as fast", "wanted"]
    print("\nTimes as fast as a peer: the median over the rounds, and the quartiles.\n")
    table(head, ratio_rows(now, before, chosen))
    print("\nEach coder by itself. Likeness is the correlation of what is heard with what was coded.\n")
    speed = {(direction, name): figures for direction, name, *figures in found["speed"]}
    rows = []
    for name, rate, kbit, likeness in found["coder"]:
        speeds = [f"{float(speed[direction, name][0]):.0f}" for direction in DIRECTIONS]
        rows.append([name, rate, f"{float(kbit):.1f}", *speeds, f"{float(likeness):.2f}"])
    table(["Coder", "Hz", "kbit/s", "Encoding, times real time", "Decoding", "Likeness"], rows)


# Kind of line: what its cases are called, and how one is shown.
CASES = {
    "length": ("Length of the sound", lambda name: f"{name} s"),
    "streams": ("Streams in turn", str),
    "threads": ("Threads, a stream each", str),
    "kind": ("Kind of sound", str),
}
FLAVORS = range(4)


def report_flatness(found):
    for kind, (what, shown) in CASES.items():
        figures = {(int(flavor), name): both for flavor, name, *both in found.get(kind, [])}
        names = list(dict.fromkeys(name for _, name in figures))
        if not names or len(figures) != len(names) * len(FLAVORS):
            sys.exit(f"bench-report: figures of {kind} are missing")

        def cell(flavor, name):
            return " / ".join(f"{float(x):.0f}" for x in figures[flavor, name])

        head = [what] + [f"Flavor {f}, encoding / decoding" for f in FLAVORS]
        table(head, ([shown(n)] + [cell(f, n) for f in FLAVORS] for n in names))
        print()
    slowest = {int(flavor): both for flavor, _, *both in found.get("slowest", [])}
    if set(slowest) != set(FLAVORS):
        sys.exit("bench-report: figures of the slowest unit are missing")
    print("The slowest unit's time over the mean:\n")
    table(["Flavor", "Encoding", "Decoding"], ([str(f), *slowest[f]] for f in FLAVORS))


def main(arguments):
    found = read(sys.stdin)
    if arguments[:1] == ["flatness"]:
        report_flatness(found)
    elif arguments[:1] == ["peers"]:
        before = None
        if len(arguments) > 1:
            with open(arguments[1]) as file:
                before = ratios(read(file))
        report_peers(found, before)
    else:
        sys.exit(__doc__)


main(sys.argv[1:])
