#include "tools/sound_writer.h"

#include <sndfile.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <exception>

#include "tools/batch_inputs.h"
#include "tools/bytes.h"
#include "tools/file_error.h"
#include "tools/sound_library.h"

namespace quel::tools {
namespace {

void put_text(std::vector<std::uint8_t>& out, const char* text) {
  out.insert(out.end(), text, text + std::strlen(text));
}

void write_samples(OutputFile& file, std::span<const std::int16_t> pcm, std::endian order) {
  std::vector<std::int16_t> swapped;
  if (order != std::endian::native) {
    swapped.resize(pcm.size());
    std::transform(pcm.begin(), pcm.end(), swapped.begin(), [](std::int16_t x) {
      const auto bits = static_cast<std::uint16_t>(x);
      return static_cast<std::int16_t>(bits << 8 | bits >> 8);
    });
    pcm = swapped;
  }
  file.write({reinterpret_cast<const std::uint8_t*>(pcm.data()), pcm.size_bytes()});
}

class RawWriter : public SoundWriter {
 public:
  RawWriter(OutputFile& file, std::endian order) : file_(file), order_(order) {}

  void write(std::span<const std::int16_t> pcm) override { write_samples(file_, pcm, order_); }
  void finish() override { file_.commit(); }

 private:
  OutputFile& file_;
  std::endian order_;
};

/// FLAC through libsndfile, which goes back to the start at the end. What a pipe has got stays as
/// it is: its header leaves length and digest of the sound open, as the format allows.
class FlacWriter : public SoundWriter {
 public:
  FlacWriter(OutputFile& file, int rate, const SoundTags& tags) : file_(file) {
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = 1;
    info.format = SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
    SF_VIRTUAL_IO io{get_length, seek, read, put, tell};
    std::string refusal;
    sound_ = open_sound([&] { return sf_open_virtual(&io, SFM_WRITE, &info, this); }, refusal);
    fail_if_broken();
    if (sound_ == nullptr) throw FileError(file_.name(), refusal);
    for (const SoundTagKind& kind : sound_tag_kinds()) {
      for (const auto& [name, value] : tags) {
        if (name == kind.name) sf_set_string(sound_, kind.library, value.c_str());
      }
    }
  }
  ~FlacWriter() override {
    if (sound_ != nullptr) sf_close(sound_);
  }
  FlacWriter(const FlacWriter&) = delete;
  FlacWriter& operator=(const FlacWriter&) = delete;

  void write(std::span<const std::int16_t> pcm) override {
    const auto count = static_cast<sf_count_t>(pcm.size());
    const sf_count_t done = sf_write_short(sound_, pcm.data(), count);
    fail_if_broken();
    if (done != count) throw FileError(file_.name(), sf_strerror(sound_));
  }

  void finish() override {
    const int error = sf_close(sound_);
    sound_ = nullptr;
    fail_if_broken();
    if (error != 0) throw FileError(file_.name(), sf_error_number(error));
    file_.commit();
  }

 private:
  void fail_if_broken() {
    if (failure_) std::rethrow_exception(failure_);
  }

  // No exception may cross libsndfile.
  template <class Work>
  sf_count_t guarded(Work work) {
    if (failure_) return 0;
    try {
      return work();
    } catch (...) {
      failure_ = std::current_exception();
      return 0;
    }
  }
  static FlacWriter& self(void* user) { return *static_cast<FlacWriter*>(user); }
  static sf_count_t get_length(void* user) { return static_cast<sf_count_t>(self(user).length_); }
  static sf_count_t tell(void* user) { return static_cast<sf_count_t>(self(user).position_); }
  static sf_count_t read(void*, sf_count_t, void*) { return 0; }
  static sf_count_t seek(sf_count_t offset, int whence, void* user) {
    FlacWriter& writer = self(user);
    return writer.guarded([&] {
      const auto from = whence == SEEK_SET   ? 0
                        : whence == SEEK_CUR ? writer.position_
                                             : writer.length_;
      writer.position_ = from + static_cast<std::uint64_t>(offset);
      if (writer.file_.seekable()) writer.file_.seek(writer.position_);
      return static_cast<sf_count_t>(writer.position_);
    });
  }
  static sf_count_t put(const void* bytes, sf_count_t count, void* user) {
    FlacWriter& writer = self(user);
    return writer.guarded([&] {
      const auto size = static_cast<std::size_t>(count);
      if (writer.file_.seekable() || writer.position_ == writer.length_) {
        writer.file_.write({static_cast<const std::uint8_t*>(bytes), size});
      }
      writer.position_ += size;
      writer.length_ = std::max(writer.length_, writer.position_);
      return count;
    });
  }

