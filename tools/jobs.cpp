#include "tools/jobs.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <memory>
#include <quelcodec/quelcodec.hpp>
#include <span>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "tools/audio_file.h"
#include "tools/eval_text.h"
#include "tools/file_error.h"
#include "tools/ogg_report.h"
#include "tools/ogg_source.h"
#include "tools/raw_units.h"
#include "tools/resampler.h"
#include "tools/sound_encoder.h"
#include "tools/text.h"

namespace quel::tools {
namespace {

/// Twenty a second at 8 kHz, where a file gives any number at once.
constexpr std::size_t block_samples = 400;

/// Passes every tenth of a second of sound on to a meter.
class Pace {
 public:
  Pace(const Meter& meter, int rate)
      : meter_(meter), step_(static_cast<std::uint64_t>(rate) / 10) {}

  template <class Share>
  void at(std::uint64_t samples, Share share) {
    if (!meter_ || samples < next_) return;
    next_ = samples + step_;
    meter_(0.1 * static_cast<double>(samples) / static_cast<double>(step_), share());
  }

 private:
  const Meter& meter_;
  std::uint64_t step_;
  std::uint64_t next_ = step_;
};

std::optional<double> share_of(std::uint64_t done, std::optional<std::uint64_t> whole) {
  if (!whole || *whole == 0) return std::nullopt;
  return std::min(1.0, static_cast<double>(done) / static_cast<double>(*whole));
}

/// Sound on its way out: level, sampling rate, format.
class SoundOutput {
 public:
  SoundOutput(const DecodeSettings& settings, int rate, OutputFile& file, SoundFormat format,
              const SoundTags& tags)
      : rate_(settings.rate > 0 ? settings.rate : rate),
        gain_(static_cast<float>(std::pow(10.0, settings.gain_db / 20.0))),
        as_it_is_(rate_ == rate && settings.gain_db == 0.0),
        resampler_(rate, rate_),
        writer_(make_sound_writer(file, rate_, format, tags)) {}

  int rate() const { return rate_; }
  std::uint64_t samples() const { return samples_; }

  /// What to tell of samples that gain took beyond full scale.
  std::optional<std::string> note(double gain_db) const { return meter_.note(gain_db); }

  void write(std::span<const std::int16_t> pcm) {
    if (as_it_is_) {
      put(pcm);
      return;
    }
    level_.resize(pcm.size());
    std::transform(pcm.begin(), pcm.end(), level_.begin(),
                   [this](std::int16_t x) { return gain_ * (static_cast<float>(x) / 32768.0f); });
    meter_.add(level_);
    resampler_.process(level_, ready_);
    put_ready();
  }

  void finish() {
    resampler_.finish(ready_);
    put_ready();
    writer_->finish();
  }

 private:
  void put(std::span<const std::int16_t> pcm) {
    writer_->write(pcm);
    samples_ += pcm.size();
  }

  void put_ready() {
    pcm_.resize(ready_.size());
    std::transform(ready_.begin(), ready_.end(), pcm_.begin(), to_pcm);
    ready_.clear();
    put(pcm_);
  }

  int rate_;
  float gain_;
  bool as_it_is_;
  LevelMeter meter_;
  Resampler resampler_;
  std::unique_ptr<SoundWriter> writer_;
  std::uint64_t samples_ = 0;
  std::vector<float> level_, ready_;
  std::vector<std::int16_t> pcm_;
};

/// The part of the source's sound that is asked for.
class Part {
 public:
  Part(const DecodeSettings& settings, int rate)
      : skip_(samples_of(settings.start, rate)),
        whole_(skip_ == 0 && !settings.length),
        left_(settings.length ? samples_of(*settings.length, rate)
                              : std::numeric_limits<std::uint64_t>::max()) {}

  bool whole() const { return whole_; }
  bool done() const { return left_ == 0; }
  bool starts_later() const { return skip_ > 0; }

  /// Goes there at once.
  void seek(OggDecoder& decoder) { decoder.seek(std::exchange(skip_, 0)); }

  /// What of the next samples belongs to it.
  std::span<const std::int16_t> of(std::span<const std::int16_t> pcm) {
    const auto skipped = static_cast<std::size_t>(std::min<std::uint64_t>(skip_, pcm.size()));
    const auto given =
        static_cast<std::size_t>(std::min<std::uint64_t>(left_, pcm.size() - skipped));
    skip_ -= skipped;
    left_ -= given;
    return pcm.subspan(skipped, given);
  }

 private:
  static std::uint64_t samples_of(double seconds, int rate) {
    return static_cast<std::uint64_t>(std::llround(seconds * rate));
  }

