#!/usr/bin/env python3
"""What calls cost a binding that does nothing else: a second of sound by one call a unit, and by one
call for all of it. Prints the rows of a table; scripts/calls runs it.

    calls.py LIBRARY
"""
import ctypes
import statistics
import sys
import time

ROUNDS = 15


class Options(ctypes.Structure):
    _fields_ = [("size", ctypes.c_size_t), ("flavor", ctypes.c_int), ("reserved", ctypes.c_int * 3)]


def best(work, repeats):
    """Seconds of one run of `work`: the median of rounds of many."""
    times = []
    for _ in range(ROUNDS):
        start = time.process_time()
        for _ in range(repeats):
            work()
        times.append((time.process_time() - start) / repeats)
    return statistics.median(times)


def main():
    library = ctypes.CDLL(sys.argv[1])
    library.quel_encode_units.restype = ctypes.c_int64
    size = ctypes.c_size_t
    for flavor in range(4):
        samples = library.quel_samples_per_unit(flavor)
        unit_bytes = library.quel_bytes_per_unit(flavor)
        units = library.quel_sampling_rate(flavor) // samples
        options = Options(ctypes.sizeof(Options), flavor)
        encoder = ctypes.c_void_p()
        assert library.quel_encoder_create(ctypes.byref(options), ctypes.byref(encoder)) == 0
        pcm = (ctypes.c_int16 * (units * samples))(
            *((n * n // 7) % 6001 - 3000 for n in range(units * samples)))
        out = (ctypes.c_uint8 * (units * unit_bytes))()
        places = [(ctypes.byref(pcm, 2 * samples * k), ctypes.byref(out, unit_bytes * k))
                  for k in range(units)]

        def nothing():
            library.quel_encode_units(encoder, None, size(0), None, size(0))

        def by_unit():
            for source, unit in places:
                library.quel_encode(encoder, source, size(samples), unit, size(unit_bytes))

        def at_once():
            library.quel_encode_units(encoder, pcm, size(units * samples), out, size(len(out)))

        empty = best(nothing, 2000)
        many, one = best(by_unit, 3), best(at_once, 3)
        print(f"| {flavor} | {units} | {1 / empty:.0f} | {1e3 * many:.2f} | {1e3 * one:.2f} "
              f"| {100 * units * empty / one:.1f} % |")
        library.quel_encoder_destroy(encoder)


main()
