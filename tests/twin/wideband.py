"""Decoder of flavor 3: 16 kbit/s, 16 kHz, frames of 160 samples, two subframes of 80."""

import math

import numpy as np

import tables
from kit import absurd, cosines, doubles, energy, floats, pcm, single, synthesize, weighted_filter

ORDER = 16
SUBFRAME = 80
PAST = 301
LAG_MIN, LAG_MAX = 30, 281

MEAN_LSF = floats([335, 628, 1110, 1641, 2108, 2592, 3053, 3512,
                   3978, 4423, 4942, 5429, 5977, 6421, 6921, 7250])
PITCH_GAINS = doubles(floats([0, 0.2, 0.4, 0.5, 0.6, 0.7, 0.75, 0.8,
                              0.85, 0.9, 0.95, 1.0, 1.05, 1.1, 1.15, 1.2])).tolist()
CODE_GAINS = doubles(floats([
    0.07499, 0.10593, 0.14125, 0.18836, 0.23714, 0.28184, 0.32734, 0.37584,
    0.42170, 0.47315, 0.53088, 0.59566, 0.66834, 0.74989, 0.84140, 0.94406,
    1.05925, 1.18850, 1.33352, 1.49624, 1.67880, 1.88365, 2.11349, 2.37137,
    2.66073, 3.05492, 3.54813, 4.21697, 5.30884, 7.07946, 9.44061, 13.33521])).tolist()
GAIN_PREDICTION = doubles(floats([0.8, 0.6])).tolist()
PREDICTORS = [0.12, 0.5]
# Half of a symmetric filter sampled at thirds of a sample, its centre first.
LAG_FILTER = doubles(floats([
    0.874475002, 0.755101025, 0.455962002, 0.118807003, -0.114223003, -0.176778004, -0.101922996,
    0.0155530004, 0.0865549967, 0.0781930014, 0.0186599996, -0.037512999, -0.0527330004,
    -0.0274589993, 0.00996700022, 0.0302779991, 0.0240499992, 0.00305499998, -0.0138619998,
    -0.0161620006, -0.00672500022, 0.00421199994, 0.00863400009, 0.00572100002, 0,
    -0.00371000008, -0.00368999992, -0.00122800004, 0.00140900002, 0.00261000008, 0]))


class LsfDecoder:
    """Line spectral frequencies in Hz: mean + (1 - r) of codebook rows + r of the last ones."""

    def __init__(self):
        self.codebooks = tables.lsf_codebooks()
        self.past_target = np.zeros(ORDER, dtype=np.float32)
        self.past_lsf = floats([(i + 1) * 8000.0 / 17.0 for i in range(ORDER)])
        self.predictor = 0

    def decode(self, fields, lost):
        """Predictor choice and five indices to 16 cosines."""
        mean, past = doubles(MEAN_LSF), doubles(self.past_target)
        if not lost:
            self.predictor = fields[0]
        r = PREDICTORS[self.predictor]
        if lost:  # the last ones again, and the rows that would have given them
            lsf = self.past_lsf
            self.past_target = floats((doubles(lsf) - mean - r * past) / (1.0 - r))
        else:
            rows = np.concatenate([book[i] for book, i in zip(self.codebooks, fields[1:6])])
            lsf = floats((1.0 - r) * doubles(rows) + r * past + mean)
            self.past_target = rows
        lowest, spaced = 50.0, []
        for value in doubles(lsf).tolist():
            spaced.append(max(value, lowest))
            lowest = single(spaced[-1] + 50.0)
        self.past_lsf = floats(spaced)
        return cosines(self.past_lsf, single(0.0003926991))


def lsf_polynomial(q):
    """Product of (1 - 2 q z^-1 + z^-2) over eight cosines, coefficients 0..8."""
    f = [0.0] * 9
    f[0] = 1.0
    f[1] = single(-2.0 * q[0])
    for i in range(2, 9):
        b = -2.0 * q[i - 1]
        f[i] = single(b * f[i - 1] + 2.0 * f[i - 2])
        for j in range(i - 1, 1, -1):
            f[j] = single(f[j] + b * f[j - 1] + f[j - 2])
        f[1] = single(f[1] + b)
    return f


