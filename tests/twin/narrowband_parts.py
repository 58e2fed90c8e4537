"""What the two narrowband decoders are made of: envelope, lags, codebooks, gains.

Erasure modes, everywhere: 0 good frame; 1 lost, with the next good frame's fields at hand; 2 lost.
"""

import math

import numpy as np

import tables
from kit import cosines, doubles, energy, floats, single, synthesize, weighted_filter

ORDER = 10
SUBFRAME = 48
PAST = 154  # samples of excitation kept: the longest lag and the interpolation's reach

ISP_AT_START = floats([0.9595, 0.8413, 0.6549, 0.4154, 0.1423,
                       -0.1423, -0.4154, -0.6549, -0.8413, -0.9595])
MEAN_ISF = floats([378.342377, 575.895447, 974.590332, 1444.87488, 1809.43079,
                   2258.49902, 2609.08813, 3025.10718, 3291.44971, 96.4561005])
GAIN_PREDICTION = doubles(floats([0.691, 0.504, 0.334, 0.2]))
# Excitation at thirds of a sample. Even entries: no shift; odd ones: a third.
LAG_FILTER = doubles(floats([
    0.00104999996, 0.00277999998, -0.00365799991, -0.00502699986, 0.00939999986, 0.00902900007,
    -0.0193399992, -0.0137550002, 0.0335430019, 0.0167740006, -0.0508349985, -0.0141690001,
    0.0689359978, -0.0, -0.0849189982, 0.0369520001, 0.0959149972, -0.134333, 0.898517013,
    0.769271016, 0.0959149972, 0.448635012, -0.0849189982, -0.178527996, 0.0689359978,
    0.0955329984, -0.0508349985, -0.050404001, 0.0335430019, 0.0230829995, -0.0193399992,
    -0.00746600004, 0.00939999986, 0.0, -0.00365799991, 0.00238099997, 0.00104999996,
    -0.00240499992, 0.0, 0.00214500003]))


class IsfDecoder:
    """Immittance spectral frequencies: mean + 0.33 of the last residual + codebook rows.

    Entries 0..8 are frequencies in Hz, each at least 50 above the one before; entry 9 is 650 times
    the filter's last coefficient.
    """

    def __init__(self):
        self.codebooks = tables.isf_codebooks()
        self.past_residual = np.zeros(ORDER, dtype=np.float32)
        self.past_isf = MEAN_ISF.copy()

    def decode(self, indices, erasure):
        """Five indices to an ISP vector: nine cosines and the last coefficient."""
        mean, past = doubles(MEAN_ISF), doubles(self.past_residual)
        third = single(0.33)
        if erasure == 2:
            isf = floats(single(0.9) * doubles(self.past_isf) + single(0.1) * mean)
            self.past_residual[:] = 0
        else:
            rows = np.concatenate([book[i] for book, i in zip(self.codebooks, indices)])
            if erasure == 0:
                isf = floats(third * past + doubles(rows) + mean)
                self.past_residual = rows
            else:
                isf = floats(mean + (doubles(self.past_isf) - mean + doubles(rows)
                                     - single(0.1089) * past) * single(0.5988024))
                self.past_residual = floats(doubles(isf) - third * past - mean)
            isf = self.reorder(isf)
        self.past_isf = isf
        isp = cosines(isf, 0.0007853981635)
        isp[9] = single(0.0015384615) * float(isf[9])
        return isp

    @staticmethod
    def reorder(isf):
        values = doubles(isf).tolist()
        for i in range(1, ORDER - 1):  # one pass only
            if values[i - 1] > values[i]:
                values[i - 1], values[i] = values[i], values[i - 1]
        lowest = 50.0
        for i in range(ORDER - 1):
            values[i] = max(values[i], lowest)
            lowest = single(values[i] + 50.0)
        values[9] = min(max(values[9], -325.0), 520.0)
        return floats(values)


def isp_polynomial(cosine_list, order):
    """Product of (1 - 2 q z^-1 + z^-2) over the cosines, coefficients 0..order."""
    f = [0.0] * (order + 1)
    f[0] = 1.0
    f[1] = -2.0 * cosine_list[0]
    for i in range(2, order + 1):
        b = -2.0 * cosine_list[i - 1]
        f[i] = single(b * f[i - 1] + 2.0 * f[i - 2])
        for j in range(i - 1, 1, -1):
            f[j] = single(f[j] + b * f[j - 1] + f[j - 2])
        f[1] = single(f[1] + b)
    return f


