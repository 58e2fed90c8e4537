#include "tools/output_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tools/file_error.h"
#include "tools/part_mark.h"
#include "tools/tool_support.h"

namespace quel::tools {
namespace {

using test::Bytes;
using test::exists;
using test::read_bytes;
using test::write_bytes;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const Bytes some = {1, 2, 3};

std::string error_of(const std::string& name, bool force, const std::string& input) {
  try {
    OutputFile file(name, force, input);
  } catch (const FileError& error) {
    return error.what();
  }
  return "";
}

class OutputFileTest : public test::ToolTest {
 protected:
  /// As a killed run leaves it.
  void write_own_part(const std::string& name) {
    write_bytes(path(name), some);
    const int file = open(path(name).c_str(), O_RDWR);
    mark(file);
    close(file);
  }
};

TEST_F(OutputFileTest, AppearsOnlyWhenCommitted) {
  OutputFile file(path("out"), false, path("in"));
  file.write(some);
  EXPECT_FALSE(exists(path("out")));
  file.commit();
  EXPECT_EQ(read_bytes(path("out")), some);
  EXPECT_THAT(names(), ElementsAre("out"));
}

TEST_F(OutputFileTest, AbandonedLeavesNothing) {
  {
    OutputFile file(path("out"), false, path("in"));
    file.write(some);
  }
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(OutputFileTest, AbandonedKeepsTheOldFile) {
  write_bytes(path("out"), some);
  {
    OutputFile file(path("out"), true, path("in"));
    file.write(Bytes{9});
  }
  EXPECT_EQ(read_bytes(path("out")), some);
  EXPECT_THAT(names(), ElementsAre("out"));
}

TEST_F(OutputFileTest, KeepsOthersOffUntilItHasItsName) {
  OutputFile file(path("out"), false, path("in"));
  const std::string refusal = path("out") + ": another run is writing it";
  EXPECT_EQ(error_of(path("out"), false, path("in")), refusal);
  file.write(some);
  file.hold_back();
  file.commit();
  EXPECT_EQ(error_of(path("out"), false, path("in")), refusal);
  EXPECT_EQ(read_bytes(file.part()), some);
  file.release();
  EXPECT_EQ(read_bytes(path("out")), some);
  EXPECT_EQ(error_of(path("out"), true, path("in")), "");
  EXPECT_THAT(names(), ElementsAre("out"));
}

TEST_F(OutputFileTest, APartOfOthersIsNeitherNamedNorRemoved) {
  {
    OutputFile file(path("out"), false, path("in"));
    file.write(some);
    std::filesystem::remove(path("out.part"));
    write_bytes(path("out.part"), Bytes{9});
    EXPECT_THROW(file.commit(), FileError);
  }
  EXPECT_EQ(read_bytes(path("out.part")), Bytes{9});
  EXPECT_THAT(names(), ElementsAre("out.part"));
}

TEST_F(OutputFileTest, APartThatWasMovedAwayIsNotWrittenTo) {
  write_own_part("out.part");
  OutputFile file(path("out"), false, path("in"));
  std::filesystem::rename(path("out.part"), path("rescued"));
  EXPECT_THROW(file.write(Bytes{5}), FileError);
  EXPECT_EQ(read_bytes(path("rescued")), some);
}

TEST_F(OutputFileTest, WithoutAByteWhatWasThereStays) {
  write_own_part("out.part");
  { OutputFile file(path("out"), false, path("in")); }
  EXPECT_EQ(read_bytes(path("out.part")), some);
  OutputFile empty(path("out"), false, path("in"));
  empty.commit();
  EXPECT_EQ(read_bytes(path("out")), Bytes{});
  EXPECT_THAT(names(), ElementsAre("out"));
}

TEST_F(OutputFileTest, OnlyAFileOfItsOwnServesAsPart) {
  const std::string part = path("out.part");
  const std::string refusal = part + ": not a regular file";
  std::filesystem::create_directory(part);
  EXPECT_EQ(error_of(path("out"), true, path("in")), refusal);
  std::filesystem::remove(part);
  ASSERT_EQ(mkfifo(part.c_str(), 0600), 0);
  EXPECT_EQ(error_of(path("out"), true, path("in")), refusal);
  std::filesystem::remove(part);
  std::filesystem::create_symlink("none", part);
  EXPECT_EQ(error_of(path("out"), true, path("in")), refusal);
  std::filesystem::remove(part);
  write_bytes(path("kept"), some);
  std::filesystem::create_hard_link(path("kept"), part);
  EXPECT_EQ(error_of(path("out"), true, path("in")),
            part + ": has a second name, whose bytes would be lost");
  EXPECT_EQ(read_bytes(path("kept")), some);
}

TEST_F(OutputFileTest, RewritesItsStartAndGoesOnAtItsEnd) {
  OutputFile file(path("out"), false, path("in"));
  file.write(some);
  file.rewrite_start(Bytes{8, 9});
  file.write(Bytes{4});
  file.commit();
  EXPECT_EQ(read_bytes(path("out")), (Bytes{8, 9, 3, 4}));
}

TEST_F(OutputFileTest, InsertsAnywhereAndGoesOnAtItsEnd) {
  // More than what is moved at a time, and not a multiple of it.
  Bytes wanted;
  for (int i = 0; i < 2500000; ++i) wanted.push_back(static_cast<std::uint8_t>(i * 7 % 251));
  OutputFile file(path("out"), false, path("in"));
  EXPECT_TRUE(file.can_insert());
  file.write(wanted);
  for (const std::size_t at : {0u, 12u, 2000000u, 2500000u + 3 * 3}) {
    file.insert(at, some);
    wanted.insert(wanted.begin() + static_cast<std::ptrdiff_t>(at), some.begin(), some.end());
  }
  file.write(some);
  wanted.insert(wanted.end(), some.begin(), some.end());
  file.commit();
  EXPECT_EQ(read_bytes(path("out")), wanted);
}

TEST_F(OutputFileTest, ReplacesOnlyWhenForced) {
  write_bytes(path("out"), some);
  EXPECT_EQ(error_of(path("out"), false, path("in")),
            path("out") + ": exists already (--force replaces it)");
  OutputFile file(path("out"), true, path("in"));
  file.write(Bytes{7});
  file.commit();
  EXPECT_EQ(read_bytes(path("out")), Bytes{7});
}

TEST_F(OutputFileTest, AFileThatAppearsMeanwhileIsKept) {
  {
    OutputFile file(path("out"), false, path("in"));
    write_bytes(path("out"), some);
    EXPECT_THROW(file.commit(), FileError);
  }
  EXPECT_EQ(read_bytes(path("out")), some);
  EXPECT_THAT(names(), ElementsAre("out"));
}

TEST_F(OutputFileTest, WritesToADeviceAndNeverReplacesItOrAFolder) {
  {
    OutputFile null("/dev/null", true, path("in"));
    EXPECT_TRUE(null.live());
    EXPECT_FALSE(null.seekable());
    null.write(some);
    null.commit();
  }
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
  std::filesystem::create_directory(path("folder"));
  EXPECT_THAT(error_of(path("folder"), true, path("in")), EndsWith(": not a regular file"));
}

TEST_F(OutputFileTest, AMissingFolderIsTheSystemsError) {
  EXPECT_THAT(error_of(path("none/out"), false, path("in")), EndsWith("No such file or directory"));
}

TEST_F(OutputFileTest, ALinkStaysALink) {
  write_bytes(path("real"), some);
  std::filesystem::create_symlink("real", path("link"));
  OutputFile file(path("link"), true, path("in"));
  file.write(Bytes{5});
  file.commit();
  EXPECT_TRUE(std::filesystem::is_symlink(path("link")));
  EXPECT_EQ(read_bytes(path("real")), Bytes{5});
}

TEST_F(OutputFileTest, TheInputIsNotOverwrittenThroughThePartName) {
  write_bytes(path("out.part"), some);
  EXPECT_THAT(error_of(path("out"), true, path("out.part")), HasSubstr("overwrite the input"));
  EXPECT_EQ(read_bytes(path("out.part")), some);
}

TEST_F(OutputFileTest, TheInputIsNotReplacedByWhateverName) {
  write_bytes(path("both"), some);
  std::filesystem::create_symlink("both", path("link"));
  std::filesystem::create_hard_link(path("both"), path("other"));
  for (const std::string output : {"both", "link", "other", "../both"}) {
    SCOPED_TRACE(output);
    std::filesystem::create_directories(path("folder"));
    const std::string name = output == "../both" ? path("folder/../both") : path(output);
    for (const bool force : {false, true}) {
      EXPECT_EQ(error_of(name, force, path("both")),
                name + ": is the input; the output needs another name");
    }
  }
  EXPECT_EQ(error_of(path("other.x"), true, path("both")), "");
  EXPECT_EQ(error_of("/dev/null", true, "/dev/null"), "");  // of a device both may be had
  EXPECT_EQ(read_bytes(path("both")), some);
}

}  // namespace
}  // namespace quel::tools
