#include "tools/eval_stoi.h"

#include <soxr.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

#include "tools/eval_fft.h"

namespace quel::tools {
namespace {

constexpr std::size_t hop = stoi_frame / 2;
constexpr std::size_t transform_size = 512;
constexpr double lowest_centre = 150.0;                 // Hz
constexpr double silence = 1e-4;                        // -40 dB of the loudest frame's energy
const double clip = 1.0 + std::pow(10.0, 15.0 / 20.0);  // signal-to-distortion ratio of -15 dB

/// To 10 kHz, in double precision.
class StoiResampler {
 public:
  explicit StoiResampler(int rate) : rate_(rate) {
    if (rate == stoi_rate) return;
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT64_I, SOXR_FLOAT64_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_VHQ, 0);
    soxr_error_t error = nullptr;
    state_.reset(soxr_create(rate, stoi_rate, 1, &error, &io, &quality, nullptr));
    check(error);
  }

  void add(std::span<const float> x, std::vector<double>& out) {
    if (x.empty()) return;  // to the library, this would be the end
    in_.assign(x.begin(), x.end());
    if (!state_) {
      out.insert(out.end(), in_.begin(), in_.end());
      return;
    }
    taken_ += in_.size();
    run(in_.data(), in_.size(), out);
  }

  void finish(std::vector<double>& out) {
    if (state_ && taken_ > 0) run(nullptr, 0, out);
  }

 private:
  static void check(soxr_error_t error) {
    if (error != nullptr) throw std::runtime_error(std::string("resampling: ") + error);
  }

  void run(const double* in, std::size_t count, std::vector<double>& out) {
    constexpr std::size_t room = 4096;
    std::size_t consumed = 0, produced = room;
    // As long as there is input, or output that found no room.
    while (consumed < count || produced == room) {
      const std::size_t size = out.size();
      std::size_t taken = 0;
      out.resize(size + room);
      check(soxr_process(state_.get(), in == nullptr ? nullptr : in + consumed, count - consumed,
                         &taken, out.data() + size, room, &produced));
      consumed += taken;
      // The library would go on for ever at some rates with what lies past the end.
      const auto most =
          static_cast<std::uint64_t>(std::ceil(static_cast<double>(taken_) * stoi_rate / rate_));
      produced_ += produced;
      const std::uint64_t over = produced_ - std::min(produced_, most);
      out.resize(size + produced -
                 static_cast<std::size_t>(std::min<std::uint64_t>(over, produced)));
    }
  }

  struct Delete {
    void operator()(soxr* state) const { soxr_delete(state); }
  };
  int rate_;
  std::unique_ptr<soxr, Delete> state_;
  std::vector<double> in_;
  std::uint64_t taken_ = 0, produced_ = 0;
};

double frame_energy(std::span<const double> frame, std::span<const double> window) {
  double energy = 0.0;
  for (std::size_t n = 0; n < stoi_frame; ++n) {
    energy += window[n] * window[n] * frame[n] * frame[n];
  }
  return energy;
}

/// Takes the mean off and scales to norm 1; a constant becomes zeros. False for a constant.
bool standardise(std::span<double> x) {
  double mean = 0.0, energy = 0.0;
  for (const double v : x) mean += v;
  mean /= static_cast<double>(x.size());
  for (double& v : x) {
    v -= mean;
    energy += v * v;
  }
  if (!(energy > 0.0)) return false;
  for (double& v : x) v /= std::sqrt(energy);
  return true;
}

double product(std::span<const double> x, std::span<const double> y) {
  double sum = 0.0;
  for (std::size_t i = 0; i < x.size(); ++i) sum += x[i] * y[i];
  return sum;
}

/// The mean of what was added.
struct Mean {
  double sum = 0.0;
  std::size_t count = 0;
  void add(double value) {
    sum += value;
    ++count;
  }
  std::optional<double> value() const {
    if (count == 0) return std::nullopt;
    return sum / static_cast<double>(count);
  }
};

using Trace = std::array<double, stoi_segment>;  // one band through a segment

Trace trace(std::span<const BandFrame> frames, std::size_t first, std::size_t band) {
  Trace values;
  for (std::size_t n = 0; n < stoi_segment; ++n) values[n] = frames[first + n][band];
  return values;
}

/// A segment with its bands, then its frames, brought to mean 0 and norm 1, frame by frame.
std::array<BandFrame, stoi_segment> normalised_segment(std::span<const BandFrame> frames,
                                                       std::size_t first) {
  std::array<BandFrame, stoi_segment> segment{};
  for (std::size_t j = 0; j < stoi_bands; ++j) {
    Trace row = trace(frames, first, j);
    standardise(row);
    for (std::size_t n = 0; n < stoi_segment; ++n) segment[n][j] = row[n];
  }
  for (BandFrame& column : segment) standardise(column);
  return segment;
}

/// Cuts silence out of both signals as they come; the rest is put together by overlap and add.
class SilenceCutter {
 public:
  explicit SilenceCutter(double loudest) : loudest_(loudest), window_(hann_window(stoi_frame)) {}

