#include "tools/bare_pipe.h"

#include <algorithm>
#include <cstddef>

namespace quel::tools {
namespace {

BarePipe& pipe_of(void* self) {
  return *static_cast<BarePipe*>(self);
}

sf_count_t get_length(void* self) {
  return static_cast<sf_count_t>(pipe_of(self).length);
}

sf_count_t tell(void* self) {
  return static_cast<sf_count_t>(pipe_of(self).position);
}

sf_count_t seek(sf_count_t, int, void* self) {
  return tell(self);
}

sf_count_t write(const void*, sf_count_t, void*) {
  return 0;
}

sf_count_t read(void* bytes, sf_count_t count, void* self) {
  BarePipe& pipe = pipe_of(self);
  try {
    const std::uint64_t asked =
        std::min(static_cast<std::uint64_t>(count), pipe.length - pipe.position);
    auto* const to = static_cast<std::uint8_t*>(bytes);
    std::uint64_t done = 0;
    // The library drops what is no whole sample, and with it the place of all that follows.
    do {
      const std::uint64_t over = (pipe.position + done) % pipe.frame_bytes;
      const std::uint64_t rest = over == 0 ? asked - done : pipe.frame_bytes - over;
      const std::size_t got =
          pipe.input->read_some(to + done, static_cast<std::size_t>(std::min(rest, asked - done)));
      if (got == 0) break;
      done += got;
    } while (done < asked && (pipe.position + done) % pipe.frame_bytes != 0);
    pipe.position += done;
    return static_cast<sf_count_t>(done);
  } catch (...) {
    pipe.error = std::current_exception();
    return 0;
  }
}

}  // namespace

SF_VIRTUAL_IO BarePipe::functions() {
  return {get_length, seek, read, write, tell};
}

}  // namespace quel::tools
