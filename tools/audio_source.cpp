#include "tools/audio_source.h"

#include <fcntl.h>
#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <exception>
#include <vector>

#include "tools/bare_pipe.h"
#include "tools/file_error.h"
#include "tools/level_meter.h"
#include "tools/ogg_head.h"
#include "tools/sound_length.h"
#include "tools/sound_library.h"
#include "tools/wav_pipe.h"

namespace quel::tools {
namespace {

constexpr std::size_t block_frames = 4096;
constexpr int lowest_rate = 1000;
constexpr int highest_rate = 1000000;

/// "System error." -> "System error"
std::string without_stop(std::string text) {
  while (!text.empty() && (text.back() == '.' || text.back() == ' ')) text.pop_back();
  return text;
}

struct CloseSound {
  void operator()(SNDFILE* file) const { sf_close(file); }
};

}  // namespace

struct AudioSource::Impl {
  std::string path;
  AudioOptions options;
  int descriptor = -1;
  SF_INFO info{};
  std::optional<PipeInput> pipe;
  BarePipe bare{};
  std::unique_ptr<SNDFILE, CloseSound> file;
  std::string refusal;  // why there is no `file`
  std::optional<SampleBytes> samples;
  std::optional<std::uint64_t> frames;
  std::uint64_t frames_read = 0;
  bool cut = false;
  bool ended = false;
  std::vector<float> interleaved;
  SoundTags tags;
  ChannelMeter together;

  ~Impl() {
    file.reset();
    if (descriptor > STDIN_FILENO) close(descriptor);
  }

