#pragma once

#include <array>
#include <cstddef>

#include "dsp/fill.h"

namespace quel {

/// Sum of x[i]^2, i = 0..n-1.
double energy_of(const float* x, int n);

/// The same of a * x[i] + b * y[i].
double energy_of_sum(const float* x, float a, const float* y, float b, int n);

/// Mean square in dB, never below -30: 10 log10(energy / n + 0.001).
float level_of(double energy, int n);

/// Gain at which a vector has this level; 0 for a vector of zeros.
///
/// level  dB per sample
/// code   [0..L-1]
float gain_for_level(float level, const float* code, int L);

/// x[i] = x[i] * g, g moving in equal steps from `from`, which lies before x[0], to `to`, which
/// x[n-1] gets.
void fade(float* x, int n, float from, float to);

/// What the level that may be played in a loss is reckoned from.
inline constexpr std::size_t fall_features = 12;
using FallWeights = float[fall_features];

/// Features of the sound before a loss that tell how fast it may fall: a constant; median, last and
/// least pitch gain of the last four subframes; by how much the lag jumped, thirds of a sample, at
/// most 30; how the level of the excitation rose over the last subframe and the one before; by how
/// much the last lies below the one before, and below both of those; how loud the code's part is in
/// the last two, and how it rose.
///
/// exc  [-3*L..-1] excitation before the loss
std::array<double, fall_features> features_of_fall(const ExcitationPast& past, const float* exc,
                                                   int L);

/// How loud a loss may be. Speech that ends inside a loss ought not to be held as loud as it was;
/// how it ends cannot be known, but how far it falls at most, but for few cases, can be learnt.
struct Ceiling {
  static constexpr std::size_t most_subframes = 10;
  float level = 0.0f;  ///< of the excitation before the loss, dB per sample
  std::array<float, most_subframes> level_of{};  ///< of what may be heard in each subframe
  std::size_t subframes = 0;
  float part = 1.0f;  ///< of the excitation that was heard at the end of the last subframe

  /// Of the i-th subframe; the last one's for all behind.
  float at(int i) const;
};

/// weights    [0..subframes-1], giving the fall in dB that speech seldom exceeds
/// allowance  dB by which what is played may lie above that
Ceiling ceiling_from(const ExcitationPast& past, const float* exc, int L,
                     const FallWeights* weights, std::size_t subframes, float allowance);

/// The part, at most `part`, of an excitation that reaches no higher than `ceiling`.
///
/// energy  of its L samples
float held_part(float part, double energy, int L, float ceiling);

/// The pitch gain that a received subframe behind a loss may have at most. Speech seldom has more
/// of its past in it, beside its code; what has is the past of other speech, and would ring on.
///
/// adaptive  energy of the adaptive codebook's vector
/// code      energy of the code's part of the excitation
float capped_pitch_gain(float pitch_gain, double adaptive, double code);

}  // namespace quel
