"""Arithmetic that the decoders share: single-precision storage, filters, output conversion.

Signals and memories are numpy float32 arrays. A sum of products is formed in double and rounded
once, where it is stored: assigning to a float32 array, or `single` for a scalar. Scalars between
stores are Python floats, so that no numpy rule about mixed types has a say.
"""

import math

import numpy as np


def single(value):
    """A double rounded to single precision, as a Python float."""
    return float(np.float32(value))


def floats(values):
    """Round to single precision: what storing an array means here."""
    return np.array(values, dtype=np.float32)


def doubles(values):
    """The same values, ready for sums in double."""
    return np.asarray(values, dtype=np.float64)


def energy(x):
    """Sum of squares, in double."""
    wide = doubles(x)
    return float(wide.dot(wide))


def cosines(angles, scale):
    """cos(angles * scale) in double, stored as floats."""
    return floats(np.cos(doubles(angles) * scale))


def weighted_filter(a, gamma):
    """A(z / gamma): coefficient i times gamma to the power i, powers by repeated product."""
    power, powers = 1.0, []
    for _ in a:
        powers.append(power)
        power = single(power * single(gamma))
    return floats(doubles(a) * np.array(powers))


def synthesize(a, x, memory):
    """1 / A(z) over x. `memory` holds the last len(a) - 1 outputs, oldest first; it is not changed:
    the caller keeps the end of the result where the memory shall move on."""
    order = len(a) - 1
    taps = doubles(a)[:0:-1].copy()
    y = np.empty(order + len(x))
    y[:order] = memory
    for n, sample in enumerate(doubles(x).tolist()):
        y[order + n] = np.float32(sample - taps.dot(y[n:n + order]))
    return floats(y[order:])


def inverse_filter(a, x, memory):
    """A(z) over x. `memory` holds the len(a) - 1 samples before x, oldest first."""
    past_and_x = np.concatenate([doubles(memory), doubles(x)])
    return floats(np.convolve(past_and_x, doubles(a))[len(memory):len(memory) + len(x)])


class HighPass:
    """Second order, 100 Hz at 8 kHz, on each decoded narrowband frame.

    The feedback terms are added: the coefficients carry the sign.
    """

    b = doubles(floats([0.939805806, -1.87958336, 0.939805806])).tolist()
    a = doubles(floats([1.0, 1.93307352, -0.935891986])).tolist()

    def __init__(self):
        self.clear()

    def clear(self):
        self.x1 = self.x2 = self.y1 = self.y2 = 0.0

    def process(self, frame):
        out = np.empty(len(frame), dtype=np.float32)
        for n, x in enumerate(doubles(frame).tolist()):
            y = single(self.b[0] * x + self.b[1] * self.x1 + self.b[2] * self.x2
                       + self.a[1] * self.y1 + self.a[2] * self.y2)
            self.x1, self.x2, self.y1, self.y2 = x, self.x1, y, self.y1
            out[n] = y
        return out


def inverse_sqrt(x):
    """1 / sqrt(x) by five Newton steps from a power of two; good to some 5e-7 of its value."""
    _, exponent = math.frexp(x)
    y = math.ldexp(1.0, -(exponent // 2))
    for _ in range(5):
        y = y * (1.5 - 0.5 * x * y * y)
    return y


def absurd(*signals):
    """Whether a sample is not finite or beyond 1e9 in magnitude."""
    return any(not np.all(np.abs(doubles(x)) <= 1e9) for x in signals)


def pcm(x):
    """Samples as 16-bit integers: add a half, cut towards zero, clip. NaN gives 0.

    Negative values are thus drawn towards zero: -0.9 becomes 0, -1.6 becomes -1.
    """
    moved = np.nan_to_num(doubles(x) + 0.5, nan=0.0, posinf=1e9, neginf=-1e9)
    return np.clip(np.trunc(moved), -32768, 32767).astype("<i2")