  std::string shown() const { return path == "-" ? "standard input" : path; }
  void open();
  int duplicate(int other) const;
  void open_file(int own);
  void open_pipe();
  void open_bare(const WavStreamFormat& format);
  int spool();
  void refuse_coded(int own) const;
  bool is_flac() const { return (info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_FLAC; }
  std::size_t read_frames(float* joint, std::size_t count);
  void join_channels(const float* joint, float* mono, std::size_t count);
  void find_tags();
  void look_for_cut();
};

void AudioSource::Impl::open() {
  // Opened here, since the system's own words are clearer than the library's where that fails.
  descriptor = path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) throw FileError(path, std::strerror(errno));
  struct stat status {};
  if (fstat(descriptor, &status) != 0) throw FileError(shown(), std::strerror(errno));
  if (S_ISDIR(status.st_mode)) throw FileError(shown(), std::strerror(EISDIR));
  if (options.raw_rate > 0) {
    info.samplerate = options.raw_rate;
    info.channels = options.raw_channels;
    info.format = SF_FORMAT_RAW | SF_FORMAT_PCM_16 |
                  (options.raw_big_endian ? SF_ENDIAN_BIG : SF_ENDIAN_LITTLE);
  }
  if (S_ISREG(status.st_mode) && lseek(descriptor, 0, SEEK_CUR) == 0) {
    open_file(duplicate(descriptor));
    // A recorder was killed before it could tell the length: as from a pipe, up to the end.
    if (frames == 0 && samples && !samples->claimed && samples->there > 0) {
      file.reset();
      info = {};
      if (lseek(descriptor, 0, SEEK_SET) != 0) throw FileError(shown(), std::strerror(errno));
      open_pipe();
    }
  } else {
    open_pipe();
  }
  if (!file) {
    throw FileError(shown(), "no readable audio file (" + without_stop(refusal) + ")");
  }
  find_tags();
  if (info.samplerate < lowest_rate || info.samplerate > highest_rate) {
    throw FileError(shown(), "its sampling rate of " + std::to_string(info.samplerate) +
                                 " Hz is outside " + std::to_string(lowest_rate) + " to " +
                                 std::to_string(highest_rate) + " Hz");
  }
  if (options.channel > info.channels) {
    throw FileError(shown(), "has no channel " + std::to_string(options.channel) + ", only " +
                                 std::to_string(info.channels));
  }
}

void AudioSource::Impl::find_tags() {
  for (const SoundTagKind& kind : sound_tag_kinds()) {
    const char* const text = sf_get_string(file.get(), kind.library);
    if (text != nullptr && *text != '\0') tags.emplace_back(kind.name, unicode_text(text));
  }
}

int AudioSource::Impl::duplicate(int other) const {
  const int copy = fcntl(other, F_DUPFD_CLOEXEC, 0);
  if (copy < 0) {
    throw FileError(shown(), std::string("cannot be opened twice: ") + std::strerror(errno));
  }
  return copy;
}

// Its own descriptor: where the library refuses a file it closes what it was given, whatever it is
// told, and the number may stand for another thread's file by the time this one closes it again.
void AudioSource::Impl::open_file(int own) {
  try {
    refuse_coded(own);
  } catch (...) {
    close(own);
    throw;
  }
  file.reset(open_sound([&] { return sf_open_fd(own, SFM_READ, &info, /*close_desc=*/SF_TRUE); },
                        refusal));
  if (!file) return;
  if (options.raw_rate == 0) samples = find_samples(own);
  cut = samples && samples->cut();
  frames = static_cast<std::uint64_t>(std::max<sf_count_t>(0, info.frames));
  if (*frames >= BarePipe::endless) frames.reset();  // FLAC out of a pipe does not tell
}

// The library would take the samples of a coded file for nothing that it knows, or for worse.
void AudioSource::Impl::refuse_coded(int own) const {
  std::array<std::uint8_t, 64> start{};
  constexpr std::size_t page_head = 28;  // of an Ogg page with one packet of less than 255 bytes
  const ssize_t got = options.raw_rate > 0 ? 0 : pread(own, start.data(), start.size(), 0);
  if (got > static_cast<ssize_t>(page_head) &&
      looks_like_head(std::span(start).first(static_cast<std::size_t>(got)).subspan(page_head))) {
    throw FileError(shown(), "is coded already; quel decode makes sound of it");
  }
}

void AudioSource::Impl::open_pipe() {
  frames.reset();
  pipe.emplace(descriptor, shown());
  if (options.raw_rate > 0) {
    open_bare({SF_FORMAT_PCM_16, options.raw_rate, options.raw_channels, {}, {}, 2});
  } else if (const auto format = read_wav_header(*pipe)) {
    tags = format->tags;
    info.format = SF_FORMAT_RAW | format->subtype | SF_ENDIAN_LITTLE;
    open_bare(*format);
  } else {
    open_file(spool());
  }
}

void AudioSource::Impl::open_bare(const WavStreamFormat& format) {
  info.samplerate = format.rate;
  info.channels = format.channels;
  const auto frame_bytes = static_cast<std::uint64_t>(format.sample_bytes * format.channels);
  bare = {&*pipe,
          format.bytes.value_or(BarePipe::endless),
          std::max<std::uint64_t>(1, frame_bytes),
          0,
          {}};
  SF_VIRTUAL_IO io = BarePipe::functions();
  file.reset(open_sound([&] { return sf_open_virtual(&io, SFM_READ, &info, &bare); }, refusal));
  if (file && format.bytes) frames = static_cast<std::uint64_t>(info.frames);
}

// Most formats cannot be read without going back and forth. The file has no name and goes with its
// descriptor.
int AudioSource::Impl::spool() {
  const auto fail = [this] {
    throw FileError(shown(),
                    std::string("no temporary file to keep it in: ") + std::strerror(errno));
  };
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> spooled(std::tmpfile(), std::fclose);
  if (!spooled) fail();
  std::array<std::uint8_t, 65536> bytes;
  for (std::size_t got = bytes.size(); got == bytes.size();) {
    got = pipe->read(bytes.data(), bytes.size());
    if (std::fwrite(bytes.data(), 1, got, spooled.get()) != got) fail();
  }
  if (std::fflush(spooled.get()) != 0) fail();
  std::rewind(spooled.get());
  return duplicate(fileno(spooled.get()));
}

// What is there of so many frames, at least one of them, or none at the end.
std::size_t AudioSource::Impl::read_frames(float* joint, std::size_t count) {
  if (ended) return 0;
  const auto got = static_cast<std::size_t>(
      std::max<sf_count_t>(0, sf_readf_float(file.get(), joint, static_cast<sf_count_t>(count))));
  if (bare.error) std::rethrow_exception(bare.error);
  frames_read += got;
  // The next call would forget it.
  if (got < count && sf_error(file.get()) != SF_ERR_NO_ERROR) {
    // A frame of FLAC that is not whole: what came before it is sound, what comes after it would
    // lie in the wrong place.
    if (!is_flac()) {
      throw FileError(shown(), "damaged (" + without_stop(sf_strerror(file.get())) + ")");
    }
    cut = ended = true;
  }
  if (got == 0) ended = true;
  if (ended) look_for_cut();
  const std::size_t samples = got * static_cast<std::size_t>(info.channels);
  for (std::size_t n = 0; n < samples; ++n) joint[n] = std::isfinite(joint[n]) ? joint[n] : 0.0f;
  return got;
}

void AudioSource::Impl::join_channels(const float* joint, float* mono, std::size_t count) {
  const auto channels = static_cast<std::size_t>(info.channels);
  for (std::size_t n = 0; n < count; ++n) {
    const float* const frame = &joint[n * channels];
    double sum = 0.0;
    for (std::size_t c = 0; c < channels; ++c) sum += frame[c];
    mono[n] =
        options.channel > 0 ? frame[options.channel - 1] : static_cast<float>(sum / info.channels);
    if (options.channel == 0) together.add({frame, channels}, mono[n]);
  }
}

// At the end. What other formats say of their length beforehand may be an estimate.
void AudioSource::Impl::look_for_cut() {
  const bool in_pipe = pipe && bare.length < BarePipe::endless && bare.position < bare.length;
  cut = cut || in_pipe || (is_flac() && frames && frames_read < *frames);
}

AudioSource::AudioSource(const std::string& path, const AudioOptions& options)
    : impl_(std::make_unique<Impl>()) {
  impl_->path = path;
  impl_->options = options;
  impl_->open();
}

AudioSource::~AudioSource() = default;

int AudioSource::rate() const {
  return impl_->info.samplerate;
}

int AudioSource::channels() const {
  return impl_->info.channels;
}

std::optional<std::uint64_t> AudioSource::frames() const {
  return impl_->frames;
}

const SoundTags& AudioSource::tags() const {
  return impl_->tags;
}

std::optional<std::string> AudioSource::channel_note() const {
  return impl_->together.note();
}

bool AudioSource::cut_short() const {
  return impl_->cut;
}

std::size_t AudioSource::read_frames(std::span<float> interleaved) {
  return impl_->read_frames(interleaved.data(),
                            interleaved.size() / static_cast<std::size_t>(channels()));
}

std::size_t AudioSource::read(std::span<float> mono) {
  const std::size_t count = std::min(block_frames, mono.size());
  const auto channels = static_cast<std::size_t>(impl_->info.channels);
  if (channels == 1) return impl_->read_frames(mono.data(), count);
  impl_->interleaved.resize(count * channels);
  const std::size_t got = impl_->read_frames(impl_->interleaved.data(), count);
  impl_->join_channels(impl_->interleaved.data(), mono.data(), got);
  return got;
}

}  // namespace quel::tools
