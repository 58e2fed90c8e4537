#pragma once

namespace quel {

/// Memory of `preemph`: the last input sample. 0 at load and after init_preemph.
struct Preemphasis {
  float mem_pre = 0.0f;
};

/// Running gain of `agc`: 1 after init_agc; 0 at load.
struct GainControl {
  float gain_prec = 0.0f;
};

void init_preemph(Preemphasis& state);
void init_agc(GainControl& state);

/// Tilt compensation 1 - mu z^-1 in place.
///
/// x   [0..n-1]
/// mu  0..1
/// n   samples, > 0
void preemph(Preemphasis& state, float* x, float mu, int n);

/// Adaptive gain control: scales x in place by a gain that glides, by the factor fac per sample,
/// towards sqrt(energy of ref / energy of x), so that a postfilter does not change the loudness.
/// Where x is silent it is left alone and the gain becomes 0.
///
/// ref  [0..n-1] signal of the wanted energy
/// x    [0..n-1]
/// fac  0..1
void agc(GainControl& state, const float* ref, float* x, int n, float fac);

/// What `agc` adds to fac times the last gain for each sample's. Returns false where x is silent.
bool agc_step(const float* ref, const float* x, int n, float fac, float* step);

}  // namespace quel