  OutputFile& file_;
  SNDFILE* sound_ = nullptr;
  std::exception_ptr failure_;
  std::uint64_t position_ = 0;
  std::uint64_t length_ = 0;
};

}  // namespace

SoundFormat format_of(const std::string& path) {
  const std::string extension = lower_extension(path);
  if (extension == ".flac") return SoundFormat::flac;
  if (extension == ".raw" || extension == ".pcm") return SoundFormat::raw;
  return SoundFormat::wav;
}

std::unique_ptr<SoundWriter> make_sound_writer(OutputFile& file, int rate, SoundFormat format,
                                               const SoundTags& tags) {
  if (format == SoundFormat::flac) return std::make_unique<FlacWriter>(file, rate, tags);
  if (format == SoundFormat::wav) {
    return std::make_unique<WavWriter>(file, rate, wav_max_samples, tags);
  }
  return std::make_unique<RawWriter>(
      file, format == SoundFormat::raw_big_endian ? std::endian::big : std::endian::little);
}

WavWriter::WavWriter(OutputFile& file, int rate, std::uint64_t most, const SoundTags& tags)
    : file_(file), rate_(rate), most_(most), info_(info_chunk(tags)) {
  // Where nobody goes back to tell where the samples end, what follows them would be heard.
  if (!file_.seekable()) info_.clear();
  most_ = std::min(most_, wav_max_samples - info_.size() / 2);
  file_.write(header(0xffffffffu));
}

void WavWriter::write(std::span<const std::int16_t> pcm) {
  write_samples(file_, pcm, std::endian::little);
  samples_ += pcm.size();
}

void WavWriter::finish() {
  if (!info_.empty() && (samples_ <= most_ || file_.can_insert())) file_.write(info_);
  if (file_.seekable() && samples_ <= most_) {
    file_.rewrite_start(header(static_cast<std::uint32_t>(2 * samples_), info_.size()));
  } else if (file_.seekable() && file_.can_insert()) {
    turn_into_rf64();
  }
  file_.commit();
}

// The other lengths stay at the largest that there are, which here means "see ds64". Room for that
// chunk could be kept from the start, but many programs take every header for one of 44 bytes.
void WavWriter::turn_into_rf64() {
  constexpr std::uint64_t chunk_bytes = 28;
  const std::uint64_t data_bytes = 2 * samples_;
  std::vector<std::uint8_t> chunk;
  put_text(chunk, "ds64");
  append_little_endian(chunk, chunk_bytes, 4);
  append_little_endian(chunk, 36 + 8 + chunk_bytes + data_bytes + info_.size(),
                       8);  // all that follows the first eight bytes
  append_little_endian(chunk, data_bytes, 8);
  append_little_endian(chunk, samples_, 8);
  append_little_endian(chunk, 0, 4);  // further lengths
  constexpr std::uint64_t after_form = 12;
  file_.insert(after_form, chunk);
  const std::string form = "RF64";
  file_.rewrite_start({reinterpret_cast<const std::uint8_t*>(form.data()), form.size()});
}

std::vector<std::uint8_t> WavWriter::header(std::uint32_t data_bytes, std::size_t more) const {
  const auto rate = static_cast<std::uint64_t>(rate_);
  std::vector<std::uint8_t> out;
  put_text(out, "RIFF");
  append_little_endian(out, data_bytes < 0xffffffffu ? 36 + data_bytes + more : data_bytes, 4);
  put_text(out, "WAVEfmt ");
  append_little_endian(out, 16, 4);        // bytes of this chunk
  append_little_endian(out, 1, 2);         // PCM
  append_little_endian(out, 1, 2);         // channels
  append_little_endian(out, rate, 4);      // samples per second
  append_little_endian(out, 2 * rate, 4);  // bytes per second
  append_little_endian(out, 2, 2);         // bytes per sample
  append_little_endian(out, 16, 2);        // bits per sample
  put_text(out, "data");
  append_little_endian(out, data_bytes, 4);
  return out;
}

}  // namespace quel::tools