  std::uint64_t skip_;
  bool whole_;
  std::uint64_t left_;
};

JobResult encode_result(const AudioSource& source, std::uint64_t read,
                        const SoundEncoder& encoder) {
  JobResult result;
  result.samples = encoder.samples();
  result.seconds = static_cast<double>(result.samples) / encoder.rate();
  result.damaged = source.cut_short();
  if (result.damaged) {
    const std::uint64_t whole = source.frames().value_or(0);
    const double seconds = static_cast<double>(whole) / source.rate();
    result.notes.push_back("cut short: coded " + fixed(result.seconds, 3) + " s" +
                           (whole > read ? " of " + fixed(seconds, 3) + " s" : ""));
  }
  return result;
}

}  // namespace

JobResult encode_sound(const EncodeSettings& settings, const std::string& input, OutputFile& output,
                       const Meter& meter) {
  AudioSource source(input, settings.audio);
  SoundEncoder encoder(settings, source, output);
  Pace pace(meter, source.rate());
  std::vector<float> mono(block_samples);
  std::uint64_t read = 0;
  while (const std::size_t got = source.read(mono)) {
    read += got;
    encoder.write(std::span(mono).first(got));
    pace.at(read, [&] { return share_of(read, source.frames()); });
  }
  encoder.finish();
  JobResult result = encode_result(source, read, encoder);
  for (const std::string& note : encoder.notes()) result.notes.push_back(note);
  if (const auto note = source.channel_note()) result.notes.push_back(*note);
  return result;
}

JobResult encode_channels(const EncodeSettings& settings, const std::string& input,
                          const OpenPart& open, const Meter& meter) {
  AudioSource source(input, settings.audio);
  const auto channels = static_cast<std::size_t>(source.channels());
  std::vector<std::unique_ptr<OutputFile>> outputs;
  std::vector<std::unique_ptr<SoundEncoder>> encoders;
  for (std::size_t c = 0; c < channels; ++c) {
    outputs.push_back(open(static_cast<int>(c) + 1));
    outputs.back()->hold_back();
  }
  for (auto& output : outputs) {
    encoders.push_back(std::make_unique<SoundEncoder>(settings, source, *output));
  }
  Pace pace(meter, source.rate());
  std::vector<float> interleaved(block_samples * channels), mono;
  std::uint64_t read = 0;
  while (const std::size_t got = source.read_frames(interleaved)) {
    read += got;
    mono.resize(got);
    for (std::size_t c = 0; c < channels; ++c) {
      for (std::size_t n = 0; n < got; ++n) mono[n] = interleaved[n * channels + c];
      encoders[c]->write(mono);
    }
    pace.at(read, [&] { return share_of(read, source.frames()); });
  }
  for (auto& encoder : encoders) encoder->finish();
  for (auto& output : outputs) output->release();
  JobResult result = encode_result(source, read, *encoders.front());
  for (std::size_t c = 0; c < channels; ++c) {
    for (const std::string& note : encoders[c]->notes()) {
      result.notes.push_back("channel " + std::to_string(c + 1) + ": " + note);
    }
  }
  return result;
}

JobResult decode_sound(const DecodeSettings& settings, const std::string& input, OutputFile& output,
                       const std::string& output_name, const Meter& meter) {
  std::unique_ptr<OggSource> source;
  RawUnits* raw = nullptr;
  if (settings.flavor) {
    auto units = std::make_unique<RawUnits>(input, *settings.flavor);
    raw = units.get();
    source = std::move(units);
  } else {
    source = std::make_unique<FileSource>(input);
  }
  OggReader reader(*source, shown(input));
  OggDecodeOptions options;
  options.concealment = settings.concealment;
  options.enhance = settings.enhance;
  LossPattern losses = settings.losses;
  options.lose = [&losses] { return losses.lost(); };
  OggDecoder decoder(reader, options);
  const int rate = check(quel_sampling_rate(reader.head().flavor));
  SoundOutput sound(settings, rate, output, settings.format.value_or(format_of(output_name)),
                    settings.tags ? known_tags(reader.tags().comments) : SoundTags());

  std::optional<std::uint64_t> bytes;
  std::error_code unknown;
  if (std::filesystem::is_regular_file(input, unknown)) {
    bytes = std::filesystem::file_size(input, unknown);
  }
  Pace pace(meter, rate);
  Part part(settings, rate);
  const bool seeks = part.starts_later() && reader.seekable() && !settings.report_losses;
  if (seeks) part.seek(decoder);
  while (!part.done()) {
    const auto pcm = decoder.next();
    if (pcm.empty()) break;
    sound.write(part.of(pcm));
    if (output.live()) output.flush();
    pace.at(decoder.samples(), [&]() -> std::optional<double> {
      if (!part.whole()) return std::nullopt;
      return share_of(raw != nullptr ? raw->bytes_read() : reader.report().bytes, bytes);
    });
  }
  // What follows the stream, so far as nobody has to wait for it.
  if (!part.done() && reader.seekable()) reader.drain();
  OggReport report = reader.report();
  sound.finish();

  JobResult result;
  result.samples = sound.samples();
  result.seconds = static_cast<double>(result.samples) / sound.rate();
  if (settings.report_losses) {
    result.notes.push_back(std::to_string(decoder.lost_frames()) + " of " +
                           std::to_string(decoder.frames()) + " frames lost");
  }
  if (const auto note = sound.note(settings.gain_db)) result.notes.push_back(*note);
  // Nobody has looked at what follows.
  if (part.done() && !seeks) report.complete = true;
  result.damaged = report.damaged();
  const auto damage = content_notes(
      report, part.done() ? "cut short behind what was decoded"
                          : "cut short: decoded " + counted(result.samples, "sample"));
  result.notes.insert(result.notes.end(), damage.begin(), damage.end());
  if (raw != nullptr && raw->left_over() > 0) {
    result.damaged = true;
    result.notes.push_back("cut short: " + counted(raw->left_over(), "byte") +
                           " after the last whole unit");
  }
  return result;
}

}  // namespace quel::tools
