#include "tools/info_command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tools/ogg_support.h"
#include "tools/tool_support.h"
#include "tools/version.h"

namespace quel::tools {
namespace {

using test::Bytes;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

class Info : public test::ToolTest {
 protected:
  void write_file(const std::string& name, const OggTags& tags = make_tags()) {
    file_ = test::ogg_file(1, test::coded_units(1, 40), test::samples_of(1, 40),
                           test::small_pages(), tags);
    test::write_bytes(path(name), file_);
  }
  std::string told(const std::vector<std::string>& inputs, bool json = false) {
    std::ostringstream out, err;
    status_ = run_info_command({inputs, json}, out, err);
    err_ = err.str();
    return out.str();
  }
  Bytes file_;
  int status_ = -1;
  std::string err_;
};

TEST_F(Info, TellsFlavorRatesDurationDelayAndTags) {
  OggTags tags = make_tags();
  add_comment(tags, "TITLE=A\x1b[2Jb");
  write_file("c", tags);
  const std::string text = told({path("c")});
  EXPECT_EQ(status_, 0);
  EXPECT_EQ(err_, "");
  EXPECT_THAT(text, HasSubstr("  flavor      8k5, number 1\n"));
  EXPECT_THAT(text, HasSubstr("  duration    0.705 s, 5640 samples at 8000 Hz\n"));
  EXPECT_THAT(text, HasSubstr("  source      44100 Hz\n"));
  EXPECT_THAT(text, HasSubstr("  net rate    8444 bit/s\n"));
  // Bytes over seconds.
  const double gross = 8.0 * static_cast<double>(file_.size()) / 0.705;
  EXPECT_THAT(text, HasSubstr("  gross rate  " + std::to_string(std::lround(gross)) + " bit/s, "));
  EXPECT_THAT(text, HasSubstr("  delay       120 samples, 15.0 ms\n"));
  EXPECT_THAT(text, HasSubstr("  damage      none\n"));
  // No command for the terminal gets through.
  EXPECT_THAT(text, AllOf(HasSubstr("  tag         TITLE=A [2Jb\n"), Not(HasSubstr("\x1b"))));
}

TEST_F(Info, TellsTheThreeNumbers) {
  write_file("c");
  const std::string behaviour = std::to_string(quel_behaviour());
  const std::string text = told({path("c")});
  EXPECT_THAT(text, HasSubstr("\n  bitstream   2\n"
                              "  encoder     quelcodec " +
                              version_text() + ", behaviour " + behaviour + "\n  damage "));
  EXPECT_THAT(told({path("c")}, true), HasSubstr(",\"bitstream\":2,\"behaviour\":" + behaviour +
                                                 ",\"encoder\":\"quelcodec " + version_text() +
                                                 "\",\"tags\":[{\"name\":"
                                                 "\"QUEL_BEHAVIOUR\",\"value\":\"" +
                                                 behaviour + "\"}]"));
}

TEST_F(Info, NoBehaviourIsAReasonToRefuse) {
  using Comments = decltype(OggTags::comments);
  const struct {
    Comments comments;
    const char *text, *json;
  } cases[] = {
      {{{"QUEL_BEHAVIOUR", "99"}}, "e, behaviour 99\n  damage", ":99,"},
      {{{"quel_Behaviour", "7"}, {"QUEL_BEHAVIOUR", "8"}},
       "e, behaviour 7\n  tag         QUEL_BEHAVIOUR=8\n",
       ":7,"},
      {{{"QUEL_BEHAVIOUR", "two"}, {"QUEL_BEHAVIOUR", "8"}},
       "e, behaviour unknown\n  tag         QUEL_BEHAVIOUR=two\n  tag         QUEL_BEHAVIOUR=8\n",
       ":null,"},
      {{{"QUEL_BEHAVIOURS", "8"}},
       "e, behaviour unknown\n  tag         QUEL_BEHAVIOURS=8\n",
       ":null,"},
      {{}, "e, behaviour unknown\n  damage", ":null,"},
  };
  for (const auto& each : cases) {
    write_file("c", {"e", each.comments});
    EXPECT_THAT(told({path("c")}), HasSubstr("  encoder     " + std::string(each.text)));
    EXPECT_EQ(status_, 0);
    EXPECT_THAT(told({path("c")}, true), HasSubstr("\"behaviour\"" + std::string(each.json)));
    EXPECT_EQ(test::ogg_decode(file_), test::plain_decode(1, test::coded_units(1, 40)));
  }
}

TEST_F(Info, WithoutCommentsTheEncoderIsUnknown) {
  write_file("c");
  test::write_bytes(path("c"), test::without(file_, test::page_spans(file_)[1]));
  EXPECT_THAT(told({path("c")}), HasSubstr("  encoder     unknown, behaviour unknown\n"));
}

TEST_F(Info, CountsDamage) {
  write_file("c");
  const auto pages = test::page_spans(file_);
  test::write_bytes(path("hole"), test::without(file_, pages[3]));
  EXPECT_THAT(told({path("hole")}), HasSubstr("  damage      9 lost units in 1 hole\n"));
  EXPECT_EQ(status_, 0);
  Bytes flipped = file_;
  flipped[pages[3].start + 60] ^= 1;
  test::write_bytes(path("flipped"), flipped);
  EXPECT_THAT(told({path("flipped")}), HasSubstr("9 lost units in 1 hole, 1 damaged page, "));
}

TEST_F(Info, ReadsWhatAnInterruptedRunLeft) {
  write_file("c");
  const auto end = file_.begin() + static_cast<std::ptrdiff_t>(test::page_spans(file_)[4].start);
  test::write_bytes(path("out.part"), Bytes(file_.begin(), end));
  const std::string text = told({path("out.part")});
  EXPECT_EQ(status_, 0);
  EXPECT_THAT(text, HasSubstr("  duration    0.309 s, 2472 samples at 8000 Hz\n"));
  EXPECT_THAT(text, HasSubstr("  damage      cut short: the end is missing\n"));
}

TEST_F(Info, GoesOnAfterAFileThatCannotBeRead) {
  write_file("c");
  const std::string text = told({path("none"), path("c")});
  EXPECT_EQ(status_, 1);
  EXPECT_EQ(err_, "quel: " + path("none") + ": No such file or directory\n");
  EXPECT_THAT(text, HasSubstr("damage      none"));
}

TEST_F(Info, JsonIsAList) {
  OggTags tags = make_tags();
  add_comment(tags, "A=\"\n");
  write_file("c", tags);
  EXPECT_EQ(told({path("none")}, true), "[\n]\n");
  const std::string json = told({path("c"), path("c")}, true);
  EXPECT_THAT(json, HasSubstr("[\n{\"file\":"));
  EXPECT_THAT(json, HasSubstr("},\n{\"file\":"));
  EXPECT_THAT(json, HasSubstr("\"samples\":5640,\"seconds\":0.705,"));
  EXPECT_THAT(json, HasSubstr(",{\"name\":\"A\",\"value\":\"\\\"\\u000a\"}]"));
  EXPECT_THAT(json, HasSubstr("\"damaged\":false,\"complete\":true,\"lost_units\":0"));
}

TEST_F(Info, AnEmptySourceHasNoGrossRate) {
  test::write_bytes(path("c"), test::ogg_file(1, {}, 0));
  EXPECT_THAT(told({path("c")}), HasSubstr("  gross rate  none\n"));
}

}  // namespace
}  // namespace quel::tools
