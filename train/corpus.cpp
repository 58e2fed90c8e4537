#include "train/corpus.h"

#include <sndfile.h>
#include <soxr.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>
#include <stdexcept>

namespace quel::train {
namespace {

struct Close {
  void operator()(SNDFILE* file) const { sf_close(file); }
};

std::vector<float> resample(const std::vector<float>& x, int from, int to) {
  const double ratio = static_cast<double>(to) / from;
  std::vector<float> y(static_cast<std::size_t>(std::ceil(static_cast<double>(x.size()) * ratio)));
  std::size_t used = 0;
  std::size_t made = 0;
  const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
  if (soxr_oneshot(from, to, 1, x.data(), x.size(), &used, y.data(), y.size(), &made, nullptr,
                   &quality, nullptr) != nullptr) {
    throw std::runtime_error("resampling failed");
  }
  y.resize(made);
  return y;
}

std::vector<std::int16_t> read_file(const std::string& path, int rate) {
  SF_INFO info{};
  const std::unique_ptr<SNDFILE, Close> file(sf_open(path.c_str(), SFM_READ, &info));
  if (!file) throw std::runtime_error(path + ": " + sf_strerror(nullptr));
  if (info.channels != 1) throw std::runtime_error(path + ": not mono");
  if (info.samplerate < rate) throw std::runtime_error(path + ": sampling rate too low");
  std::vector<float> x(static_cast<std::size_t>(info.frames));
  x.resize(static_cast<std::size_t>(sf_readf_float(file.get(), x.data(), info.frames)));
  if (info.samplerate != rate) x = resample(x, info.samplerate, rate);
  std::vector<std::int16_t> pcm(x.size());
  std::transform(x.begin(), x.end(), pcm.begin(), [](float v) {
    return static_cast<std::int16_t>(std::clamp(std::lround(v * 32768.0f), -32768L, 32767L));
  });
  return pcm;
}

}  // namespace

std::vector<Recording> read_folder(const std::string& speech_dir, const std::string& folder,
                                   int rate) {
  const std::filesystem::path path = std::filesystem::path(speech_dir) / folder;
  if (!std::filesystem::is_directory(path)) {
    throw std::runtime_error(path.string() + ": no such folder");
  }
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(path)) {
    const std::string extension = entry.path().extension().string();
    if (extension == ".flac" || extension == ".wav") {
      names.push_back(entry.path().filename().string());
    }
  }
  if (names.empty()) throw std::runtime_error(path.string() + ": no sound files");
  std::sort(names.begin(), names.end());
  std::vector<Recording> recordings;
  recordings.reserve(names.size());
  for (const auto& name : names) {
    std::string label = folder;
    label.append("/").append(name);
    recordings.push_back({std::move(label), read_file((path / name).string(), rate)});
  }
  return recordings;
}

double hours(const std::vector<Recording>& recordings, int rate) {
  double samples = 0.0;
  for (const auto& recording : recordings) samples += static_cast<double>(recording.pcm.size());
  return samples / rate / 3600.0;
}

}  // namespace quel::train
