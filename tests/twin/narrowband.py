"""Decoders of flavors 0 and 1 (6.5 and 8.5 kbit/s) and of flavor 2 (5 kbit/s), 8 kHz."""

import numpy as np

from kit import (HighPass, absurd, doubles, energy, floats, inverse_filter, inverse_sqrt, pcm,
                 single, synthesize, weighted_filter)
from narrowband_parts import (ISP_AT_START, ORDER, PAST, SUBFRAME, Attenuation, GainDecoder,
                              IsfDecoder, RandomWords, absolute_lag, adaptive_code,
                              lag_from_thirds, lag_window, place_pulses, pulses_15_bits,
                              pulses_2_of_10_bits, pulses_27_bits, pulses_3_of_10_bits,
                              relative_lag, shaping_filter, subframe_filters)


def zeros(n):
    return np.zeros(n, dtype=np.float32)


class ExcitationDecoder:
    """What both decoders keep of the past, and how a subframe's excitation is formed."""

    def __init__(self, gain_interpolation, sharpening):
        self.isf = IsfDecoder()
        self.gains = GainDecoder(gain_interpolation)
        self.random = RandomWords()
        self.attenuation = Attenuation()
        self.high_pass = HighPass()
        self.old_isp = ISP_AT_START
        self.past_excitation = zeros(PAST)
        self.synthesis_memory = zeros(ORDER)
        self.sharpening = sharpening
        self.resets = 0  # subframes with absurd samples so far

    def filters(self, isf_indices, erasure, count):
        isp = self.isf.decode(isf_indices, erasure)
        filters = subframe_filters(isp, self.old_isp, count)
        self.old_isp = isp
        return filters

    def excitation(self, a, lag, frac, pulses, gain_index, erasure, first):
        """Total excitation, the one for the synthesis, and the pitch gain. History moves on."""
        adaptive = adaptive_code(self.past_excitation, lag, frac)
        code = doubles(place_pulses(pulses, shaping_filter(a, lag, self.sharpening)))
        pitch_gain, code_gain = self.gains.decode(gain_index, code, erasure, first)
        total = floats(pitch_gain * doubles(adaptive) + code_gain * code)
        left_out = code_gain * self.attenuation.update(pitch_gain)
        self.past_excitation = np.concatenate([self.past_excitation, total])[SUBFRAME:]
        return total, floats(doubles(total) - left_out * code), pitch_gain

    def output(self, wild, y):
        """A subframe's samples behind the high-pass; silence and a new start where it is wild."""
        if wild:
            self.forget_signal()
            return [0.0] * SUBFRAME
        return doubles(self.high_pass.process(y)).tolist()

    def forget_signal(self):
        """After absurd samples. Spectral and energy predictors, lags and seeds go on."""
        self.resets += 1
        self.past_excitation = zeros(PAST)
        self.synthesis_memory = zeros(ORDER)
        self.high_pass.clear()
        self.attenuation.value = 0.0
        self.gains.clear_last()


