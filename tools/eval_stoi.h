#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace quel::tools {

/// Predicted intelligibility: 1 for equal signals, near 0 for unrelated ones.
struct Intelligibility {
  double stoi = 0.0;   ///< short-time objective intelligibility
  double estoi = 0.0;  ///< extended STOI, which also follows fluctuating noise
};

/// STOI: C. H. Taal, R. C. Hendriks, R. Heusdens, J. Jensen, "An algorithm for intelligibility
/// prediction of time-frequency weighted noisy speech", IEEE TASL 19(7), 2011. ESTOI: J. Jensen,
/// C. H. Taal, "An algorithm for predicting the intelligibility of speech masked by modulated noise
/// maskers", IEEE TASLP 24(11), 2016.
///
/// Neither looks above 4.8 kHz: both signals are resampled to 10 kHz. A narrowband test signal
/// needs a narrowband reference.
///
/// ref, test  of one length and aligned; their scales do not matter
/// rate       Hz
///
/// Nothing where less than 384 ms of the reference are within 40 dB of its loudest frame.
std::optional<Intelligibility> intelligibility(std::span<const float> ref,
                                               std::span<const float> test, int rate);

/// Of a signal piece by piece, what counts as silence: the energy of its loudest frame.
class LoudestFrame {
 public:
  explicit LoudestFrame(int rate);
  ~LoudestFrame();
  void add(std::span<const float> ref);
  /// Nothing may be added after it.
  double finish();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// The same as intelligibility() piece by piece.
class IntelligibilityMeter {
 public:
  /// loudest  of the whole reference
  IntelligibilityMeter(int rate, double loudest);
  ~IntelligibilityMeter();
  void add(std::span<const float> ref, std::span<const float> test);
  /// Nothing may be added after it.
  void finish();
  std::optional<Intelligibility> value() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// The steps, for tests. Signals are at 10 kHz.

inline constexpr int stoi_rate = 10000;
inline constexpr std::size_t stoi_frame = 256;   ///< samples, half of them new
inline constexpr std::size_t stoi_bands = 15;    ///< third octaves from 150 Hz
inline constexpr std::size_t stoi_segment = 30;  ///< frames that are compared together

/// Levels of one frame in the bands: roots of their energies.
using BandFrame = std::array<double, stoi_bands>;

/// Cuts the frames out of both signals in which the reference is more than 40 dB below its loudest
/// frame; what remains is put together by overlap and add. Both become empty where the reference is
/// all silence.
void remove_silence(std::vector<double>& ref, std::vector<double>& test);

std::vector<BandFrame> third_octaves(std::span<const double> signal);

/// ref, test  of one length
///
/// Nothing for fewer than stoi_segment frames, and where the reference never varies.
std::optional<double> stoi_of_bands(std::span<const BandFrame> ref,
                                    std::span<const BandFrame> test);
std::optional<double> estoi_of_bands(std::span<const BandFrame> ref,
                                     std::span<const BandFrame> test);

}  // namespace quel::tools
