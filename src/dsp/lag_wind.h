#pragma once

namespace quel {

/// Lag window of the narrowband LP analysis: entry 0 the white-noise correction (a floor 40 dB
/// below the signal), then a Gaussian of 60 Hz bandwidth at 8 kHz, exp(-(2 pi 60 i / 8000)^2 / 2).
inline constexpr float lag_window[11] = {1.00010002f,  0.998890281f, 0.995568514f, 0.990056753f,
                                         0.982391536f, 0.972623408f, 0.960816383f, 0.947047293f,
                                         0.931404889f, 0.913988948f, 0.894909143f};

/// r[i] *= lag_window[i], i = 0..m, in place; m <= 10.
void lag_wind(float* r, int m);

}  // namespace quel
