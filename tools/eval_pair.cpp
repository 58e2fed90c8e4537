#include "tools/eval_pair.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "tools/audio_file.h"
#include "tools/eval_compare.h"
#include "tools/eval_text.h"
#include "tools/file_error.h"

namespace quel::tools {
namespace {

using Pcm = std::vector<std::int16_t>;

constexpr int coarse_rate = 2000;
constexpr int coarse_seconds = 30, fine_seconds = 10;
constexpr std::int64_t longest_delay = 2 * coarse_rate;
constexpr std::size_t block_samples = 8192;

Pcm start_of(const std::string& path, int rate, int seconds) {
  Pcm pcm(static_cast<std::size_t>(rate) * static_cast<std::size_t>(seconds));
  AudioReader reader(path, rate);
  pcm.resize(reader.read(pcm));
  if (pcm.empty()) throw FileError(path, "holds no sound");
  return pcm;
}

Delay delay_of(const std::string& reference, const std::string& decoded, int rate) {
  const Delay coarse =
      find_delay(start_of(reference, coarse_rate, coarse_seconds),
                 start_of(decoded, coarse_rate, coarse_seconds), -longest_delay, longest_delay);
  const std::int64_t near = coarse.samples * rate / coarse_rate, around = rate / coarse_rate + 1;
  // What is compared has to reach behind the delay itself.
  return find_delay(start_of(reference, rate, fine_seconds), start_of(decoded, rate, fine_seconds),
                    near - around, near + around);
}

void skip(AudioReader& reader, std::int64_t samples) {
  Pcm pcm(block_samples);
  while (samples > 0) {
    const auto count = std::min<std::int64_t>(samples, block_samples);
    if (reader.read(std::span(pcm).first(static_cast<std::size_t>(count))) == 0) return;
    samples -= count;
  }
}

/// Calls `take` with the parts of both that lie together.
template <class Take>
void walk(const PairReport& report, Take take) {
  AudioReader reference(report.reference, report.rate), decoded(report.decoded, report.rate);
  skip(reference, -report.delay.samples);
  skip(decoded, report.delay.samples);
  Pcm x(block_samples), y(block_samples);
  for (;;) {
    const std::size_t count = std::min(reference.read(x), decoded.read(y));
    if (count == 0) return;
    take(std::span<const std::int16_t>(x).first(count),
         std::span<const std::int16_t>(y).first(count));
    if (count < block_samples) return;
  }
}

std::optional<double> if_finite(double value) {
  if (!std::isfinite(value)) return std::nullopt;
  return value;
}

using Figures = std::vector<std::pair<const char*, std::optional<double>>>;

Figures figures_of(const PairReport& report) {
  const auto& heard = report.intelligible;
  return {{"snr_db", report.snr},
          {"segmental_snr_db", report.segmental},
          {"codec_snr_db", report.codec_snr},
          {"codec_segmental_snr_db", report.codec_segmental},
          {"log_spectral_distortion_db", report.distortion},
          {"stoi", heard ? std::optional(heard->stoi) : std::nullopt},
          {"estoi", heard ? std::optional(heard->estoi) : std::nullopt}};
}

double delay_ms(const PairReport& report) {
  return 1000.0 * static_cast<double>(report.delay.samples) / report.rate;
}

}  // namespace

PairReport compare_files(const std::string& reference, const std::string& decoded) {
  PairReport report;
  report.reference = reference;
  report.decoded = decoded;
  report.rate = std::min(AudioSource(reference).rate(), AudioSource(decoded).rate());
  report.delay = delay_of(reference, decoded, report.rate);
  LoudestFrame loudest(report.rate);
  std::uint64_t samples = 0;
  walk(report, [&](auto x, auto) {
    loudest.add(std::vector<float>(x.begin(), x.end()));
    samples += x.size();
  });
  report.seconds = static_cast<double>(samples) / report.rate;
  Comparison comparison(report.rate, loudest.finish());
  walk(report, [&](auto x, auto y) { comparison.add(std::vector<float>(x.begin(), x.end()), y); });
  comparison.finish();
  if (const auto snr = comparison.snr()) {
    report.snr = if_finite(snr->snr);
    report.segmental = if_finite(snr->segmental);
  }
  if (comparison.totals().cntsnr > 0.0f) {
    report.codec_snr = if_finite(static_cast<double>(comparison.totals().snr));
    report.codec_segmental = if_finite(static_cast<double>(comparison.totals().segsnr));
  }
  report.distortion = comparison.distortion();
  report.intelligible = comparison.intelligible();
  return report;
}

std::string pair_text(const PairReport& report) {
  const auto cell = [](const std::optional<double>& value, int decimals) {
    return value ? fixed(*value, decimals) : std::string("-");
  };
  const auto& heard = report.intelligible;
  return "delay     " + std::to_string(report.delay.samples) + " samples at " +
         std::to_string(report.rate) + " Hz, " + fixed(delay_ms(report), 2) + " ms (correlation " +
         fixed(report.delay.correlation, 3) + ")\n" + "compared  " + fixed(report.seconds, 3) +
         " s\n" + "SNR       " + cell(report.snr, 2) + " dB, segmental " +
         cell(report.segmental, 2) + " dB\n" + "codec SNR " + cell(report.codec_snr, 2) +
         " dB, segmental " + cell(report.codec_segmental, 2) + " dB\n" + "LSD       " +
         cell(report.distortion, 2) + " dB\n" + "STOI      " +
         (heard ? fixed(heard->stoi, 3) : "-") + ", ESTOI " +
         (heard ? fixed(heard->estoi, 3) : "-") + "\n";
}

std::string pair_json(const PairReport& report) {
  std::string out = "{\n  \"reference\": " + json_string(report.reference) +
                    ",\n  \"decoded\": " + json_string(report.decoded) +
                    ",\n  \"sampling_rate\": " + std::to_string(report.rate) +
                    ",\n  \"seconds\": " + shortest(report.seconds) +
                    ",\n  \"delay_samples\": " + std::to_string(report.delay.samples) +
                    ",\n  \"delay_ms\": " + shortest(delay_ms(report)) +
                    ",\n  \"correlation\": " + shortest(report.delay.correlation);
  for (const auto& [name, value] : figures_of(report)) {
    out += ",\n  \"" + std::string(name) + "\": " + (value ? shortest(*value) : "null");
  }
  return out + "\n}\n";
}

}  // namespace quel::tools