def lsp_to_lp(lsp):
    """16 cosines to an LP filter of 17 coefficients."""
    q = doubles(lsp).tolist()
    f1, f2 = lsf_polynomial(q[0::2]), lsf_polynomial(q[1::2])
    for i in range(8, 0, -1):
        f1[i] = single(f1[i] + f1[i - 1])
        f2[i] = single(f2[i] - f2[i - 1])
    a = [1.0] + [0.0] * ORDER
    for i in range(1, 9):
        a[i] = 0.5 * (f1[i] + f2[i])
        a[ORDER + 1 - i] = 0.5 * (f1[i] - f2[i])
    return floats(a)


class LagDecoder:
    """Lags of 30 to 281 samples in thirds."""

    def __init__(self):
        self.lowest = 0
        self.old_lag = 40

    def decode(self, index, second, lost):
        """First subframe, 9 bits: thirds up to 159 2/3 (0..389), then samples. Second, 6 bits:
        thirds from 2/3 below the window's lowest lag; 62 and 63 count as lost."""
        frac = 0
        if lost or (second and index > 61):
            lag = self.old_lag + 1
        elif second:
            steps = (index + 2) // 3 - 1
            lag, frac = self.lowest + steps, index - (3 * steps + 2)
        else:
            if index > 389:
                lag = index - 230
            else:
                lag = (index + 2) // 3 + 29
                frac = index - 3 * lag + 88
            self.lowest = max(lag - 10, LAG_MIN)
            if self.lowest + 19 > LAG_MAX:
                self.lowest = LAG_MAX - 19
        self.old_lag = min(lag, 2**31 - 2)
        return lag, frac


class GainDecoder:
    """Pitch gain from a table; code gain predicted from the last two corrections in dB."""

    def __init__(self):
        self.past_energy = [-14.0, -14.0]
        self.clear_last()

    def clear_last(self):
        self.last_pitch = self.last_code = 0.0

    def pitch(self, index, lost):
        gain = 0.95 * self.last_pitch if lost else PITCH_GAINS[index]
        self.last_pitch = min(single(gain), 1.0)  # what is returned may exceed 1
        return gain

    def code(self, index, code, lost):
        newest, older = self.past_energy
        if lost:
            self.last_code = single(0.8 * self.last_code)
            correction = max(single(0.5 * (newest + older) - 4.0), -14.0)
        else:
            level = single(10.0 * math.log10((0.01 + energy(code)) / SUBFRAME))
            predicted = single(19.0 + GAIN_PREDICTION[0] * newest + GAIN_PREDICTION[1] * older
                               - level)
            self.last_code = single(single(10.0 ** (predicted / 20.0)) * CODE_GAINS[index])
            correction = single(20.0 * math.log10(CODE_GAINS[index]))
        self.past_energy = [correction, newest]
        return self.last_code


def adaptive_code(past, lag, frac):
    """80 samples of past excitation delayed by lag + frac / 3; short lags feed on the output."""
    exc = np.concatenate([doubles(past), np.zeros(SUBFRAME)])
    start, phase = PAST - lag, -frac
    if phase < 0:
        start, phase = start - 1, phase + 3
    taps = np.concatenate([LAG_FILTER[phase:phase + 28:3][::-1],
                           LAG_FILTER[3 - phase:3 - phase + 28:3]])
    for n in range(SUBFRAME):
        exc[PAST + n] = np.float32(taps.dot(exc[start - 9 + n:start + 11 + n]))
    return floats(exc[PAST:])


