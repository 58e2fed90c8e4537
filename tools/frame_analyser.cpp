#include "tools/frame_analyser.h"

#include <array>
#include <cstddef>

namespace quel::tools {
namespace {

SubframeParameters parameters_of(const quel_subframe& subframe) {
  SubframeParameters out;
  out.lag = subframe.lag;
  out.lag_thirds = subframe.lag_thirds;
  out.pitch_gain = subframe.pitch_gain;
  out.code_gain = subframe.code_gain;
  out.pulses.assign(subframe.pulses, subframe.pulses + subframe.pulse_count);
  return out;
}

}  // namespace

std::span<const std::int32_t> index_widths(int flavor) {
  const quel_flavor* info = quel_flavor_info(flavor);
  if (info == nullptr) throw Error(QUEL_ERROR_FLAVOR);
  return {info->field_bits, static_cast<std::size_t>(info->fields_per_frame)};
}

FrameAnalyser::FrameAnalyser(int flavor) : decoder_(flavor) {}

std::vector<FrameParameters> FrameAnalyser::next(std::span<const std::uint8_t> unit) {
  const int flavor = decoder_.flavor();
  const std::size_t fields = index_widths(flavor).size();
  std::array<std::int32_t, QUEL_MAX_FRAMES * QUEL_MAX_FIELDS> indices;
  if (!unit.empty()) {
    check(quel_unit_unpack(flavor, unit.data(), unit.size(), indices.data(), indices.size()));
  }
  std::vector<FrameParameters> frames(static_cast<std::size_t>(quel_frames_per_unit(flavor)));
  const std::int32_t* own = indices.data();
  for (FrameParameters& frame : frames) {
    frame.lost = unit.empty();
    quel_frame described = QUEL_FRAME;
    check(quel_frame_describe(decoder_.get(), frame.lost ? nullptr : own, frame.lost ? 0 : fields,
                              &described));
    if (frame.lost) continue;
    frame.indices.assign(own, own + fields);
    frame.frequencies.assign(described.frequencies,
                             described.frequencies + described.frequency_count);
    for (int s = 0; s < described.subframe_count; ++s) {
      frame.subframes.push_back(parameters_of(described.subframes[s]));
    }
    own += fields;
  }
  return frames;
}

std::vector<std::uint8_t> pack_unit(int flavor, const std::vector<FrameParameters>& frames) {
  std::vector<std::int32_t> indices;
  for (const FrameParameters& frame : frames) {
    indices.insert(indices.end(), frame.indices.begin(), frame.indices.end());
  }
  std::vector<std::uint8_t> unit(static_cast<std::size_t>(check(quel_bytes_per_unit(flavor))));
  check(quel_unit_pack(flavor, indices.data(), indices.size(), unit.data(), unit.size()));
  return unit;
}

}  // namespace quel::tools
