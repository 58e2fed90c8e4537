#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace quel {

/// Memory of an encoder that tells speech from the background; one per stream. It looks at what the
/// encoder has computed anyway, and at nothing that the encoder has not: no delay comes of it.
struct VoiceActivity {
  static constexpr std::size_t bands = 8;
  static constexpr std::size_t windows = 8;
  using Bands = std::array<float, bands>;

  Bands floor{};                       ///< power of the background in each band
  Bands recent{};                      ///< power of the last frames, mean over some 50 ms
  std::array<Bands, windows> least{};  ///< least of `recent` in a window of 0.2 s each
  std::int32_t in_window = 0;          ///< milliseconds of the window in work
  std::int32_t window = 0;             ///< the one in work
  std::int32_t filled = 0;             ///< windows that are complete, up to all
  std::int32_t started = 0;            ///< 0 before the first frame
  float restless = 0.5f;               ///< mean excess of the background over its own floor, dB
  float usual_gain = 0.4f;             ///< mean lag gain of the background
  float peak = 0.0f;                   ///< excess of the speech, falling slowly, dB
  std::int32_t burst = 0;              ///< milliseconds of speech in a row
  std::int32_t hangover = 0;           ///< milliseconds that still count as speech
};

/// How a coder's frames are to be looked at.
struct VoiceFrame {
  const float* r;          ///< [0..order] autocorrelations of the analysis window
  const float* prefilter;  ///< [0..16] of what that window's signal went through; null: nothing
  int order;               ///< 10 or 16
  float lag_gain;          ///< mean pitch gain of the frame
  float least_power;       ///< what counts as silence, on the scale of r[0]
  int milliseconds;        ///< length of the frame
};

/// Whether the frame is to be taken for speech.
bool hear_voice(VoiceActivity& state, const VoiceFrame& frame);

/// How far one background is from another: mean over the bands of the difference's size, dB. Powers
/// above 0.
float distance(const VoiceActivity::Bands& one, const VoiceActivity::Bands& other);

}  // namespace quel
