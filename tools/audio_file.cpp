#include "tools/audio_file.h"

#include <fcntl.h>
#include <sndfile.h>
#include <soxr.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>

#include "tools/file_error.h"

namespace quel::tools {
namespace {

constexpr int block_frames = 4096;
constexpr int lowest_rate = 1000;
constexpr int highest_rate = 1000000;

/// "System error." -> "System error"
std::string without_stop(std::string text) {
  while (!text.empty() && (text.back() == '.' || text.back() == ' ')) text.pop_back();
  return text;
}

/// Full scale 1.0 to 16 bits, nearest (halves to even), clipped.
std::int16_t to_pcm(float x) {
  const float y = std::nearbyint(x * 32768.0f);
  return static_cast<std::int16_t>(std::clamp(y, -32768.0f, 32767.0f));
}

void put_le(std::vector<std::uint8_t>& out, std::uint32_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

void put_text(std::vector<std::uint8_t>& out, const char* text) {
  out.insert(out.end(), text, text + std::strlen(text));
}

struct CloseSound {
  void operator()(SNDFILE* file) const { sf_close(file); }
};
struct DeleteResampler {
  void operator()(soxr* resampler) const { soxr_delete(resampler); }
};

}  // namespace

struct AudioReader::Impl {
  std::string path;
  SF_INFO info{};
  std::unique_ptr<SNDFILE, CloseSound> file;
  std::unique_ptr<soxr, DeleteResampler> resampler;  // null where the rates are equal
  double ratio = 1.0;                                // output samples per input sample
  bool ended = false;
  std::vector<float> interleaved, mono, ready;  // ready[used..] waits to be read
  std::size_t used = 0;

  void open(int rate);
  void read_block();
  void resample(const float* in, std::size_t count);
};

void AudioReader::Impl::open(int rate) {
  // Opened here, since the system's own words are clearer than the library's where that fails.
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) throw FileError(path, std::strerror(errno));
  file.reset(sf_open_fd(descriptor, SFM_READ, &info, /*close_desc=*/SF_TRUE));
  if (!file) {
    throw FileError(path, "no readable audio file (" + without_stop(sf_strerror(nullptr)) + ")");
  }
  if (info.samplerate < lowest_rate || info.samplerate > highest_rate) {
    throw FileError(path, "its sampling rate of " + std::to_string(info.samplerate) +
                              " Hz is outside " + std::to_string(lowest_rate) + " to " +
                              std::to_string(highest_rate) + " Hz");
  }
  if (info.samplerate == rate) return;
  ratio = static_cast<double>(rate) / info.samplerate;
  const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
  const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
  soxr_error_t error = nullptr;
  resampler.reset(soxr_create(info.samplerate, rate, 1, &error, &io, &quality, nullptr));
  if (error != nullptr) throw FileError(path, std::string("resampling: ") + error);
}

// Reads a block, or, where the file has ended, takes what the resampler still holds.
void AudioReader::Impl::read_block() {
  ready.erase(ready.begin(), ready.begin() + static_cast<std::ptrdiff_t>(used));
  used = 0;
  const auto channels = static_cast<std::size_t>(info.channels);
  interleaved.resize(block_frames * channels);
  const auto frames =
      static_cast<std::size_t>(sf_readf_float(file.get(), interleaved.data(), block_frames));
  if (frames == 0) {
    if (sf_error(file.get()) != SF_ERR_NO_ERROR) {
      throw FileError(path, "damaged (" + without_stop(sf_strerror(file.get())) + ")");
    }
    ended = true;
    if (resampler) resample(nullptr, 0);
    return;
  }
  mono.resize(frames);
  for (std::size_t n = 0; n < frames; ++n) {
    double sum = 0.0;
    for (std::size_t c = 0; c < channels; ++c) sum += interleaved[n * channels + c];
    const auto mean = static_cast<float>(sum / info.channels);
    mono[n] = std::isfinite(mean) ? mean : 0.0f;
  }
  if (resampler) {
    resample(mono.data(), frames);
  } else {
    ready.insert(ready.end(), mono.begin(), mono.end());
  }
}

void AudioReader::Impl::resample(const float* in, std::size_t count) {
  const std::size_t room = static_cast<std::size_t>(block_frames * ratio) + 64;
  std::size_t consumed = 0, produced = 0;
  do {
    const std::size_t old_size = ready.size();
    ready.resize(old_size + room);
    std::size_t taken = 0;
    const soxr_error_t error =
        soxr_process(resampler.get(), in == nullptr ? nullptr : in + consumed, count - consumed,
                     &taken, ready.data() + old_size, room, &produced);
    ready.resize(old_size + produced);
    if (error != nullptr) throw FileError(path, std::string("resampling: ") + error);
    consumed += taken;
  } while (consumed < count || produced == room || (in == nullptr && produced > 0));
}

AudioReader::AudioReader(const std::string& path, int rate) : impl_(std::make_unique<Impl>()) {
  impl_->path = path;
  impl_->open(rate);
}

AudioReader::~AudioReader() = default;

std::size_t AudioReader::read(std::span<std::int16_t> pcm) {
  std::size_t done = 0;
  while (done < pcm.size()) {
    const std::size_t count = std::min(pcm.size() - done, impl_->ready.size() - impl_->used);
    const float* from = impl_->ready.data() + impl_->used;
    std::transform(from, from + count, pcm.data() + done, to_pcm);
    impl_->used += count;
    done += count;
    if (done == pcm.size() || (impl_->ended && count == 0)) break;
    if (!impl_->ended) impl_->read_block();
  }
  return done;
}

std::vector<std::int16_t> read_audio(const std::string& path, int rate) {
  AudioReader reader(path, rate);
  std::vector<std::int16_t> pcm;
  constexpr std::size_t block = 65536;
  for (std::size_t got = block; got == block;) {
    const std::size_t size = pcm.size();
    pcm.resize(size + block);
    got = reader.read(std::span(pcm).subspan(size));
    pcm.resize(size + got);
  }
  return pcm;
}

WavWriter::WavWriter(OutputFile& file, int rate) : file_(file), rate_(rate) {
  file_.write(header());  // sizes follow in finish()
}

void WavWriter::write(std::span<const std::int16_t> pcm) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(2 * pcm.size());
  for (const std::int16_t x : pcm) put_le(bytes, static_cast<std::uint16_t>(x), 2);
  file_.write(bytes);
  samples_ += static_cast<std::uint32_t>(pcm.size());
}

void WavWriter::finish() {
  file_.rewrite_start(header());
  file_.commit();
}

std::vector<std::uint8_t> WavWriter::header() const {
  const std::uint32_t data_bytes = 2 * samples_;
  const auto rate = static_cast<std::uint32_t>(rate_);
  std::vector<std::uint8_t> out;
  put_text(out, "RIFF");
  put_le(out, 36 + data_bytes, 4);
  put_text(out, "WAVEfmt ");
  put_le(out, 16, 4);        // bytes of this chunk
  put_le(out, 1, 2);         // PCM
  put_le(out, 1, 2);         // channels
  put_le(out, rate, 4);      // samples per second
  put_le(out, 2 * rate, 4);  // bytes per second
  put_le(out, 2, 2);         // bytes per sample
  put_le(out, 16, 2);        // bits per sample
  put_text(out, "data");
  put_le(out, data_bytes, 4);
  return out;
}

}  // namespace quel::tools
