// The only functions of a stream that need an allocator: programs with memory of their own do
// without this unit, and so without the C++ library.
#include <cstddef>
#include <new>
#include <type_traits>

#include "interface/receiver_state.h"
#include "interface/stream_state.h"
#include "quelcodec/quelcodec.h"

namespace quel {
namespace {

template <typename Options, typename Stream>
int create(int (*size_of)(const Options*),
           int (*init)(void*, std::size_t, const Options*, Stream**), const Options* options,
           Stream** stream) {
  if (stream == nullptr) return QUEL_ERROR_ARGUMENT;
  const int size = size_of(options);
  if (size < 0) return size;
  const auto bytes = static_cast<std::size_t>(size);
  void* memory = ::operator new(bytes, std::nothrow);
  if (memory == nullptr) return QUEL_ERROR_MEMORY;
  const int result = init(memory, bytes, options, stream);
  if (result != QUEL_OK) {  // a program's own operator new may align less than malloc
    ::operator delete(memory);
    return result;
  }
  (*stream)->on_heap = true;
  return QUEL_OK;
}

template <typename Stream>
void destroy(Stream* stream) {
  static_assert(std::is_trivially_destructible_v<Stream>);
  if (stream != nullptr && stream->on_heap) ::operator delete(static_cast<void*>(stream));
}

}  // namespace
}  // namespace quel

int quel_encoder_create(const quel_encoder_options* options, quel_encoder** encoder) {
  return quel::create(quel_encoder_size, quel_encoder_init, options, encoder);
}

void quel_encoder_destroy(quel_encoder* encoder) {
  quel::destroy(encoder);
}

int quel_decoder_create(const quel_decoder_options* options, quel_decoder** decoder) {
  return quel::create(quel_decoder_size, quel_decoder_init, options, decoder);
}

void quel_decoder_destroy(quel_decoder* decoder) {
  quel::destroy(decoder);
}

int quel_receiver_create(const quel_receiver_options* options, quel_receiver** receiver) {
  return quel::create(quel_receiver_size, quel_receiver_init, options, receiver);
}

void quel_receiver_destroy(quel_receiver* receiver) {
  quel::destroy(receiver);
}
