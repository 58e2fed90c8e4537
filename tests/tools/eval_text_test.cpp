#include "tools/eval_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tools/audio_file.h"
#include "tools/tool_support.h"

namespace quel::tools {
namespace {

TEST(JsonString, Escapes) {
  EXPECT_EQ(json_string("a \"b\" \\ c"), R"("a \"b\" \\ c")");
  EXPECT_EQ(json_string(std::string("\n\0\x1f\x7f", 4)), R"("\u000a\u0000\u001f\u007f")");
  EXPECT_EQ(json_string("\xc3\xa4/\xff"), "\"\xc3\xa4/\xef\xbf\xbd\"");
}

TEST(HtmlText, Escapes) {
  EXPECT_EQ(html_text("<a href=\"x\">'&'</a>"),
            "&lt;a href=&quot;x&quot;&gt;&#39;&amp;&#39;&lt;/a&gt;");
  EXPECT_EQ(html_text("a\tb\x01"), "a\tb\xef\xbf\xbd");
}

TEST(Numbers, AreTextInTheCLocale) {
  EXPECT_EQ(fixed(1.005, 1), "1.0");
  EXPECT_EQ(fixed(-2.5, 2), "-2.50");
  EXPECT_EQ(fixed(1234.5, 0), "1234");  // halves to even
  EXPECT_EQ(fixed(std::numeric_limits<double>::max(), 2).size(), 309u + 3u);
  EXPECT_EQ(fixed(HUGE_VAL, 2), "inf");
  EXPECT_EQ(fixed(-HUGE_VAL, 2), "-inf");
  EXPECT_EQ(fixed(std::nan(""), 2), "nan");
  EXPECT_EQ(shortest(3.0), "3");
  EXPECT_EQ(shortest(2.5), "2.5");
  EXPECT_EQ(std::stod(shortest(1.0 / 3.0)), 1.0 / 3.0);
}

std::string base64_of(std::string_view text) {
  return base64({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

TEST(Base64, TheRemaindersOfThree) {
  // RFC 4648, section 10.
  EXPECT_EQ(base64_of(""), "");
  EXPECT_EQ(base64_of("f"), "Zg==");
  EXPECT_EQ(base64_of("fo"), "Zm8=");
  EXPECT_EQ(base64_of("foo"), "Zm9v");
  EXPECT_EQ(base64_of("foob"), "Zm9vYg==");
  EXPECT_EQ(base64_of("fooba"), "Zm9vYmE=");
  EXPECT_EQ(base64_of("foobar"), "Zm9vYmFy");
  EXPECT_EQ(base64_of("\xfb\xff\xbf"), "+/+/");
}

using WavBytes = test::ToolTest;

TEST_F(WavBytes, IsAFileThatCanBeRead) {
  for (const int samples : {0, 1, 777}) {
    const auto pcm = test::loud_speech(samples, 1);
    test::write_bytes(path("x.wav"), wav_bytes(pcm, 16000));
    const auto audio = test::load_audio(path("x.wav"));
    EXPECT_EQ(audio.rate, 16000);
    EXPECT_EQ(audio.channels, 1);
    EXPECT_EQ(audio.samples, pcm);
  }
}

TEST_F(WavBytes, IsTheFileThatDecodeWrites) {
  const auto pcm = test::loud_speech(100, 2);
  OutputFile file(path("x.wav"), false, "input");
  WavWriter writer(file, 8000);
  writer.write(pcm);
  writer.finish();
  EXPECT_EQ(test::read_bytes(path("x.wav")), wav_bytes(pcm, 8000));
}

}  // namespace
}  // namespace quel::tools
