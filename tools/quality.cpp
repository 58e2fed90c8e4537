#include "tools/quality.h"

#include <ctime>

#include <algorithm>
#include <array>
#include <cmath>

#include "dsp/hp_2nd.h"
#include "tools/ogg_writer.h"

namespace quel::tools {
namespace {

constexpr double activity_dbov = -50.0;
constexpr double lowest_segment = -10.0;
constexpr double highest_segment = 35.0;

double ratio_db(double signal, double error) {
  return 10.0 * std::log10(signal / error);
}

double thread_seconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

void high_pass(std::vector<float>& signal, const float* a, const float* b) {
  if (signal.empty()) return;
  std::array<float, 2> memx{}, memy{};
  hp_2nd(signal.data(), static_cast<int>(signal.size()), a, b, memx.data(), memy.data());
}

}  // namespace

std::optional<SnrFigures> snr_figures(std::span<const float> ref,
                                      std::span<const std::int16_t> test, int rate) {
  const auto segment = static_cast<std::size_t>(rate / 50);
  const double activity = 32768.0 * 32768.0 * std::pow(10.0, activity_dbov / 10.0);
  SnrFigures figures;
  double signal = 0.0, error = 0.0, segment_signal = 0.0, segment_error = 0.0;
  for (std::size_t n = 0; n < ref.size(); ++n) {
    const double e = static_cast<double>(ref[n]) - test[n];
    segment_signal += static_cast<double>(ref[n]) * ref[n];
    segment_error += e * e;
    const bool whole = (n + 1) % segment == 0;
    if (!whole && n + 1 < ref.size()) continue;
    signal += segment_signal;
    error += segment_error;
    if (whole && segment_signal / static_cast<double>(segment) > activity) {
      figures.segmental +=
          std::clamp(ratio_db(segment_signal, segment_error), lowest_segment, highest_segment);
      ++figures.segments;
    }
    segment_signal = segment_error = 0.0;
  }
  if (figures.segments == 0) return std::nullopt;
  figures.snr = ratio_db(signal, error);
  figures.segmental /= figures.segments;
  return figures;
}

std::vector<float> reference(int flavor, std::span<const std::int16_t> pcm) {
  std::vector<float> signal(pcm.begin(), pcm.end());
  if (flavor == QUEL_FLAVOR_16K) return signal;
  high_pass(signal, a_200, b_200);
  high_pass(signal, a_100, b_100);
  return signal;
}

Trial try_codec(int flavor, int effort, std::span<const std::int16_t> pcm,
                const DecodeOptions& options, std::vector<std::int16_t>* heard) {
  const std::size_t units = static_cast<std::size_t>(unit_count(make_head(flavor, 0), pcm.size()));
  const int rate = check(quel_sampling_rate(flavor));
  Encoder encoder(encoder_options(flavor, effort));
  const std::size_t unit_samples = encoder.samples_per_unit();
  const std::size_t unit_bytes = encoder.bytes_per_unit();
  std::vector<std::int16_t> input(pcm.begin(), pcm.end());
  input.resize(units * unit_samples);
  std::vector<std::uint8_t> coded(units * unit_bytes);
  std::vector<std::int16_t> decoded;
  decoded.reserve(pcm.size());

  Trial trial;
  double start = thread_seconds();
  std::vector<bool> sent(units, true);
  for (std::size_t u = 0; u < units; ++u) {
    const std::size_t bytes =
        encoder.encode(std::span(input).subspan(u * unit_samples, unit_samples),
                       std::span(coded).subspan(u * unit_bytes, unit_bytes));
    sent[u] = !options.dtx || encoder.unit_needed();
    if (sent[u]) trial.bytes += bytes;
  }
  const auto left_out = std::count(sent.begin(), sent.end(), false);
  trial.unsent = static_cast<std::uint32_t>(left_out * check(quel_frames_per_unit(flavor)));
  trial.encode_seconds = thread_seconds() - start;
  trial.coded_seconds = static_cast<double>(units * unit_samples) / rate;

  AlignedDecoder decoder(flavor, pcm.size(), options);
  start = thread_seconds();
  for (std::size_t u = 0; u < units; ++u) {
    const auto part =
        decoder.decode(std::span(coded).subspan(u * unit_bytes, sent[u] ? unit_bytes : 0));
    decoded.insert(decoded.end(), part.begin(), part.end());
  }
  trial.decode_seconds = thread_seconds() - start;
  decoded.resize(pcm.size());  // deferred concealment may give less
  trial.frames = decoder.frames();
  trial.lost = decoder.lost();
  trial.lost_frames = decoder.lost_frames();
  trial.figures = snr_figures(reference(flavor, pcm), decoded, rate);
  if (heard != nullptr) heard->swap(decoded);
  return trial;
}

void Summary::add(const Trial& trial) {
  if (trial.figures) {
    ++files_;
    snr_sum_ += trial.figures->snr;
    segmental_sum_ += trial.figures->segmental;
  }
  total_.bytes += trial.bytes;
  total_.coded_seconds += trial.coded_seconds;
  total_.encode_seconds += trial.encode_seconds;
  total_.decode_seconds += trial.decode_seconds;
  total_.frames += trial.frames;
  total_.lost += trial.lost;
  total_.unsent += trial.unsent;
}

double Summary::snr() const {
  return snr_sum_ / files_;
}
double Summary::segmental() const {
  return segmental_sum_ / files_;
}
double Summary::bit_rate() const {
  return 8.0 * static_cast<double>(total_.bytes) / total_.coded_seconds;
}
double Summary::encode_speed() const {
  return total_.coded_seconds / total_.encode_seconds;
}
double Summary::decode_speed() const {
  return total_.coded_seconds / total_.decode_seconds;
}

}  // namespace quel::tools
