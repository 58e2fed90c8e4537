#!/usr/bin/env python3
"""Compares the library's decoder with the twin, which was written apart from it.

    compare_test.py TWIN_STREAMS_PROGRAM FLAVOR CASE

Cases: clean, lossy and random as twin_streams makes them; two made here: faded, long losses after
long lags; wild, growth without bound.

The library conceals at once by a strategy that the twin does not know: such streams are compared
without their losses.

Both decoders store floats at the same places, so nearly all samples are equal. They need not all
be: sums in double are formed in another order here, so a stored float can differ in its last bit,
and resonances keep and widen that. Hence the bounds: within 1 in 99.9 % of the samples, within 2
in all. A wrong constant, step or memory is far beyond them. In the wild case the floats reach 1e9,
where they are 64 apart, so that a few of those that pass through the range of 16 bits may differ
by anything: a frame with anything beyond 2^20 in its memory, where floats are an eighth apart and
resonances make several of it, is held to the first bound only.
"""

import pathlib
import random
import subprocess
import sys
import tempfile

import numpy as np

import bitstream
import twin


# Where the fields of each flavor hold lags and gain indices.
LAGS = ([5, 10, 15], [5, 10, 15], [5, 8, 11, 14, 17], [6, 14])
GAINS = ([9, 14, 19], [9, 14, 19], [7, 10, 13, 16, 19], [7, 15])


def chosen_fields(rng, flavor, lag, gain):
    """A frame of random fields, but with these parts of the highest lag and gain index."""
    widths = bitstream.FIELD_WIDTHS[flavor]
    fields = [rng.randrange(1 << width) for width in widths]
    for places, part in ((LAGS[flavor], lag), (GAINS[flavor], gain)):
        for k in places:
            fields[k] = int(part * ((1 << widths[k]) - 1))
    return fields


def faded_stream(flavor):
    """Four equal frames with long lags and strong gains, then a loss, over and over: lags go on
    growing over a loss until they stick at a limit."""
    rng = random.Random(flavor)
    frames, mask = [], ""
    for lost in (2, 4, 8, 60, 16, 3, 10, 1):
        frames += [chosen_fields(rng, flavor, 1.0, 0.8)] * (4 + lost)
        mask += "1111" + lost * "0"
    return bitstream.pack(flavor, frames), mask


def wild_stream(flavor):
    """Runs of equal frames, with the highest pitch gain and, but for every third run, the shortest
    lag: the excitation grows until the decoder has to start over. Some frames are lost."""
    rng = random.Random(flavor)
    frames, mask = [], ""
    for run in range(8):
        frames += [chosen_fields(rng, flavor, rng.random() if run % 3 == 2 else 0.0, 1.0)] * 40
        mask += "".join("0" if run > 3 and rng.random() < 0.1 else "1" for _ in range(40))
    return bitstream.pack(flavor, frames), mask


MADE_HERE = {"faded": faded_stream, "wild": wild_stream}


def twin_samples(flavor, case, folder, conceal):
    """The twin's samples, and which of them the second bound holds for; the clean case goes by way
    of its command line."""
    if case == "clean":
        out = folder / f"twin_{conceal}"
        program = pathlib.Path(__file__).with_name("twin.py")
        subprocess.run([sys.executable, "-B", program, str(flavor), folder / "coded",
                        folder / "mask", out, "--conceal", conceal], check=True)
        samples = np.fromfile(out, dtype="<i2")
        return samples, np.ones(len(samples), dtype=bool)
    stream = twin.Stream(flavor, conceal)
    mask = twin.read_mask((folder / "mask").read_text())
    if conceal == "immediate":
        mask = [True] * len(mask)
    samples = stream.decode((folder / "coded").read_bytes(), mask)
    if case == "wild" and stream.decoder.resets < 2:
        raise SystemExit("the wild case is too tame: no decoder had to start over")
    return samples, np.array(stream.peaks) < 2.0**20


def differences(library, ours, tame):
    """What breaks the bounds, as a list of lines."""
    if len(library) != len(ours):
        return [f"the library gives {len(library)} samples, the twin {len(ours)}"]
    if len(library) < 5000 or np.abs(library.astype(int)).max() < 1000:
        return ["too few or too quiet samples to tell anything"]
    if np.count_nonzero(tame) < len(tame) // 4:
        return ["too wild to hold it to anything"]
    distance = np.abs(library.astype(int) - ours.astype(int))
    print(f"{len(library)} samples: {np.count_nonzero(distance)} differ, the most by "
          f"{distance.max()}; {np.count_nonzero(tame)} held to the second bound")
    faults = []
    for bound, share, held in ((1, 0.999, np.ones_like(tame)), (2, 1.0, tame)):
        beyond = held & (distance > bound)
        if np.count_nonzero(beyond) > (1 - share) * len(distance):
            first = int(np.argmax(beyond))
            faults.append(f"{np.count_nonzero(beyond)} of {len(distance)} samples beyond {bound}; "
                          f"the first: {first}, library {library[first]}, twin {ours[first]}")
    return faults


def main():
    program, flavor, case = sys.argv[1], int(sys.argv[2]), sys.argv[3]
    failed = False
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        if case in MADE_HERE:
            coded, mask = MADE_HERE[case](flavor)
            (folder / "coded").write_bytes(coded)
            (folder / "mask").write_text(mask)
        kind = "given" if case in MADE_HERE else case
        subprocess.run([program, str(flavor), kind, name], check=True)
        for conceal in ("immediate", "deferred"):
            library = np.fromfile(folder / conceal, dtype=np.int16)
            ours, tame = twin_samples(flavor, case, folder, conceal)
            for fault in differences(library, ours, tame):
                print(f"flavor {flavor}, {case}, {conceal}: {fault}")
                failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