def isp_to_lp(isp):
    """ISP vector to LP filter, 11 coefficients."""
    q = doubles(isp).tolist()
    half = ORDER // 2
    f1 = isp_polynomial(q[0:9:2], half)
    f2 = isp_polynomial(q[1:9:2], half - 1)
    for i in range(half - 1, 1, -1):
        f2[i] = single(f2[i] - f2[i - 2])
    for i in range(half):
        f1[i] = single(f1[i] * (1.0 + q[9]))
        f2[i] = single(f2[i] * (1.0 - q[9]))
    a = [0.0] * (ORDER + 1)
    a[0] = 1.0
    for i in range(1, half):
        a[i] = 0.5 * (f1[i] + f2[i])
        a[ORDER - i] = 0.5 * (f1[i] - f2[i])
    a[half] = 0.5 * f1[half] * (1.0 + q[9])
    a[ORDER] = q[9]
    return floats(a)


def subframe_filters(new_isp, old_isp, count):
    """One LP filter per subframe; the new vector weighs (k + 0.5) / count."""
    new, old = doubles(new_isp), doubles(old_isp)
    weight, step = single(0.5 / count), single(1.0 / count)
    filters = []
    for _ in range(count):
        filters.append(isp_to_lp(floats(single(1.0 - weight) * old + weight * new)))
        weight = single(weight + step)
    return filters


def absolute_lag(index):
    """8 bits: 19 1/3 to 84 2/3 in thirds (0..196), then 85 to 143 in samples."""
    if index <= 196:
        lag = (index + 2) // 3 + 19
        return lag, index - 3 * lag + 58
    return index - 112, 0


def relative_lag(index, lag_min):
    """5 bits: thirds from lag_min - 2/3 upwards."""
    steps = (index + 2) // 3 - 1
    return lag_min + steps, index - (3 * steps + 2)


def lag_from_thirds(thirds):
    """A lag in thirds, cut to a whole number, as samples and the remaining -1, 0 or 1."""
    whole = int(thirds)
    lag = (whole + 1) // 3
    return lag, whole - 3 * lag


def lag_window(lag):
    """Lowest lag that the relatively coded subframes after `lag` can have."""
    lowest = max(lag - 5, 20)
    return 134 if lowest + 9 > 143 else lowest


def adaptive_code(past, lag, frac):
    """48 samples of past excitation delayed by lag + frac / 3; short lags feed on the output."""
    exc = np.concatenate([doubles(past), np.zeros(SUBFRAME)])
    start = PAST - lag
    # Delaying by a third more means interpolating a third earlier, and the other way round.
    if frac > 0:
        taps, first = LAG_FILTER[39::-2], start - 10
    elif frac == 0:
        taps, first = LAG_FILTER[0::2], start - 9
    else:
        taps, first = LAG_FILTER[1::2], start - 9
    taps = taps.copy()
    for n in range(SUBFRAME):
        if first + n >= 0:
            value = taps.dot(exc[first + n:first + n + 20])
        else:  # beyond the history: its oldest sample
            value = taps.dot(exc[np.maximum(np.arange(first + n, first + n + 20), 0)])
        exc[PAST + n] = np.float32(value)
    return floats(exc[PAST:])


def shaping_filter(a, lag, sharpening):
    """48 taps that every pulse becomes: A(z/0.55) / A(z/0.7), repeated at the lag."""
    numerator = np.zeros(SUBFRAME, dtype=np.float32)
    numerator[:ORDER + 1] = weighted_filter(a, 0.55)
    f = synthesize(weighted_filter(a, 0.7), numerator, np.zeros(ORDER))
    taps = doubles(f).tolist()
    for n in range(lag, SUBFRAME):
        taps[n] = single(taps[n] + single(sharpening) * taps[n - lag])
    return floats(taps)