  void add(std::span<const double> ref, std::span<const double> test, std::vector<double>& out_ref,
           std::vector<double>& out_test) {
    ref_.insert(ref_.end(), ref.begin(), ref.end());
    test_.insert(test_.end(), test.begin(), test.end());
    std::size_t start = 0;
    for (; start + stoi_frame <= ref_.size(); start += hop) {
      const auto frame = std::span(ref_).subspan(start, stoi_frame);
      const double energy = frame_energy(frame, window_);
      if (!(energy > 0.0 && energy >= silence * loudest_)) continue;
      put(frame, ref_tail_, out_ref);
      put(std::span(test_).subspan(start, stoi_frame), test_tail_, out_test);
      kept_ = true;
    }
    ref_.erase(ref_.begin(), ref_.begin() + static_cast<std::ptrdiff_t>(start));
    test_.erase(test_.begin(), test_.begin() + static_cast<std::ptrdiff_t>(start));
  }

  void finish(std::vector<double>& out_ref, std::vector<double>& out_test) const {
    if (!kept_) return;
    out_ref.insert(out_ref.end(), ref_tail_.begin(), ref_tail_.end());
    out_test.insert(out_test.end(), test_tail_.begin(), test_tail_.end());
  }

 private:
  using Tail = std::array<double, hop>;

  void put(std::span<const double> frame, Tail& tail, std::vector<double>& out) const {
    for (std::size_t n = 0; n < hop; ++n) {
      out.push_back(tail[n] + window_[n] * frame[n]);
      tail[n] = window_[n + hop] * frame[n + hop];
    }
  }

  double loudest_;
  std::vector<double> window_, ref_, test_;
  Tail ref_tail_{}, test_tail_{};
  bool kept_ = false;
};

/// Levels in third octaves of a signal as it comes.
class BandSplitter {
 public:
  BandSplitter() : window_(hann_window(stoi_frame)), spectrum_(transform_size) {
    for (std::size_t j = 0; j < stoi_bands; ++j) {
      const double centre = lowest_centre * std::exp2(static_cast<double>(j) / 3.0);
      for (std::size_t side = 0; side < 2; ++side) {
        const double hertz = centre * std::exp2(side == 0 ? -1.0 / 6.0 : 1.0 / 6.0);
        edges_[2 * j + side] =
            static_cast<std::size_t>(std::lround(hertz * transform_size / stoi_rate));
      }
    }
  }

  void add(std::span<const double> signal, std::vector<BandFrame>& frames) {
    signal_.insert(signal_.end(), signal.begin(), signal.end());
    std::vector<double> windowed(stoi_frame);
    std::size_t start = 0;
    for (; start + stoi_frame <= signal_.size(); start += hop) {
      for (std::size_t n = 0; n < stoi_frame; ++n) windowed[n] = window_[n] * signal_[start + n];
      const std::span<const double> power = spectrum_.of(windowed);
      BandFrame& bands = frames.emplace_back();
      for (std::size_t j = 0; j < stoi_bands; ++j) {
        double energy = 0.0;
        for (std::size_t k = edges_[2 * j]; k < edges_[2 * j + 1]; ++k) energy += power[k];
        bands[j] = std::sqrt(energy);
      }
    }
    signal_.erase(signal_.begin(), signal_.begin() + static_cast<std::ptrdiff_t>(start));
  }

 private:
  // Band j reaches from bin edges[2j] up to, not including, bin edges[2j+1].
  std::array<std::size_t, 2 * stoi_bands> edges_{};
  std::vector<double> window_, signal_;
  PowerSpectrum spectrum_;
};

// Of one segment, stoi_segment frames.
void add_stoi(Mean& mean, std::span<const BandFrame> ref, std::span<const BandFrame> test) {
  for (std::size_t j = 0; j < stoi_bands; ++j) {
    Trace x = trace(ref, 0, j), y = trace(test, 0, j);
    const double energy = product(y, y);
    const double scale = energy > 0.0 ? std::sqrt(product(x, x) / energy) : 0.0;
    for (std::size_t n = 0; n < stoi_segment; ++n) y[n] = std::min(scale * y[n], clip * x[n]);
    if (!standardise(x)) continue;  // a correlation with a constant is undefined
    standardise(y);
    mean.add(product(x, y));
  }
}

void add_estoi(Mean& mean, std::span<const BandFrame> ref, std::span<const BandFrame> test) {
  const auto x = normalised_segment(ref, 0), y = normalised_segment(test, 0);
  for (std::size_t n = 0; n < stoi_segment; ++n) {
    if (product(x[n], x[n]) > 0.0) mean.add(product(x[n], y[n]));
  }
}

// Over all segments of whole signals.
template <class Add>
std::optional<double> mean_of_segments(Add add, std::span<const BandFrame> ref,
                                       std::span<const BandFrame> test) {
  Mean mean;
  for (std::size_t first = 0; first + stoi_segment <= ref.size(); ++first) {
    add(mean, ref.subspan(first, stoi_segment), test.subspan(first, stoi_segment));
  }
  return mean.value();
}

}  // namespace

