#include "tools/quality.h"

#include <ctime>

#include <algorithm>
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

}  // namespace

SnrMeter::SnrMeter(int rate) : segment_(static_cast<std::size_t>(rate / 50)) {}

void SnrMeter::add(std::span<const float> ref, std::span<const std::int16_t> test) {
  for (std::size_t n = 0; n < ref.size(); ++n) {
    const double e = static_cast<double>(ref[n]) - test[n];
    segment_signal_ += static_cast<double>(ref[n]) * ref[n];
    segment_error_ += e * e;
    if (++filled_ == segment_) end_segment(true);
  }
}

void SnrMeter::finish() {
  if (filled_ > 0) end_segment(false);
}

void SnrMeter::end_segment(bool whole) {
  static const double activity = 32768.0 * 32768.0 * std::pow(10.0, activity_dbov / 10.0);
  signal_ += segment_signal_;
  error_ += segment_error_;
  if (whole && segment_signal_ / static_cast<double>(segment_) > activity) {
    segmental_ +=
        std::clamp(ratio_db(segment_signal_, segment_error_), lowest_segment, highest_segment);
    ++segments_;
  }
  segment_signal_ = segment_error_ = 0.0;
  filled_ = 0;
}

std::optional<SnrFigures> SnrMeter::figures() const {
  if (segments_ == 0) return std::nullopt;
  return SnrFigures{ratio_db(signal_, error_), segmental_ / segments_, segments_};
}

std::optional<SnrFigures> snr_figures(std::span<const float> ref,
                                      std::span<const std::int16_t> test, int rate) {
  SnrMeter meter(rate);
  meter.add(ref, test);
  meter.finish();
  return meter.figures();
}

std::vector<float> reference(int flavor, std::span<const std::int16_t> pcm) {
  return ReferenceFilter(flavor).next(pcm);
}

std::vector<float> ReferenceFilter::next(std::span<const std::int16_t> pcm) {
  std::vector<float> signal(pcm.begin(), pcm.end());
  if (flavor_ == QUEL_FLAVOR_16K || signal.empty()) return signal;
  const auto size = static_cast<int>(signal.size());
  hp_2nd(signal.data(), size, a_200, b_200, memory_[0].data(), memory_[1].data());
  hp_2nd(signal.data(), size, a_100, b_100, memory_[2].data(), memory_[3].data());
  return signal;
}

Trial run_codec(int flavor, int effort, std::uint64_t samples, const DecodeOptions& options,
                const std::function<std::size_t(std::span<std::int16_t>)>& read,
                const std::function<void(std::span<const std::int16_t>)>& heard) {
  constexpr std::uint64_t batch = 64;  // units between looks at the clock
  const std::uint64_t units = unit_count(make_head(flavor, 0), samples);
  Encoder encoder(encoder_options(flavor, effort));
  AlignedDecoder decoder(flavor, static_cast<std::size_t>(samples), options);
  const std::size_t unit_samples = encoder.samples_per_unit();
  const std::size_t unit_bytes = encoder.bytes_per_unit();
  std::vector<std::int16_t> input(batch * unit_samples), decoded;
  std::vector<std::uint8_t> coded(batch * unit_bytes);
  const int frames = check(quel_frames_per_unit(flavor));
  std::vector<bool> sent(batch);
  Trial trial;
  std::uint64_t given = 0;
  for (std::uint64_t done = 0; done < units;) {
    const auto count = static_cast<std::size_t>(std::min(batch, units - done));
    const std::size_t got = read(std::span(input).first(count * unit_samples));
    std::fill(input.begin() + static_cast<std::ptrdiff_t>(got), input.end(), std::int16_t{0});
    double start = thread_seconds();
    for (std::size_t u = 0; u < count; ++u) {
      const std::size_t bytes =
          encoder.encode(std::span(input).subspan(u * unit_samples, unit_samples),
                         std::span(coded).subspan(u * unit_bytes, unit_bytes));
      sent[u] = !options.dtx || encoder.unit_needed();
      if (sent[u]) trial.bytes += bytes;
    }
    trial.encode_seconds += thread_seconds() - start;
    decoded.clear();
    start = thread_seconds();
    for (std::size_t u = 0; u < count; ++u) {
      const auto part =
          decoder.decode(std::span(coded).subspan(u * unit_bytes, sent[u] ? unit_bytes : 0));
      if (!sent[u]) trial.unsent += static_cast<std::uint32_t>(frames);
      decoded.insert(decoded.end(), part.begin(), part.end());
    }
    trial.decode_seconds += thread_seconds() - start;
    heard(decoded);
    given += decoded.size();
    done += count;
  }
  // Deferred concealment may give less.
  for (decoded.assign(batch * unit_samples, 0); given < samples;) {
    const auto count =
        static_cast<std::size_t>(std::min<std::uint64_t>(decoded.size(), samples - given));
    heard(std::span<const std::int16_t>(decoded).first(count));
    given += count;
  }
  trial.coded_seconds = static_cast<double>(units * unit_samples) /
                        static_cast<double>(check(quel_sampling_rate(flavor)));
  trial.frames = decoder.frames();
  trial.lost = decoder.lost();
  trial.lost_frames = decoder.lost_frames();
  return trial;
}

Trial try_codec(int flavor, int effort, std::span<const std::int16_t> pcm,
                const DecodeOptions& options, std::vector<std::int16_t>* heard) {
  std::vector<std::int16_t> decoded;
  decoded.reserve(pcm.size());
  std::span<const std::int16_t> rest = pcm;
  const auto read = [&rest](std::span<std::int16_t> to) {
    const std::size_t count = std::min(to.size(), rest.size());
    std::copy_n(rest.begin(), count, to.begin());
    rest = rest.subspan(count);
    return count;
  };
  const auto keep = [&decoded](std::span<const std::int16_t> part) {
    decoded.insert(decoded.end(), part.begin(), part.end());
  };
  Trial trial = run_codec(flavor, effort, pcm.size(), options, read, keep);
  trial.figures = snr_figures(reference(flavor, pcm), decoded, check(quel_sampling_rate(flavor)));
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
