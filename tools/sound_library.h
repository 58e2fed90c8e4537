#pragma once

#include <sndfile.h>

#include <mutex>
#include <string>

namespace quel::tools {

inline std::mutex& sound_library_mutex() {
  static std::mutex mutex;
  return mutex;
}

/// Opens something with libsndfile. Its cause for a refusal is one for the whole process, which the
/// next opening on any thread wipes out; so only one thread opens at a time.
///
/// open     calls one of the sf_open functions, once
/// refusal  gets the cause where null is returned
template <class Open>
SNDFILE* open_sound(Open open, std::string& refusal) {
  const std::lock_guard lock(sound_library_mutex());
  SNDFILE* const file = open();
  if (file == nullptr) refusal = sf_strerror(nullptr);
  return file;
}

}  // namespace quel::tools
