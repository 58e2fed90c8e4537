#pragma once

#include <cstddef>
#include <cstdint>
#include <quelcodec/quelcodec.hpp>
#include <span>
#include <vector>

namespace quel::tools {

/// One pulse of an algebraic codebook.
using Pulse = quel_pulse;

/// What a subframe's indices stand for.
struct SubframeParameters {
  int lag = 0;              ///< whole part, samples at the flavor's rate
  int lag_thirds = 0;       ///< to be added to it: -1, 0 or 1 third of a sample
  float pitch_gain = 0.0f;  ///< of the past excitation
  float code_gain = 0.0f;   ///< of the code, PCM scale
  std::vector<Pulse> pulses;
};

/// What a frame's indices stand for. A lost frame has nothing but `lost` set.
struct FrameParameters {
  bool lost = false;
  std::vector<std::int32_t> indices;  ///< as they stand in the unit: 20 words, or 22 of flavor 3
  /// Hz: the first nine immittance spectral frequencies of flavors 0 to 2 and, tenth, 650 times the
  /// last LP coefficient; 16 line spectral frequencies of flavor 3.
  std::vector<float> frequencies;
  std::vector<SubframeParameters> subframes;
};

/// Reads coded units. A decoder runs beside, so that predicted values are right after losses too,
/// which are concealed at once.
class FrameAnalyser {
 public:
  /// flavor  0..3
  explicit FrameAnalyser(int flavor);

  /// The frames of the next unit.
  ///
  /// unit  of the flavor's size; empty where it is lost
  std::vector<FrameParameters> next(std::span<const std::uint8_t> unit);

 private:
  Decoder decoder_;
};

/// Widths of a frame's indices in bits, in the order of FrameParameters::indices.
std::span<const std::int32_t> index_widths(int flavor);

/// The unit that these frames make up, the inverse of FrameAnalyser::next.
///
/// frames  as many as a unit has; each with as many indices as index_widths(flavor)
///
/// Throws Error where an index is more than its width holds.
std::vector<std::uint8_t> pack_unit(int flavor, const std::vector<FrameParameters>& frames);

}  // namespace quel::tools
