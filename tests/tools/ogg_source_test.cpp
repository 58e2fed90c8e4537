#include "tools/ogg_source.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/file_error.h"
#include "tools/tool_support.h"

namespace quel::tools {
namespace {

using test::Bytes;

class OggSourceTest : public test::ToolTest {};

Bytes take(OggSource& source, std::size_t count) {
  Bytes bytes(count);
  bytes.resize(source.read(bytes));
  return bytes;
}

TEST_F(OggSourceTest, AFileIsReadFromWhereItIsSought) {
  test::write_bytes(path("f"), {1, 2, 3, 4, 5});
  FileSource file(path("f"));
  const Bytes memory_bytes = {1, 2, 3, 4, 5};
  MemorySource memory(memory_bytes);
  for (OggSource* source : {static_cast<OggSource*>(&file), static_cast<OggSource*>(&memory)}) {
    EXPECT_TRUE(source->seekable());
    EXPECT_EQ(take(*source, 2), Bytes({1, 2}));
    EXPECT_EQ(take(*source, 9), Bytes({3, 4, 5}));
    EXPECT_EQ(take(*source, 9), Bytes());
    source->seek(4);
    EXPECT_EQ(take(*source, 9), Bytes({5}));
    source->seek(5);
    EXPECT_EQ(take(*source, 9), Bytes());
    source->seek(1000);
    EXPECT_EQ(take(*source, 9), Bytes());
    source->seek(0);
    EXPECT_EQ(take(*source, 1), Bytes({1}));
  }
}

TEST_F(OggSourceTest, MissingFilesAndFoldersAreTheSystemsErrors) {
  const auto error = [](const std::string& name) -> std::string {
    try {
      FileSource source(name);
      take(source, 1);
    } catch (const FileError& caught) {
      return caught.what();
    }
    return "";
  };
  EXPECT_EQ(error(path("none")), path("none") + ": No such file or directory");
  EXPECT_EQ(error(path(".")), path(".") + ": Is a directory");
}

TEST_F(OggSourceTest, NobodySeeksInAPipe) {
  EXPECT_FALSE(FileSource("-").seekable());
  EXPECT_FALSE(FileSource("/dev/null").seekable());
}

}  // namespace
}  // namespace quel::tools
