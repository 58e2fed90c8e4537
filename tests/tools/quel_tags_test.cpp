// What a recording says of itself, on its way into a coded file and back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <map>
#include <string>

#include "tools/tool_support.h"

namespace quel::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

using Tags = std::map<int, std::string>;

const Tags all_tags = {{SF_STR_TITLE, "Tea & biscuits"}, {SF_STR_ARTIST, "Zo\u00eb"},
                       {SF_STR_ALBUM, "Afternoons"},     {SF_STR_DATE, "2001-02-03"},
                       {SF_STR_COMMENT, "odd"},          {SF_STR_COPYRIGHT, "nobody's"},
                       {SF_STR_GENRE, "speech"},         {SF_STR_TRACKNUMBER, "7"}};

class QuelTags : public ToolTest {
 protected:
  /// A line of shell in the test's folder, with the program as $Q.
  ProgramResult shell(const std::string& line) {
    return run_program("/bin/sh",
                       {"-c", "cd \"$1\" && Q=\"$2\" && " + line, "sh", path(""), QUEL_PROGRAM});
  }
  void write_tagged(const std::string& name, int format, const Tags& tags) {
    SF_INFO info{};
    info.samplerate = 8000;
    info.channels = 1;
    info.format = format;
    SNDFILE* file = sf_open(path(name).c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr);
    for (const auto& [which, text] : tags) EXPECT_EQ(sf_set_string(file, which, text.c_str()), 0);
    const auto pcm = loud_speech(4001, 1);
    sf_write_short(file, pcm.data(), 4001);
    sf_close(file);
  }
  Tags tags_of(const std::string& name) {
    SF_INFO info{};
    SNDFILE* file = sf_open(path(name).c_str(), SFM_READ, &info);
    Tags tags;
    if (file == nullptr) return tags;
    for (int which = SF_STR_FIRST; which <= SF_STR_LAST; ++which) {
      const char* const text = sf_get_string(file, which);
      if (text != nullptr && which != SF_STR_SOFTWARE) tags[which] = text;
    }
    sf_close(file);
    return tags;
  }
};

TEST_F(QuelTags, TheyComeThroughAndBack) {
  for (const int format : {SF_FORMAT_FLAC | SF_FORMAT_PCM_16, SF_FORMAT_WAV | SF_FORMAT_PCM_16,
                           SF_FORMAT_OGG | SF_FORMAT_VORBIS, SF_FORMAT_AIFF | SF_FORMAT_PCM_16}) {
    SCOPED_TRACE(format);
    Tags tags = all_tags;
    if ((format & SF_FORMAT_TYPEMASK) == SF_FORMAT_AIFF) {  // it knows three of them
      tags = {{SF_STR_TITLE, "Tea"}, {SF_STR_ARTIST, "Zoe"}, {SF_STR_COMMENT, "odd"}};
    }
    write_tagged("in", format, tags);
    ASSERT_EQ(tags_of("in"), tags);
    EXPECT_EQ(shell("$Q encode in c -f && $Q decode c o.wav -f && $Q decode c o.flac -f").err, "");
    EXPECT_EQ(tags_of("o.wav"), tags);
    EXPECT_EQ(tags_of("o.flac"), tags);
    EXPECT_EQ(load_audio(path("o.wav")).samples.size(), 4001u);
    EXPECT_EQ(load_audio(path("o.wav")).samples, load_audio(path("o.flac")).samples);
    EXPECT_THAT(shell("$Q info c").out, HasSubstr("TITLE=Tea"));
  }
}

TEST_F(QuelTags, AWavHeaderOutOfAPipeHasThemToo) {
  write_tagged("in", SF_FORMAT_WAV | SF_FORMAT_PCM_16, all_tags);
  EXPECT_EQ(shell("$Q encode in c && cat in | $Q encode - c2").err, "");
  EXPECT_EQ(read_bytes(path("c2")), read_bytes(path("c")));
}

TEST_F(QuelTags, TheyStayBehindWhereTheyAreNotWanted) {
  write_tagged("in", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, all_tags);
  write_tagged("bare.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, {});
  EXPECT_EQ(shell("$Q encode in c --no-tags && $Q encode bare.wav bare").err, "");
  EXPECT_EQ(read_bytes(path("c")), read_bytes(path("bare")));
  EXPECT_EQ(shell("$Q encode in t && $Q decode t o.wav --no-tags && $Q decode bare b.wav && "
                  "$Q decode t o.flac --no-tags")
                .err,
            "");
  EXPECT_EQ(read_bytes(path("o.wav")), read_bytes(path("b.wav")));
  EXPECT_EQ(tags_of("o.flac"), Tags{});
  // Through a pipe, where a chunk behind the samples would be heard.
  EXPECT_EQ(shell("$Q decode t - | cat > p1 && $Q decode bare - | cat > p2").err, "");
  EXPECT_EQ(read_bytes(path("p1")), read_bytes(path("p2")));
}

TEST_F(QuelTags, WhatTheUserSaysIsSaidInTheirPlace) {
  write_tagged("in", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, all_tags);
  EXPECT_EQ(shell("$Q encode in c --comment title=Coffee && $Q decode c o.wav").err, "");
  EXPECT_EQ(tags_of("o.wav").at(SF_STR_TITLE), "Coffee");
  EXPECT_EQ(tags_of("o.wav").at(SF_STR_ARTIST), "Zo\u00eb");
  EXPECT_THAT(shell("$Q info c").out, Not(HasSubstr("Tea")));
}

TEST_F(QuelTags, OldTextBecomesUnicodeAndTooMuchIsLeftOutWithAWord) {
  write_tagged("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16,
               {{SF_STR_TITLE, "Caf\xe9"}, {SF_STR_COMMENT, std::string(5, 'x')}});
  EXPECT_EQ(shell("$Q encode in.wav c && $Q decode c o.wav").err, "");
  EXPECT_EQ(tags_of("o.wav").at(SF_STR_TITLE), "Caf\u00e9");
  write_tagged("in.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16,
               {{SF_STR_TITLE, "Tea"}, {SF_STR_COMMENT, std::string(70000, 'x')}});
  const ProgramResult result = shell("$Q encode in.flac c -f && $Q decode c o.wav -f");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err,
            "quel: in.flac: its tag COMMENT is left out: it has 70000 bytes, more than "
            "a coded file holds\n");
  EXPECT_EQ(tags_of("o.wav"), (Tags{{SF_STR_TITLE, "Tea"}}));
}

}  // namespace
}  // namespace quel::test
