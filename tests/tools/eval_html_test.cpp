#include "tools/eval_html.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <regex>

#include "tools/eval_text.h"
#include "tools/sha256.h"
#include "tools/tool_support.h"

namespace quel::tools {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

/// Two results over both rates, one without any figure.
EvalReport report(int samples) {
  EvalReport out;
  out.settings.input = "some/folder/<b>&\"quoted\".wav";
  out.settings.excerpt_seconds = 120.0;
  out.seconds = samples / 8000.0;
  out.sources[8000] = test::loud_speech(samples, 1);
  out.sources[16000] = test::loud_speech(2 * samples, 1, 16000.0);
  EvalResult narrow, wide;
  narrow.flavor = 2;
  narrow.loss_percent = 2.5;
  narrow.heard = test::loud_speech(samples, 2);
  narrow.trial.figures = SnrFigures{9.876, 8.765, 10};
  wide.flavor = 3;
  wide.heard = test::loud_speech(2 * samples, 3, 16000.0);
  out.results = {narrow, wide};
  return out;
}

std::string page_of(const EvalReport& from) {
  std::string page;
  write_page(from, [&](std::string_view piece) { page += piece; });
  return page;
}

std::vector<std::string> all(const std::string& page, const std::string& pattern) {
  const std::regex expression(pattern);
  std::vector<std::string> found;
  for (std::sregex_iterator it(page.begin(), page.end(), expression), end; it != end; ++it) {
    found.push_back((*it)[1]);
  }
  return found;
}

/// The page with every data URI's contents cut out: libstdc++'s regular expressions recurse once
/// per character.
std::string without_data(const std::string& page) {
  std::string out;
  for (std::size_t at = 0; at < page.size();) {
    const std::size_t data = page.find(";base64,", at);
    if (data == std::string::npos) return out + page.substr(at);
    out += page.substr(at, data + 8 - at);
    at = page.find('"', data);
  }
  return out;
}

TEST(WritePage, HoldsEverySound) {
  const EvalReport from = report(4000);
  const std::string page = page_of(from);
  for (const auto& [rate, pcm] : from.sources) {
    EXPECT_NE(page.find("data:audio/wav;base64," + base64(wav_bytes(pcm, rate)) + "\""),
              std::string::npos)
        << rate;
  }
  for (const EvalResult& result : from.results) {
    const int rate = result.flavor == 3 ? 16000 : 8000;
    EXPECT_NE(page.find("data:audio/wav;base64," + base64(wav_bytes(result.heard, rate)) + "\""),
              std::string::npos);
  }
  const std::string text = without_data(page);
  EXPECT_EQ(all(text, "<audio [^>]*data-seconds=\"([^\"]*)\""), std::vector<std::string>(4, "0.5"));
  EXPECT_EQ(all(text, "(<svg )").size(), 4u);
  EXPECT_EQ(all(text, "<image [^>]*href=\"(data:image/png;base64,)\"").size(), 4u);
}

TEST(WritePage, AsksForNothing) {
  const std::string text = without_data(page_of(report(4000)));
  EXPECT_THAT(text, Not(HasSubstr("://")));
  EXPECT_THAT(text, Not(HasSubstr("@import")));
  EXPECT_THAT(text, Not(HasSubstr("url(")));
  EXPECT_THAT(text, HasSubstr("default-src 'none'; img-src data:; media-src data:;"));
  // The one script that the policy lets run is the page's own.
  const std::size_t script = text.find("<script>") + 8;
  ASSERT_EQ(text.find("<script", script), std::string::npos);
  const std::string run = text.substr(script, text.find("</script>") - script);
  Sha256 digest;
  digest.add({reinterpret_cast<const std::uint8_t*>(run.data()), run.size()});
  EXPECT_THAT(text, HasSubstr("script-src 'sha256-" + base64(digest.digest()) + "'\""));
  EXPECT_GT(run.size(), 1000u);
  for (const std::string& target : all(text, "(?:src|href)=\"([^\"]*)\"")) {
    EXPECT_TRUE(target.starts_with("data:") || target.starts_with("#result")) << target;
  }
}

TEST(WritePage, EscapesTheName) {
  const std::string text = without_data(page_of(report(800)));
  EXPECT_THAT(text, HasSubstr("<h1>&lt;b&gt;&amp;&quot;quoted&quot;.wav</h1>"));
  EXPECT_THAT(text, Not(HasSubstr("folder")));
}

TEST(WritePage, EveryTagIsClosed) {
  const std::string text = without_data(page_of(report(800)));
  const std::vector<std::string> empty = {"meta", "link", "image", "path", "rect"};
  std::vector<std::string> open;
  const std::regex tag("<(/?)([a-z0-9]+)");
  for (std::sregex_iterator it(text.begin(), text.end(), tag), end; it != end; ++it) {
    const std::string name = (*it)[2];
    if ((*it)[1].length() == 0) {
      if (std::find(empty.begin(), empty.end(), name) == empty.end()) open.push_back(name);
      continue;
    }
    ASSERT_FALSE(open.empty());
    EXPECT_EQ(open.back(), name);
    open.pop_back();
  }
  EXPECT_TRUE(open.empty());
}

TEST(WritePage, TheTableHasEveryResult) {
  const std::string text = without_data(page_of(report(800)));
  EXPECT_THAT(all(text, "href=\"#(result[0-9])\""), testing::ElementsAre("result0", "result1"));
  EXPECT_THAT(all(text, "id=\"(result[0-9])\""), testing::ElementsAre("result0", "result1"));
  EXPECT_THAT(text, HasSubstr("<a href=\"#result0\">5k</a>"));
  EXPECT_THAT(text, HasSubstr("<td>9.88</td><td>8.77</td>"));
  EXPECT_THAT(text, HasSubstr("<td>&ndash;</td>"));
  EXPECT_THAT(text, HasSubstr("<h3>5k, 2.5 % lost</h3>"));
  const auto rows = all(text, "(<tr>.*</tr>)");
  ASSERT_EQ(rows.size(), 3u);
  const auto cells = [](const std::string& row) { return all(row, "(<t[hd][ >])").size(); };
  EXPECT_EQ(cells(rows[1]), cells(rows[0]));
  EXPECT_EQ(cells(rows[2]), cells(rows[0]));
}

TEST(WritePage, LostFramesAreMarkedWhereTheirSoundLies) {
  EvalReport from = report(8000);
  EXPECT_THAT(without_data(page_of(from)), Not(HasSubstr("class=\"lost\"")));
  from.results[0].lost = {{0.25, 0.5}, {0.75, 0.75 + 1e-6}};
  const std::string text = without_data(page_of(from));
  // 900 units a second from 52 on; a short loss is still a line.
  EXPECT_THAT(all(text, "<path class=\"lost\" d=\"([^\"]*)\""),
              testing::ElementsAre("M277.0 97h225.0v8h-225.0zM727.0 97h1.0v8h-1.0z"));
}

TEST(WritePage, TheSoundsOfARateAreComparedWithTheirSource) {
  const std::string text = without_data(page_of(report(800)));
  EXPECT_EQ(all(text, "(<section class=\"compare\">)").size(), 2u);
  const std::string narrow = "5k", wide = "16k";
  EXPECT_THAT(all(text, "data-name=\"([^\"]*)\""),
              testing::ElementsAre("Original", narrow + ", 2.5 % lost", "Original", wide));
}

TEST(WritePage, SaysWhereItHoldsOnlyTheStart) {
  EvalReport from = report(8000);
  EXPECT_THAT(without_data(page_of(from)), Not(HasSubstr("hold the first")));
  from.seconds = 121.0;
  EXPECT_THAT(without_data(page_of(from)), HasSubstr("hold the first 120 s"));
}

TEST(WritePage, AnyLengthHasAReadableTimeAxis) {
  for (const int samples : {1, 80, 7999, 40001, 480000}) {
    SCOPED_TRACE(samples);
    EvalReport from = report(1);
    from.results.clear();
    from.sources.erase(16000);
    from.sources[8000].assign(static_cast<std::size_t>(samples), 0);
    const std::string text = without_data(page_of(from));
    const auto marks = all(text, "text-anchor=\"middle\">([^<]*)<");
    EXPECT_GE(marks.size(), 4u);
    EXPECT_LE(marks.size(), 13u);
    EXPECT_EQ(std::stod(marks.at(0)), 0.0);
    const double step = std::stod(marks.at(1));
    EXPECT_GT(step, 0.0);
    // Digits enough: every mark is its number of steps.
    for (std::size_t i = 0; i < marks.size(); ++i) {
      EXPECT_NEAR(std::stod(marks[i]), step * static_cast<double>(i), 1e-9);
    }
    EXPECT_LE(std::stod(marks.back()), samples / 8000.0);
  }
}

}  // namespace
}  // namespace quel::tools
