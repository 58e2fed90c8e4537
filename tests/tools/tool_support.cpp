#include "tools/tool_support.h"

#include <fcntl.h>
#include <sndfile.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "support/signals.h"

namespace quel::test {
namespace {

namespace fs = std::filesystem;

std::string temporary_folder() {
  std::string name = (fs::temp_directory_path() / "quel_test_XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
  return name;
}

std::string take_text(const std::string& file) {
  const Bytes bytes = read_bytes(file);
  return {bytes.begin(), bytes.end()};
}

SNDFILE* open_for_writing(const std::string& path, int format, int rate, int channels) {
  SF_INFO info{};
  info.samplerate = rate;
  info.channels = channels;
  info.format = format;
  return sf_open(path.c_str(), SFM_WRITE, &info);
}

}  // namespace

ToolTest::ToolTest() : folder_(temporary_folder()) {}

ToolTest::~ToolTest() {
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

std::vector<std::string> ToolTest::names() const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder_))
    names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

ProgramResult run_program(const std::string& program, const std::vector<std::string>& arguments) {
  const std::string folder = temporary_folder();
  const std::string out = folder + "/out", err = folder + "/err";
  std::vector<std::string> words = {program};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    dup2(open("/dev/null", O_RDONLY), 0);
    dup2(open(out.c_str(), O_WRONLY | O_CREAT, 0600), 1);
    dup2(open(err.c_str(), O_WRONLY | O_CREAT, 0600), 2);
    execv(argv[0], argv.data());
    _exit(127);
  }
  ProgramResult result;
  int status = 0;
  if (child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status)) {
    result.status = WEXITSTATUS(status);
  }
  result.out = take_text(out);
  result.err = take_text(err);
  std::error_code ignored;
  fs::remove_all(folder, ignored);
  return result;
}

ProgramResult run_program_limited(const std::string& limit, const std::string& program,
                                  const std::vector<std::string>& arguments) {
  std::vector<std::string> words = {"-c", limit + " && exec \"$0\" \"$@\"", program};
  words.insert(words.end(), arguments.begin(), arguments.end());
  return run_program("/bin/sh", words);
}

std::vector<std::int16_t> loud_speech(int n, std::uint64_t seed, double sampling_rate) {
  const std::vector<float> x = speech_like(n, seed, sampling_rate);
  float peak = 1.0f;
  for (const float v : x) peak = std::max(peak, std::abs(v));
  std::vector<std::int16_t> pcm;
  for (const float v : x) pcm.push_back(static_cast<std::int16_t>(std::lrint(v * 20000.0f / peak)));
  return pcm;
}

bool exists(const std::string& path) {
  return fs::exists(path);
}

Bytes read_bytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void write_bytes(const std::string& path, const Bytes& bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  ASSERT_TRUE(file.good()) << path;
}

Bytes pcm_bytes(const std::vector<std::int16_t>& pcm) {
  Bytes bytes(2 * pcm.size());
  if (!pcm.empty()) std::memcpy(bytes.data(), pcm.data(), bytes.size());
  return bytes;
}

std::vector<std::int16_t> bytes_pcm(const Bytes& bytes) {
  std::vector<std::int16_t> pcm(bytes.size() / 2);
  if (!pcm.empty()) std::memcpy(pcm.data(), bytes.data(), 2 * pcm.size());
  return pcm;
}

void write_audio(const std::string& path, int format, int rate, int channels,
                 const std::vector<std::int16_t>& interleaved) {
  SNDFILE* file = open_for_writing(path, format, rate, channels);
  ASSERT_NE(file, nullptr) << sf_strerror(nullptr);
  const auto count = static_cast<sf_count_t>(interleaved.size());
  EXPECT_EQ(sf_write_short(file, interleaved.data(), count), count);
  EXPECT_EQ(sf_close(file), 0);
}

void write_audio(const std::string& path, int format, int rate, int channels,
                 const std::vector<float>& interleaved) {
  SNDFILE* file = open_for_writing(path, format, rate, channels);
  ASSERT_NE(file, nullptr) << sf_strerror(nullptr);
  const auto count = static_cast<sf_count_t>(interleaved.size());
  EXPECT_EQ(sf_write_float(file, interleaved.data(), count), count);
  EXPECT_EQ(sf_close(file), 0);
}

Audio load_audio(const std::string& path) {
  SF_INFO info{};
  SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
  if (file == nullptr) return {};
  Audio audio{info.samplerate, info.channels, info.format, {}};
  audio.samples.resize(static_cast<std::size_t>(info.frames * info.channels));
  sf_read_short(file, audio.samples.data(), static_cast<sf_count_t>(audio.samples.size()));
  sf_close(file);
  return audio;
}

}  // namespace quel::test
