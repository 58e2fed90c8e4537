#pragma once

#include <array>
#include <cstddef>

#include "dsp/elementary.h"

namespace quel::wideband {

/// The filter A(z) = 1, which every kept LP filter is before the first frame.
inline constexpr std::array<float, 17> flat_filter{1.0f};

/// [0..15] line spectral pairs of a flat spectrum: cosines of equidistant frequencies.
constexpr std::array<float, 16> neutral_lsp() {
  constexpr double step = 3.141592654 / 17.0;
  std::array<float, 16> lsp{};
  for (int i = 0; i < 16; ++i) {
    lsp[static_cast<std::size_t>(i)] = static_cast<float>(cosine((i + 1) * step));
  }
  return lsp;
}

}  // namespace quel::wideband
