#!/usr/bin/env python3
"""A second decoder, written for reading: coded units to raw 16-bit little-endian PCM.

    twin.py FLAVOR CODED_FILE MASK_FILE OUT_PCM --conceal immediate|deferred

CODED_FILE holds whole coded units. MASK_FILE holds a character for each frame, 1 where it was
received and 0 where it was lost; white space is skipped.
"""

import argparse
import pathlib

import numpy as np

import bitstream
from narrowband import Decoder5k, Decoder6k5And8k5
from wideband import Decoder16k


class Stream:
    """A decoder and its way of making up for lost frames.

    immediate: a frame of samples for every frame, lost or not. Flavor 2 runs a frame behind and
    takes the loss in its turn; the others have nothing but the past to go by.

    deferred: nothing for a lost frame until one is received; then up to five are made up, with the
    received frame's fields at hand.
    """

    def __init__(self, flavor, conceal):
        self.flavor = flavor
        self.deferred = {"immediate": False, "deferred": True}[conceal]
        self.missing = 0
        self.peaks = []  # for every sample given out, the largest number in the memory by then
        if flavor == 3:
            self.decoder = Decoder16k()
        else:
            self.decoder = Decoder5k() if flavor == 2 else Decoder6k5And8k5(flavor)

    def frame(self, fields, received):
        """What comes out for one frame: a list of int16 arrays of a frame each."""
        if received:
            out = [self.made_up_or_read(fields, 1) for _ in range(self.missing)]
            self.missing = 0
            return out + [self.made_up_or_read(fields, 0)]
        if self.deferred:
            self.missing = min(self.missing + 1, 5)
            return []
        return [self.made_up_or_read(fields, 1 if self.flavor in (2, 3) else 2)]

    def made_up_or_read(self, fields, erasure):
        before = self.memory_peak()
        samples = self.decoder.decode(fields, erasure)
        self.peaks += [max(before, self.memory_peak())] * len(samples)
        return samples

    def memory_peak(self):
        memories = (self.decoder.past_excitation, self.decoder.synthesis_memory)
        return max(float(np.abs(memory).max()) for memory in memories)

    def decode(self, coded, received):
        """Samples of whole units; `received`: a truth value for each frame."""
        frames = list(bitstream.frames(self.flavor, coded))
        if len(received) != len(frames):
            raise ValueError(f"{len(received)} marks for {len(frames)} frames")
        out = [np.zeros(0, dtype="<i2")]
        # Wild bits make filters that overflow; the decoders look for that themselves.
        with np.errstate(all="ignore"):
            for fields, arrived in zip(frames, received):
                out += self.frame(fields, arrived)
        return np.concatenate(out)


def read_mask(text):
    marks = "".join(text.split())
    if set(marks) - {"0", "1"}:
        raise ValueError("a mask has no other marks than 0 and 1")
    return [mark == "1" for mark in marks]


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("flavor", type=int, choices=range(4))
    parser.add_argument("coded", type=pathlib.Path)
    parser.add_argument("mask", type=pathlib.Path)
    parser.add_argument("out", type=pathlib.Path)
    parser.add_argument("--conceal", choices=("immediate", "deferred"), default="immediate")
    args = parser.parse_args()
    stream = Stream(args.flavor, args.conceal)
    samples = stream.decode(args.coded.read_bytes(), read_mask(args.mask.read_text()))
    args.out.write_bytes(samples.tobytes())


if __name__ == "__main__":
    main()