def pulse_code(words):
    """Five words of 9 bits, two pulses on each track of 16 places 5 apart: bits 7..4 the first's
    place, 3..0 the second's, bit 8 the first's sign. The second has the other if it lies before."""
    code = np.zeros(SUBFRAME, dtype=np.float32)
    for track, word in enumerate(words):
        first, second = track + 5 * (word >> 4 & 15), track + 5 * (word & 15)
        sign = -1.0 if word & 256 else 1.0
        code[first] = sign
        code[second] += -sign if second < first else sign
    return code


def sharpen(code, lag, gain):
    """Adds the code itself, delayed by the lag, again and again."""
    values = doubles(code).tolist()
    for n in range(lag, SUBFRAME):
        values[n] = single(values[n] + gain * values[n - lag])
    return floats(values)


class Decoder16k:
    def __init__(self):
        flat = floats([1.0] + [0.0] * ORDER)
        self.lsf = LsfDecoder()
        self.lag = LagDecoder()
        self.gains = GainDecoder()
        self.random = 1
        self.old_lsp = floats([math.cos((i + 1) * (3.141592654 / 17.0)) for i in range(ORDER)])
        self.old_filter = flat       # second subframe's filter of the frame before
        self.old_postfilter = flat
        self.resets = -1
        self.forget_signal()

    def forget_signal(self):
        """After absurd samples, and at the start. Predictors, lags and the seed go on."""
        self.past_excitation = np.zeros(PAST, dtype=np.float32)
        self.synthesis_memory = np.zeros(ORDER, dtype=np.float32)
        self.post_memory = np.zeros(ORDER, dtype=np.float32)
        self.gains.clear_last()
        self.resets += 1  # subframes with absurd samples so far

    def random_word(self):
        self.random = (self.random * 1103515245 + 12345) & 0xffffffff
        return self.random >> 16 & 0x1ff

    def decode(self, fields, lost):
        """One frame; of a lost one's fields nothing is used."""
        new_lsp = self.lsf.decode(fields[0:6], lost)
        between = floats(0.5 * doubles(self.old_lsp) + 0.5 * doubles(new_lsp))
        filters = [lsp_to_lp(between), lsp_to_lp(new_lsp)]
        self.old_lsp = new_lsp
        postfilter = weighted_filter(self.old_filter, 0.5)  # undoes the encoder's pre-filter
        frame = []
        for s in range(2):
            y, wild = self.subframe(filters[s], fields[6 + 8 * s:14 + 8 * s], s == 1, lost)
            if wild:
                self.forget_signal()
                frame += [0.0] * SUBFRAME
            else:
                frame += self.postprocess(postfilter, y, s == 0)
        self.old_filter, self.old_postfilter = filters[1], postfilter
        return pcm(frame)

    def subframe(self, a, group, second, lost):
        """Synthesis, and whether it is absurd. group: lag, pitch gain, track words, code gain."""
        lag, frac = self.lag.decode(group[0], second, lost)
        pitch_gain = self.gains.pitch(group[1], lost)
        words = [self.random_word() for _ in range(5)] if lost else group[2:7]
        adaptive = adaptive_code(self.past_excitation, min(lag, 292), frac)
        code = sharpen(pulse_code(words), lag, min(single(pitch_gain), 1.0))
        code_gain = self.gains.code(group[7], code, lost)
        total = floats(single(pitch_gain) * doubles(adaptive) + code_gain * doubles(code))
        self.past_excitation = np.concatenate([self.past_excitation, total])[SUBFRAME:]
        y = synthesize(a, total, self.synthesis_memory)
        self.synthesis_memory = y[-ORDER:]
        return y, absurd(total, y)

    def postprocess(self, postfilter, y, first):
        """Postfilter; its first 30 samples of a frame pass over from the last frame's filter."""
        out = doubles(synthesize(postfilter, y, self.post_memory)).tolist()
        fading = []
        if first:
            fading = doubles(synthesize(self.old_postfilter, y[:30], self.post_memory)).tolist()
        self.post_memory = floats(out[-ORDER:])
        fac = 1.0
        for n, old in enumerate(fading):
            out[n] = single(fac * old + (1.0 - fac) * out[n])
            fac = single(fac - single(0.033333335))
        return out
