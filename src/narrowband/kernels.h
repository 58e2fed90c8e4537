#pragma once

#include "dsp/instruction_set.h"
#include "dsp/kernels.h"
#include "narrowband/six_pulses.h"

namespace quel {

/// A stretch of hp_2nd whose input is another filter's output.
struct HighPass {
  const float *a, *b;  ///< [0..2]
  float* y;            ///< [0..lg-1]
  float *memx, *memy;  ///< [0..1] move on
};

/// What the searches over three tracks go by.
struct PulseTracks {
  const float* dn;       ///< [0..47] backward-filtered target, sign-free
  const float* sel;      ///< [0..47] negative at the candidates
  const float* h;        ///< [0..47]
  const float* sign;     ///< [0..47]
  const float* rr_diag;  ///< [0..47] half energies, track by track
  const float* rr;       ///< [0..767] cross-correlations of each track with the next
};

/// Pulses of one way through the tracks.
struct PlacedPulses {
  float ps, alp;
  int position[6];
};

/// The fast forms of this folder's routines, compiled for one instruction set; see dsp/kernels.h.
struct NarrowbandKernels {
  void (*cross_blocks3)(const float* h, int blocks, const float* sign, float* rr);
  void (*cross_blocks6)(const float* h, int blocks, const float* sign, float* rr);
  void (*cor_h_vec_pair)(const float* h, const float* y, const int* tracks, const float* sign,
                         const float* rr_diag, float* out);
  bool (*best_pair3)(int tx, int ty, float* ps, float* alp, int* ix, int* iy, const float* dn,
                     const float* sel, const float* rr_x, const float* rr_y, const float* block);
  bool (*best_pair6)(int tx, int ty, float* ps, float* alp, int* ix, int* iy, const float* dn,
                     const float* sel, const float* rr_x, const float* rr_y, const float* block);
  bool (*place_six)(const PulseTracks& tracks, PlacedPulses* placed);
  bool (*place_three)(const PulseTracks& tracks, const int (*first)[3], PlacedPulses* placed);
  bool (*best_opposite_pair)(const float* dn, const float* rr_diag, const float* rr, int* a,
                             int* b);
  void (*pulses_placed)(const int* position, const float* sign, int count, const float* filt,
                        float* out);
  bool (*synthesize_and_pass)(const Recursion& synthesis, const HighPass& high_pass,
                              const Recursion* pulses);
  bool (*level_and_pass)(const float* x, float fac, float step, float* gain,
                         const HighPass& high_pass);
  bool (*mix_excitation)(float* exc, const float* code, float gain_pit, float gain_code,
                         double attenuation, float* enhanced);
  void (*correlate_pulses)(const float* h, float* phi);
  void (*free_pitch_gain)(const float* dn1, float weight, float* phi);
  int (*best_pulse)(const SixPulseTarget& target, const int* place, const float* sign, int track,
                    const int* barred, float* merit);
};

namespace baseline {
extern const NarrowbandKernels narrowband_kernels;
}
#if defined(__x86_64__)
namespace avx2 {
extern const NarrowbandKernels narrowband_kernels;
}
namespace avx512 {
extern const NarrowbandKernels narrowband_kernels;
}
#endif

/// Those of an available set, and of the set in use.
const NarrowbandKernels& narrowband_kernels(InstructionSet set);
const NarrowbandKernels& narrowband_kernels();

}  // namespace quel
