#include "tools/sha256.h"

#include <gtest/gtest.h>

#include <string>

#include "tools/file_error.h"
#include "tools/tool_support.h"

namespace quel::tools {
namespace {

std::string digest(const std::string& text, std::size_t piece = 1000000) {
  Sha256 sum;
  for (std::size_t at = 0; at < text.size(); at += piece) {
    const std::string part = text.substr(at, piece);
    sum.add({reinterpret_cast<const std::uint8_t*>(part.data()), part.size()});
  }
  return sum.hex();
}

// The examples that NIST publishes beside FIPS 180-4.
TEST(Sha256, PublishedExamples) {
  EXPECT_EQ(digest(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(digest("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(digest("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
  EXPECT_EQ(digest(std::string(1000000, 'a'), 4093),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(Sha256, PiecesDoNotMatter) {
  for (std::size_t size = 50; size < 140; ++size) {
    const std::string text(size, 'q');
    EXPECT_EQ(digest(text, 1), digest(text));
    EXPECT_EQ(digest(text, 63), digest(text));
  }
}

class DigestFile : public test::ToolTest {};

TEST_F(DigestFile, HasSizeAndDigest) {
  test::write_bytes(path("f"), {'a', 'b', 'c'});
  const FileDigest file = digest_file(path("f"));
  EXPECT_EQ(file.bytes, 3u);
  EXPECT_EQ(file.sha256, digest("abc"));
  EXPECT_THROW(digest_file(path("none")), FileError);
}

}  // namespace
}  // namespace quel::tools
