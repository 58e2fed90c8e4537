#include "tools/text.h"

#include <gtest/gtest.h>

#include "tools/file_error.h"

namespace quel::tools {
namespace {

TEST(ValidUtf8, KeepsWhatIsValid) {
  for (const std::string text : {"", "plain", "\xc3\xa4", "\xe0\xa0\x80", "\xed\x9f\xbf",
                                 "\xef\xbf\xbf", "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"}) {
    EXPECT_EQ(valid_utf8(text), text);
  }
}

TEST(ValidUtf8, ReplacesEachStrayByte) {
  const std::string r = "\xef\xbf\xbd";
  EXPECT_EQ(valid_utf8("a\xff"
                       "b"),
            "a" + r + "b");
  EXPECT_EQ(valid_utf8("\xc3"), r);                  // cut
  EXPECT_EQ(valid_utf8("\xe2\x82"), r + r);          // cut
  EXPECT_EQ(valid_utf8("\xc0\xaf"), r + r);          // overlong
  EXPECT_EQ(valid_utf8("\xe0\x9f\xbf"), r + r + r);  // overlong
  EXPECT_EQ(valid_utf8("\xf0\x8f\xbf\xbf"), r + r + r + r);
  EXPECT_EQ(valid_utf8("\xed\xa0\x80"), r + r + r);          // surrogate
  EXPECT_EQ(valid_utf8("\xf4\x90\x80\x80"), r + r + r + r);  // past the last code point
  EXPECT_EQ(valid_utf8("\xf5\x80\x80\x80"), r + r + r + r);
}

TEST(IsUtf8, IsWhatNothingIsReplacedIn) {
  for (const std::string text : {"", "plain", "\xc3\xa4", "\xed\x9f\xbf", "\xff", "\xc3",
                                 "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xe0\x9f\xbf", "a\x80"}) {
    EXPECT_EQ(is_utf8(text), valid_utf8(text) == text) << text;
  }
}

TEST(Printable, LeavesNothingThatATerminalObeys) {
  EXPECT_EQ(printable("a\x1b[2J\tb\n\x7f"), "a [2J b  ");
  // C1: U+009B is the same as ESC [ to many.
  EXPECT_EQ(printable("\xc2\x80\xc2\x9b\xc2\x9f"), "   ");
  EXPECT_EQ(printable("\xc2\xa0\xc3\x9b"), "\xc2\xa0\xc3\x9b");
  EXPECT_EQ(printable("\x9b"), "\xef\xbf\xbd");
}

TEST(Printable, FilesInMessagesAre) {
  EXPECT_STREQ(FileError("a\x1b[2J", "gone").what(), "a [2J: gone");
  EXPECT_STREQ(FileError("-", "gone").what(), "standard input: gone");
}

TEST(Counted, OneIsSingular) {
  EXPECT_EQ(counted(0, "page"), "0 pages");
  EXPECT_EQ(counted(1, "page"), "1 page");
  EXPECT_EQ(counted(2, "page"), "2 pages");
}

}  // namespace
}  // namespace quel::tools
