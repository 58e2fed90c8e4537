#include "speech.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "conformance/random.h"
#include "tools/audio_file.h"
#include "tools/audio_source.h"

namespace quel::bench {
namespace {

namespace fs = std::filesystem;

// Shuffled, so that the first minute is not all of one speaker.
std::vector<std::string> sounds_in(const std::string& folder) {
  std::vector<std::pair<std::string, std::string>> found;  // name within the folder, path
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    const std::string extension = entry.path().extension();
    if (extension != ".wav" && extension != ".flac") continue;
    found.emplace_back(entry.path().lexically_relative(folder), entry.path());
  }
  std::sort(found.begin(), found.end());
  std::vector<std::string> files;
  conformance::Random random(1);
  for (std::size_t left = found.size(); left > 0; --left) {
    const auto k = static_cast<std::size_t>(random.integer(0, static_cast<int>(left) - 1));
    files.push_back(found[k].second);
    std::swap(found[k], found[left - 1]);
  }
  return files;
}

}  // namespace

Speech read_speech(const std::string& folder, int rate, double seconds) {
  const auto wanted = static_cast<std::size_t>(seconds * rate);
  Speech speech;
  for (const std::string& file : sounds_in(folder)) {
    if (speech.pcm.size() >= wanted) break;
    if (tools::AudioSource(file).rate() < rate) continue;
    const std::vector<std::int16_t> pcm = tools::read_audio(file, rate);
    speech.pcm.insert(speech.pcm.end(), pcm.begin(), pcm.end());
    ++speech.files;
  }
  const std::size_t there = speech.pcm.size();
  if (there == 0) {
    throw std::runtime_error(folder + " holds no speech of " + std::to_string(rate) + " Hz");
  }
  speech.repeated = there < wanted;
  speech.pcm.resize(wanted);
  for (std::size_t n = there; n < wanted; ++n) speech.pcm[n] = speech.pcm[n - there];
  return speech;
}

}  // namespace quel::bench
