#pragma once

#include <cstddef>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "quelcodec/quelcodec.h"

namespace quel::fuzz {

inline int size_of(const quel_encoder_options& options) {
  return quel_encoder_size(&options);
}
inline int size_of(const quel_decoder_options& options) {
  return quel_decoder_size(&options);
}
inline int init(void* memory, std::size_t size, const quel_encoder_options& options,
                quel_encoder** stream) {
  return quel_encoder_init(memory, size, &options, stream);
}
inline int init(void* memory, std::size_t size, const quel_decoder_options& options,
                quel_decoder** stream) {
  return quel_decoder_init(memory, size, &options, stream);
}

/// A stream in memory of the fuzzer's own, just large enough, whose bytes can move elsewhere.
template <typename Stream, typename Options>
class MovingStream {
 public:
  explicit MovingStream(const Options& options) : options_(options) { restart(); }
  void restart() {
    const auto size = static_cast<std::size_t>(size_of(options_));
    memory_ = Memory(size);
    require(init(memory_.data(), size, options_, &stream_) == QUEL_OK);
    require(static_cast<void*>(stream_) == memory_.data());
  }
  /// The same stream somewhere else; where it was is gone, which the sanitizer would see.
  void move() {
    Memory elsewhere = memory_;
    memory_.swap(elsewhere);
    stream_ = reinterpret_cast<Stream*>(memory_.data());
  }
  Stream* get() const { return stream_; }

 private:
  // Bytes, since the sanitizer then knows the end exactly; operator new aligns them.
  using Memory = std::vector<unsigned char>;

  Options options_;
  Memory memory_;
  Stream* stream_ = nullptr;
};

}  // namespace quel::fuzz
