#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace quel {

/// What a decoder made its last received subframes of: the source of what is played while frames
/// are lost. Newest first; zeros where nothing was received yet.
struct ExcitationPast {
  static constexpr std::size_t depth = 6;
  std::array<std::int32_t, depth> lag{};   ///< thirds of a sample
  std::array<float, depth> pitch_gain{};   ///< as used
  std::array<float, depth> code_energy{};  ///< of the code's part, dB per sample
};

/// Puts a received subframe in front.
void remember(ExcitationPast& past, std::int32_t lag, float pitch_gain, float code_energy);

/// Noise was played: it stands for all that was before, at the lag of before.
///
/// level  dB per sample
void remember_noise(ExcitationPast& past, float level);

/// Mean of the middle two of the last four pitch gains.
float median_pitch_gain(const ExcitationPast& past);

/// How a coder fills a run of lost frames.
struct FillRule {
  float voiced_above;     ///< median pitch gain above which the past goes on alone
  float least, most;      ///< pitch gain of a voiced fill
  int averaged;           ///< subframes whose code energies an unvoiced fill continues
  float unvoiced_change;  ///< dB, on these
  int drift_span;         ///< subframes over which the lag's drift is measured, below the depth
  float drift_limit;      ///< thirds of a sample per subframe; a faster lag has jumped, not drifted
  int drift_steps;        ///< subframes for which the lag drifts on
  std::int32_t shortest, longest;  ///< lag, thirds of a sample
};

/// What fills a run of lost frames: the adaptive codebook alone where the past was voiced, else
/// less of it and noise of steady energy.
struct Fill {
  std::int32_t voiced = 0;
  float pitch_gain = 0.0f;
  float code_energy = 0.0f;  ///< dB per sample; not used where voiced
  float lag = 0.0f;          ///< at the end of the past, thirds of a sample
  float drift = 0.0f;        ///< thirds of a sample per subframe
};

Fill fill_from(const ExcitationPast& past, const FillRule& rule);

/// Lag of the i-th subframe of a run, counted from 0, thirds of a sample. Half of the drift goes
/// on: it seldom lasts.
std::int32_t fill_lag(const Fill& fill, const FillRule& rule, int i);

}  // namespace quel
