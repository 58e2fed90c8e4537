#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace quel::test {

using Bytes = std::vector<std::uint8_t>;

/// A test with a folder of its own, which it leaves behind only where it crashes.
class ToolTest : public ::testing::Test {
 protected:
  ToolTest();
  ~ToolTest() override;

  /// A name inside the folder.
  std::string path(const std::string& name) const { return folder_ + "/" + name; }
  /// Names in the folder, sorted.
  std::vector<std::string> names() const;

 private:
  std::string folder_;
};

struct ProgramResult {
  int status = -1;  ///< exit status; -1 where the program did not exit by itself
  std::string out;  ///< standard output
  std::string err;  ///< standard error
};

/// Runs a program with arguments as they stand, standard input empty.
ProgramResult run_program(const std::string& program, const std::vector<std::string>& arguments);

/// The same with a shell's `limit` (such as "ulimit -f 1") in force.
ProgramResult run_program_limited(const std::string& limit, const std::string& program,
                                  const std::vector<std::string>& arguments);

/// n samples like speech (support/signals.h) with their peak at 20000, loud enough to count as
/// active.
std::vector<std::int16_t> loud_speech(int n, std::uint64_t seed, double sampling_rate = 8000.0);

bool exists(const std::string& path);
Bytes read_bytes(const std::string& path);
void write_bytes(const std::string& path, const Bytes& bytes);

Bytes pcm_bytes(const std::vector<std::int16_t>& pcm);  ///< host order
std::vector<std::int16_t> bytes_pcm(const Bytes& bytes);

/// Writes an audio file.
///
/// format       libsndfile's SF_FORMAT_...
/// interleaved  16-bit samples, channel by channel within a frame
void write_audio(const std::string& path, int format, int rate, int channels,
                 const std::vector<std::int16_t>& interleaved);
/// The same from floating point; full scale is 1.
void write_audio(const std::string& path, int format, int rate, int channels,
                 const std::vector<float>& interleaved);

struct Audio {
  int rate = 0;
  int channels = 0;
  int format = 0;
  std::vector<std::int16_t> samples;
};
Audio load_audio(const std::string& path);

}  // namespace quel::test
