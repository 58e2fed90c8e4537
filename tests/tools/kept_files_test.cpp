#include "conformance/kept.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <set>
#include <sstream>

#include "conformance/random.h"
#include "tools/frame_analyser.h"
#include "tools/ogg_info.h"
#include "tools/ogg_support.h"
#include "tools/tool_support.h"
#include "tools/version.h"

namespace quel::tools {
namespace {

using test::Bytes;
using test::Pcm;
using ::testing::HasSubstr;

const std::string folder = QUEL_KEPT_FOLDER;

Bytes kept(const std::string& name) {
  return test::read_bytes(folder + "/" + name);
}

std::uint64_t digest_of(const Pcm& pcm) {
  Bytes bytes;
  for (const std::int16_t sample : pcm) {
    const auto bits = static_cast<std::uint16_t>(sample);
    bytes.push_back(static_cast<std::uint8_t>(bits % 256));
    bytes.push_back(static_cast<std::uint8_t>(bits / 256));
  }
  return conformance::digest(bytes.data(), bytes.size());
}

// Where this fails, the change behind it makes users' files sound otherwise, which is not to be.
// What to do instead stands in docs/compatibility.md.
TEST(Kept, EveryLaterVersionDecodesTheseFilesToTheSameSound) {
  for (const conformance::KeptFile& file : conformance::kept_files) {
    SCOPED_TRACE(file.name);
    const Bytes bytes = kept(file.name);
    MemorySource source(bytes);
    OggReader reader(source, file.name);
    EXPECT_FALSE(read_info(reader).report.damaged());
    EXPECT_EQ(digest_of(test::ogg_decode(bytes)), file.value);
    // Nothing is lost, so that it does not matter how losses would be concealed.
    OggDecodeOptions deferred;
    deferred.concealment = OggConcealment::deferred;
    EXPECT_EQ(digest_of(test::ogg_decode(bytes, deferred)), file.value);
  }
}

TEST(Kept, TheListHasEveryFileAndTwoOfEachFlavor) {
  std::multiset<std::string> listed, there;
  std::multiset<int> flavors;
  for (const conformance::KeptFile& file : conformance::kept_files) {
    listed.insert(file.name);
    const Bytes bytes = kept(file.name);
    MemorySource source(bytes);
    flavors.insert(OggReader(source, file.name).head().flavor);
  }
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().filename() != "bitstream-1.quel") there.insert(entry.path().filename());
  }
  EXPECT_EQ(listed, there);
  EXPECT_THAT(flavors, testing::ElementsAre(0, 0, 1, 1, 2, 2, 3, 3));
}

// All fields that choose from tables have at most eight bits; what has more is lags and pulses.
TEST(Kept, EveryEntryOfEveryTableIsHeardInThem) {
  for (const conformance::KeptFile& file : conformance::kept_files) {
    if (std::string(file.name).find("-indices") == std::string::npos) continue;
    SCOPED_TRACE(file.name);
    const Bytes bytes = kept(file.name);
    MemorySource source(bytes);
    OggReader reader(source, file.name);
    const int flavor = reader.head().flavor;
    const auto unit_bytes = static_cast<std::size_t>(quel_bytes_per_unit(flavor));
    const auto widths = index_widths(flavor);
    // A choice between two sets of tables stands first; each set is walked through.
    const bool sets = widths[0] == 1;
    std::vector<std::set<std::int32_t>> seen[2] = {
        std::vector<std::set<std::int32_t>>(widths.size()),
        std::vector<std::set<std::int32_t>>(widths.size())};
    FrameAnalyser analyser(flavor);
    for (OggEvent event = reader.next(); event.kind != OggEvent::Kind::end; event = reader.next()) {
      ASSERT_EQ(event.kind, OggEvent::Kind::units);
      for (std::size_t u = 0; u < event.units; ++u) {
        for (const auto& frame : analyser.next(event.bytes.subspan(u * unit_bytes, unit_bytes))) {
          auto& values = seen[sets ? frame.indices[0] : 0];
          for (std::size_t i = 0; i < widths.size(); ++i) values[i].insert(frame.indices[i]);
        }
      }
    }
    for (int set = 0; set < (sets ? 2 : 1); ++set) {
      for (std::size_t i = sets ? 1 : 0; i < widths.size(); ++i) {
        if (widths[i] > 8) continue;
        EXPECT_EQ(seen[set][i].size(), std::size_t{1} << widths[i]) << i;
      }
    }
  }
}

// Version 0.1.0 wrote this one.
TEST(Kept, AFileOfTheFirstBitstreamIsRefusedByEveryCommandNamingItsVersion) {
  const std::string name = folder + "/bitstream-1.quel";
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {"info", name}, {"dump", name}, {"decode", name, "-"}, {"demux", name, "-"}}) {
    const test::ProgramResult result = test::run_program(QUEL_PROGRAM, arguments);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "quel: " + name +
                              ": its sound is coded in bitstream 1 and this program, quelcodec " +
                              version_text() +
                              ", reads bitstream 2; quelcodec 0.1.0 is the version that reads "
                              "it\n");
  }
}

class Keep : public test::ToolTest {};

TEST_F(Keep, WritesFilesWhoseSoundHasTheDigestsThatItPrints) {
  const std::string made = path("kept");
  std::filesystem::create_directory(made);
  const test::ProgramResult result = test::run_program(QUEL_KEEP_PROGRAM, {made});
  ASSERT_EQ(result.status, 0) << result.err;
  std::istringstream lines(result.out);
  std::size_t files = 0;
  for (std::string line; std::getline(lines, line); ++files) {
    SCOPED_TRACE(line);
    const std::size_t quote = line.find('"'), end = line.find('"', quote + 1);
    const std::string name = line.substr(quote + 1, end - quote - 1);
    ASSERT_EQ(
        test::run_program(QUEL_PROGRAM, {"decode", made + "/" + name, path("x.raw"), "-f"}).status,
        0);
    const Bytes raw = test::read_bytes(path("x.raw"));
    EXPECT_FALSE(raw.empty());
    EXPECT_EQ(std::stoull(line.substr(end + 3), nullptr, 16),
              conformance::digest(raw.data(), raw.size()));
  }
  EXPECT_EQ(files, 8u);
}

TEST_F(Keep, WrongUseAndFullDisksFail) {
  EXPECT_EQ(test::run_program(QUEL_KEEP_PROGRAM, {}).status, 2);
  const test::ProgramResult result = test::run_program(QUEL_KEEP_PROGRAM, {path("none")});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("cannot be written"));
}

}  // namespace
}  // namespace quel::tools