struct LoudestFrame::Impl {
  explicit Impl(int rate) : resampler(rate), window(hann_window(stoi_frame)) {}
  void look() {
    std::size_t start = 0;
    for (; start + stoi_frame <= signal.size(); start += hop) {
      loudest =
          std::max(loudest, frame_energy(std::span(signal).subspan(start, stoi_frame), window));
    }
    signal.erase(signal.begin(), signal.begin() + static_cast<std::ptrdiff_t>(start));
  }
  StoiResampler resampler;
  std::vector<double> window, signal;
  double loudest = 0.0;
};

LoudestFrame::LoudestFrame(int rate) : impl_(std::make_unique<Impl>(rate)) {}
LoudestFrame::~LoudestFrame() = default;

void LoudestFrame::add(std::span<const float> ref) {
  impl_->resampler.add(ref, impl_->signal);
  impl_->look();
}

double LoudestFrame::finish() {
  impl_->resampler.finish(impl_->signal);
  impl_->look();
  return impl_->loudest;
}

struct IntelligibilityMeter::Impl {
  Impl(int rate, double loudest) : from_ref(rate), from_test(rate), cutter(loudest) {}

  void take_resampled() {
    cutter.add(ref, test, loud_ref, loud_test);
    ref.clear();
    test.clear();
    take_loud();
  }

  void take_loud() {
    ref_splitter.add(loud_ref, ref_bands);
    test_splitter.add(loud_test, test_bands);
    loud_ref.clear();
    loud_test.clear();
    std::size_t first = 0;
    for (; first + stoi_segment <= ref_bands.size(); ++first) {
      const auto x = std::span<const BandFrame>(ref_bands).subspan(first, stoi_segment);
      const auto y = std::span<const BandFrame>(test_bands).subspan(first, stoi_segment);
      add_stoi(stoi, x, y);
      add_estoi(estoi, x, y);
    }
    ref_bands.erase(ref_bands.begin(), ref_bands.begin() + static_cast<std::ptrdiff_t>(first));
    test_bands.erase(test_bands.begin(), test_bands.begin() + static_cast<std::ptrdiff_t>(first));
  }

  StoiResampler from_ref, from_test;
  SilenceCutter cutter;
  BandSplitter ref_splitter, test_splitter;
  std::vector<double> ref, test, loud_ref, loud_test;
  std::vector<BandFrame> ref_bands, test_bands;
  Mean stoi, estoi;
};

IntelligibilityMeter::IntelligibilityMeter(int rate, double loudest)
    : impl_(std::make_unique<Impl>(rate, loudest)) {}
IntelligibilityMeter::~IntelligibilityMeter() = default;

void IntelligibilityMeter::add(std::span<const float> ref, std::span<const float> test) {
  impl_->from_ref.add(ref, impl_->ref);
  impl_->from_test.add(test, impl_->test);
  impl_->take_resampled();
}

void IntelligibilityMeter::finish() {
  impl_->from_ref.finish(impl_->ref);
  impl_->from_test.finish(impl_->test);
  impl_->take_resampled();
  impl_->cutter.finish(impl_->loud_ref, impl_->loud_test);
  impl_->take_loud();
}

std::optional<Intelligibility> IntelligibilityMeter::value() const {
  const auto stoi = impl_->stoi.value(), estoi = impl_->estoi.value();
  if (!stoi || !estoi) return std::nullopt;
  return Intelligibility{*stoi, *estoi};
}

void remove_silence(std::vector<double>& ref, std::vector<double>& test) {
  const std::vector<double> window = hann_window(stoi_frame);
  double loudest = 0.0;
  for (std::size_t start = 0; start + stoi_frame <= ref.size(); start += hop) {
    loudest = std::max(loudest, frame_energy(std::span(ref).subspan(start, stoi_frame), window));
  }
  std::vector<double> short_ref, short_test;
  SilenceCutter cutter(loudest);
  cutter.add(ref, test, short_ref, short_test);
  cutter.finish(short_ref, short_test);
  ref.swap(short_ref);
  test.swap(short_test);
}

std::vector<BandFrame> third_octaves(std::span<const double> signal) {
  std::vector<BandFrame> frames;
  BandSplitter().add(signal, frames);
  return frames;
}

std::optional<double> stoi_of_bands(std::span<const BandFrame> ref,
                                    std::span<const BandFrame> test) {
  return mean_of_segments(add_stoi, ref, test);
}

std::optional<double> estoi_of_bands(std::span<const BandFrame> ref,
                                     std::span<const BandFrame> test) {
  return mean_of_segments(add_estoi, ref, test);
}

std::optional<Intelligibility> intelligibility(std::span<const float> ref,
                                               std::span<const float> test, int rate) {
  LoudestFrame loudest(rate);
  loudest.add(ref);
  IntelligibilityMeter meter(rate, loudest.finish());
  meter.add(ref, test);
  meter.finish();
  return meter.value();
}

}  // namespace quel::tools
