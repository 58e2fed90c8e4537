#pragma once

namespace quel::plain {

/// Correlations of the responses to pulses on interleaved tracks of 16 places, by place: sample
/// tracks * p + t of the subframe is place 16 t + p. In float: each sum runs from the end of the
/// subframe.
///
/// h    [0..16*tracks-1] response to a pulse at the subframe's start
/// phi  [0..(16*tracks)^2-1] output, [places * i + j]
template <int tracks>
void response_matrix(const float* h, float* phi) {
  constexpr int places = 16 * tracks;
  const auto place_of = [](int sample) { return sample % tracks * 16 + sample / tracks; };
  for (int i = places - 1; i >= 0; --i) {
    for (int j = places - 1; j >= 0; --j) {
      const bool last = i == places - 1 || j == places - 1;
      const float later = last ? 0.0f : phi[places * place_of(i + 1) + place_of(j + 1)];
      phi[places * place_of(i) + place_of(j)] = later + h[places - 1 - i] * h[places - 1 - j];
    }
  }
}

}  // namespace quel::plain