def place_pulses(pulses, shape):
    """Sum of copies of `shape`, each from its (position, sign) to the subframe's end."""
    code = np.zeros(SUBFRAME, dtype=np.float32)
    for position, sign in pulses:
        code[position:] += np.float32(sign) * shape[:SUBFRAME - position]
    return code


def pulses_15_bits(words):
    """Three words of 5 bits, one pulse on each track: bits 3..0 position / 3, bit 4 sign."""
    return [(3 * (w & 15) + track, -1 if w & 16 else 1) for track, w in enumerate(words)]


def pulses_27_bits(words):
    """Three words of 9 bits, two pulses on each track: bits 7..4 the first's position / 3, bits
    3..0 the second's, bit 8 the first's sign. The second has the other sign if it lies before."""
    pulses = []
    for track, w in enumerate(words):
        first, second = 3 * (w >> 4 & 15) + track, 3 * (w & 15) + track
        sign = -1 if w & 256 else 1
        pulses += [(first, sign), (second, -sign if second < first else sign)]
    return pulses


def pulses_2_of_10_bits(word):
    """Bits 3..0 b, 7..4 a, 8 offset, 9 sign: one pulse at 3 a + offset, one of the other sign at
    3 b + offset + 1; bit 9 set makes the first one negative."""
    offset, sign = word >> 8 & 1, -1 if word & 512 else 1
    return [(3 * (word >> 4 & 15) + offset, sign), (3 * (word & 15) + offset + 1, -sign)]


def pulses_3_of_10_bits(word):
    """Bits 2..0 c, 5..3 b, 8..6 a, 9 flip: pulses at 6 c + 4, 6 b + 2, 6 a; positive where the
    position is a multiple of 4, all signs turned by bit 9."""
    positions = [6 * (word & 7) + 4, 6 * (word >> 3 & 7) + 2, 6 * (word >> 6 & 7)]
    flip = 2 if word & 512 else 0
    return [(p, 1 if (p + flip) % 4 == 0 else -1) for p in positions]


class GainDecoder:
    """Pitch gain from a table; code gain predicted from the last four corrections in dB."""

    def __init__(self, interpolation):
        """interpolation: what part of the way to the next frame's pitch gain each subframe of a
        lost frame goes; 1/6 for flavor 2 and 0 for the others."""
        self.rows = tables.gain_table()
        self.interpolation = single(interpolation)
        self.past_energy = [-14.0] * 4
        self.step = 0.0
        self.clear_last()

    def clear_last(self):
        self.last_pitch = self.last_code = 0.0

    def decode(self, index, code, erasure, first):
        """Pitch gain and code gain; `first` tells the frame's first subframe."""
        row = doubles(self.rows[index]).tolist()
        if erasure == 0:
            level = single(10.0 * math.log10((single(0.01) + energy(code)) / SUBFRAME))
            predicted = single(34.0 + GAIN_PREDICTION.dot(self.past_energy) - level)
            self.last_pitch = row[0]
            self.last_code = single(single(10.0 ** (predicted / 20.0)) * row[1])
            self.remember(single(20.0 * math.log10(row[1])))
            return self.last_pitch, self.last_code
        if erasure == 1:
            if first:
                self.step = single((row[0] - self.last_pitch) * self.interpolation)
            self.last_pitch = single(self.last_pitch + self.step)  # kept beyond 1
            pitch = min(self.last_pitch, 1.0)
        else:
            pitch = self.last_pitch = min(single(single(0.9) * self.last_pitch), 1.0)
        self.last_code = single(single(0.8) * self.last_code)
        self.remember(single(single(0.2) * sum(self.past_energy) - single(2.8)))
        return pitch, self.last_code

    def remember(self, value):
        self.past_energy = [value] + self.past_energy[:3]


class RandomWords:
    """Track words of lost frames: 16 bits, the low ones used."""

    def __init__(self):
        self.seed = 21845

    def next(self):
        self.seed = (self.seed * 31821 + 13849) & 0xffff
        return self.seed


class Attenuation:
    """How much of the innovation the synthesis leaves out in voiced subframes."""

    def __init__(self):
        self.value = 0.0

    def update(self, pitch_gain):
        target = min(single(0.5 * pitch_gain * pitch_gain), single(0.4))
        self.value = min(single(single(0.7) * self.value + single(0.3) * target), target)
        return self.value