class Decoder6k5And8k5(ExcitationDecoder):
    """144 samples a frame, three subframes of 48."""

    def __init__(self, flavor):
        super().__init__(gain_interpolation=0.0, sharpening=0.8)
        self.flavor = flavor
        self.last_flavor = 1
        self.old_pitch = 180  # thirds of a sample

    def decode(self, fields, erasure):
        """One frame. erasure 1: `fields` are those of the next good frame; 2: not looked at."""
        flavor = self.last_flavor if erasure else self.flavor
        self.last_flavor = flavor
        frame = []
        lags = self.lags([fields[k] for k in (5, 10, 15)], erasure)
        for s, a in enumerate(self.filters(fields[0:5], erasure, 3)):
            group = fields[5 + 5 * s:10 + 5 * s]  # lag, three track words, gain
            lag, frac = lags[s]
            words = [self.random.next() for _ in range(3)] if erasure else group[1:4]
            pulses = pulses_27_bits(words) if flavor else pulses_15_bits(words)
            total, driving, _ = self.excitation(a, lag, frac, pulses, group[4], erasure, s == 0)
            y = synthesize(a, driving, self.synthesis_memory)
            self.synthesis_memory = y[-ORDER:]
            frame += self.output(absurd(total, y), y)
        return pcm(frame)

    def lags(self, indices, erasure):
        """The three subframes' lags. With the next frame's lag known, a lost frame goes a quarter
        of the way to it each subframe; otherwise its lag grows by a sample."""
        lags = []
        for s, index in enumerate(indices):
            if erasure == 2:
                lag, frac = min(self.old_pitch // 3 + 1, 143), 0
            elif erasure == 1:
                if s == 0:
                    lag, frac = absolute_lag(index)
                    delta = 0.25 * (3 * lag + frac - self.old_pitch)
                    thirds = float(self.old_pitch)
                thirds = thirds + delta
                lag, frac = lag_from_thirds(thirds)
            elif s == 0:
                lag, frac = absolute_lag(index)
                lowest = lag_window(lag)
            else:
                lag, frac = relative_lag(index, lowest)
            self.old_pitch = 3 * lag + frac
            lags.append((lag, frac))
        return lags


class Decoder5k(ExcitationDecoder):
    """240 samples a frame, five subframes of 48; one frame behind its input.

    A call stores the fields it is given and decodes those of the call before, so that a frame lost
    alone can be bridged towards the next one. The first call gives a concealed frame.
    """

    def __init__(self):
        super().__init__(gain_interpolation=1.0 / 6.0, sharpening=0.85)
        self.stored = [0] * 20
        self.erasure = 1
        self.old_erasure = 1
        self.old_pitch = 180.0  # thirds of a sample
        self.old_pitch_gain = 0.0
        self.reference_memory = zeros(ORDER)
        self.pole_memory = zeros(ORDER)
        self.zero_memory = zeros(ORDER)
        self.tilt_memory = 0.0
        self.output_gain = 1.0

    def decode(self, fields, lost):
        """The frame of the call before; `fields` are the new frame's, whose `lost` is 0 or 1."""
        current = self.stored
        if self.erasure:
            self.erasure = 2
            if not lost and self.old_erasure == 0:
                self.erasure, current = 1, fields
        out = self.decode_frame(current, self.erasure)
        self.old_erasure, self.erasure, self.stored = self.erasure, lost, fields
        return out

    def decode_frame(self, fields, erasure):
        frame = []
        lags = self.lags(fields[5::3], erasure)
        for s, a in enumerate(self.filters(fields[0:5], erasure, 5)):
            lag, frac = lags[s]
            word = self.random.next() if erasure else fields[6 + 3 * s]
            voiced = self.old_pitch_gain >= single(0.8)
            pulses = pulses_2_of_10_bits(word) if voiced else pulses_3_of_10_bits(word)
            total, driving, self.old_pitch_gain = self.excitation(
                a, lag, frac, pulses, fields[7 + 3 * s], erasure, s == 0)
            reference, y = self.postfilter(a, total, driving)
            frame += self.output(absurd(total, reference, y), y)
        return pcm(frame)

    def lags(self, indices, erasure):
        """The five subframes' lags. A frame lost alone goes a sixth of the way to the next one's
        first lag each subframe; otherwise a lost frame's lag grows by a sample."""
        lags = []
        delta = 3.0
        for s, index in enumerate(indices):
            if erasure != 2:
                if s in (0, 2):
                    lag, frac = absolute_lag(index)
                    lowest = lag_window(lag)
                else:
                    lag, frac = relative_lag(index, lowest)
                if erasure == 1 and s == 0:
                    delta = single((3 * lag + frac - self.old_pitch) * single(1.0 / 6.0))
            if erasure:
                self.old_pitch = single(self.old_pitch + delta)
                whole = int(self.old_pitch)
                # Only the fraction's sign counts once the lag is held at its limit.
                lag = min((whole + 1) // 3, 143)
                frac = whole - 3 * lag
            else:
                self.old_pitch = float(3 * lag + frac)
            lags.append((lag, frac))
        return lags

    def postfilter(self, a, total, driving):
        """Plain synthesis, and that behind A(z/0.5) / A(z/0.75) and 1 - 0.4 z^-1 at its level."""
        t = synthesize(weighted_filter(a, 0.75), driving, self.pole_memory)
        self.pole_memory = t[-ORDER:]
        last = float(t[-1])
        t = floats(doubles(t) - single(0.4) * np.concatenate([[self.tilt_memory], doubles(t)[:-1]]))
        self.tilt_memory = last
        u = inverse_filter(weighted_filter(a, 0.5), t, self.zero_memory)
        self.zero_memory = t[-ORDER:]
        reference = synthesize(a, total, self.reference_memory)
        self.reference_memory = reference[-ORDER:]
        y = synthesize(a, u, self.synthesis_memory)
        self.synthesis_memory = y[-ORDER:]
        return reference, self.follow_level(reference, y)

    def follow_level(self, reference, x):
        """x with its energy led towards the reference's, a tenth of the way per sample."""
        wanted, found = energy(reference), energy(x)
        if found == 0.0:
            self.output_gain = 0.0
            return x
        fac = single(0.9)
        target = 0.0
        if wanted != 0.0:
            target = single((1.0 - fac) * inverse_sqrt(found / wanted))
        gains = []
        for _ in x:
            self.output_gain = single(self.output_gain * fac + target)
            gains.append(self.output_gain)
        return floats(doubles(x) * np.array(gains))

    def forget_signal(self):
        super().forget_signal()
        self.reference_memory = zeros(ORDER)
        self.pole_memory = zeros(ORDER)
        self.zero_memory = zeros(ORDER)
        self.tilt_memory = 0.0
        self.output_gain = 1.0
