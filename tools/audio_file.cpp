#include "tools/audio_file.h"

#include <algorithm>
#include <cmath>

namespace quel::tools {
namespace {

constexpr std::size_t block_samples = 4096;

}  // namespace

std::int16_t to_pcm(float x) {
  const float y = std::clamp(x * 32768.0f, -32768.0f, 32767.0f);
  return static_cast<std::int16_t>(std::lrint(y));
}

AudioReader::AudioReader(const std::string& path, int rate, const AudioOptions& options)
    : source_(path, options), resampler_(source_.rate(), rate), mono_(block_samples) {}

// Reads what there is of a block, or, where the sound has ended, takes what the resampler still
// holds.
void AudioReader::read_block() {
  ready_.erase(ready_.begin(), ready_.begin() + static_cast<std::ptrdiff_t>(used_));
  used_ = 0;
  const std::size_t got = source_.read(mono_);
  resampler_.process(std::span(mono_).first(got), ready_);
  if (got > 0) return;
  resampler_.finish(ready_);
  ended_ = true;
}

std::size_t AudioReader::read(std::span<std::int16_t> pcm) {
  std::size_t done = 0;
  while (done < pcm.size()) {
    const std::size_t count = std::min(pcm.size() - done, ready_.size() - used_);
    const float* from = ready_.data() + used_;
    std::transform(from, from + count, pcm.data() + done, to_pcm);
    used_ += count;
    done += count;
    if (done == pcm.size() || (ended_ && count == 0)) break;
    if (!ended_) read_block();
  }
  return done;
}

std::vector<std::int16_t> read_audio(const std::string& path, int rate, bool* cut_short) {
  AudioReader reader(path, rate);
  std::vector<std::int16_t> pcm;
  constexpr std::size_t block = 65536;
  for (std::size_t got = block; got == block;) {
    const std::size_t size = pcm.size();
    pcm.resize(size + block);
    got = reader.read(std::span(pcm).subspan(size));
    pcm.resize(size + got);
  }
  if (cut_short != nullptr) *cut_short = reader.cut_short();
  return pcm;
}

}  // namespace quel::tools
