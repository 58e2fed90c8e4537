#include "tools/sound_encoder.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "tools/audio_file.h"
#include "tools/ogg_writer.h"
#include "tools/text.h"

namespace quel::tools {

namespace {

/// Appends what the source says and the user did not; gives a note for each that has no room.
std::vector<std::string> add_source_tags(OggTags& tags, const SoundTags& source) {
  std::vector<std::string> notes;
  const SoundTags said = tags.comments;
  for (const auto& tag : source) {
    if (std::any_of(said.begin(), said.end(),
                    [&](const auto& each) { return same_name(each.first, tag.first); })) {
      continue;
    }
    tags.comments.push_back(tag);
    try {
      pack_tags(tags);
    } catch (const std::invalid_argument&) {
      tags.comments.pop_back();
      notes.push_back("its tag " + tag.first + " is left out: it has " +
                      std::to_string(tag.second.size()) + " bytes, more than a coded file holds");
    }
  }
  return notes;
}

}  // namespace

/// Units to the output, as a file or bare.
class SoundEncoder::UnitWriter {
 public:
  UnitWriter(const EncodeSettings& settings, const OggHead& head, const OggTags& tags,
             OutputFile& output)
      : output_(output) {
    if (settings.raw) return;
    OggWriterOptions options;
    options.packet_ms = settings.packet_ms;
    options.page_ms = settings.page_ms;
    // Flushed, so that whatever befalls this program a file can be read up to here.
    const auto sink = [this](std::span<const std::uint8_t> page) {
      output_.write(page);
      output_.flush();
    };
    ogg_ = std::make_unique<OggWriter>(sink, head, tags, options);
  }

  void write(std::span<const std::uint8_t> unit) {
    if (ogg_) {
      ogg_->write(unit);
      return;
    }
    output_.write(unit);
    if (output_.live()) output_.flush();
  }

  void write_unsent() { ogg_->write_unsent(); }

  void finish(std::uint64_t samples) {
    if (ogg_) ogg_->finish(samples);
    output_.commit();
  }

 private:
  OutputFile& output_;
  std::unique_ptr<OggWriter> ogg_;
};

int default_flavor(int input_rate) {
  return input_rate >= quel_sampling_rate(QUEL_FLAVOR_16K) ? QUEL_FLAVOR_16K : QUEL_FLAVOR_8K5;
}

int default_effort(int flavor) {
  // The highest that codes at 100 times real time on one core with AVX2. The same in every build,
  // so that all make the same files.
  constexpr int of_flavor[] = {3, 3, 3, 2};
  return of_flavor[flavor];
}

SoundEncoder::SoundEncoder(const EncodeSettings& settings, const AudioSource& source,
                           OutputFile& output)
    : head_(make_head(settings.flavor.value_or(default_flavor(source.rate())),
                      static_cast<std::uint32_t>(source.rate()))),
      rate_(check(quel_sampling_rate(head_.flavor))),
      gain_db_(settings.gain_db),
      gain_(static_cast<float>(std::pow(10.0, settings.gain_db / 20.0))),
      resampler_(source.rate(), rate_),
      encoder_(
          encoder_options(head_.flavor, settings.effort.value_or(default_effort(head_.flavor)))),
      pcm_(encoder_.samples_per_unit()),
      unit_(encoder_.bytes_per_unit()) {
  head_.unsent = settings.dtx;
  OggTags tags = settings.tags;
  if (settings.source_tags && !settings.raw) tag_notes_ = add_source_tags(tags, source.tags());
  writer_ = std::make_unique<UnitWriter>(settings, head_, tags, output);
}

SoundEncoder::~SoundEncoder() = default;

void SoundEncoder::write(std::span<const float> mono) {
  level_.assign(mono.begin(), mono.end());
  for (float& x : level_) x *= gain_;
  meter_.add(level_);
  resampler_.process(level_, ready_);
  code_ready();
}

void SoundEncoder::finish() {
  resampler_.finish(ready_);
  code_ready();
  // Past the end, silence pushes the last samples through the delay.
  while (units_ < unit_count(head_, samples_)) {
    std::fill(pcm_.begin() + static_cast<std::ptrdiff_t>(filled_), pcm_.end(), std::int16_t{0});
    code_unit();
  }
  if (waits_) writer_->write(unit_);
  writer_->finish(samples_);
}

std::vector<std::string> SoundEncoder::notes() const {
  std::vector<std::string> notes = tag_notes_;
  if (const auto clipped = meter_.note(gain_db_)) notes.push_back(*clipped);
  return notes;
}

void SoundEncoder::code_ready() {
  for (std::span<const float> rest = ready_; !rest.empty();) {
    const std::size_t count = std::min(rest.size(), pcm_.size() - filled_);
    std::transform(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(count),
                   pcm_.begin() + static_cast<std::ptrdiff_t>(filled_), to_pcm);
    rest = rest.subspan(count);
    filled_ += count;
    samples_ += count;
    if (filled_ == pcm_.size()) code_unit();
  }
  ready_.clear();
}

void SoundEncoder::code_unit() {
  if (waits_) writer_->write_unsent();
  encoder_.encode(pcm_, unit_);
  waits_ = head_.unsent && !encoder_.unit_needed();
  if (!waits_) writer_->write(unit_);
  ++units_;
  filled_ = 0;
}

}  // namespace quel::tools
