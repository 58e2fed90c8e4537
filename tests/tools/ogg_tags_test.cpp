#include "tools/ogg_tags.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <quelcodec/quelcodec.h>

#include <stdexcept>

#include "tools/version.h"

namespace quel::tools {
namespace {

using Bytes = std::vector<std::uint8_t>;
using testing::HasSubstr;

Bytes text(const std::string& characters) {
  return {characters.begin(), characters.end()};
}

// "QuelTags", encoder "e", one comment "A=b"
Bytes sound() {
  Bytes packet = text("QuelTags");
  for (const int byte :
       {1, 0, 0, 0, int{'e'}, 1, 0, 0, 0, 3, 0, 0, 0, int{'A'}, int{'='}, int{'b'}}) {
    packet.push_back(static_cast<std::uint8_t>(byte));
  }
  return packet;
}

template <typename Call>
std::string error_of(Call call) {
  try {
    call();
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "";
}

std::string unpack_error(const Bytes& packet) {
  return error_of([&packet] { unpack_tags(packet); });
}

std::string add_error(const std::string& comment) {
  return error_of([&comment] {
    OggTags tags;
    add_comment(tags, comment);
  });
}

TEST(OggTags, AreBytesAsDocumented) {
  OggTags tags{"e", {}};
  add_comment(tags, "A=b");
  EXPECT_EQ(pack_tags(tags), sound());
}

TEST(OggTags, NameTheLibrary) {
  EXPECT_THAT(make_tags().encoder, testing::MatchesRegex("quelcodec [0-9]+\\.[0-9]+\\.[0-9]+"));
}

TEST(OggTags, TellTheBehaviourOfTheEncoderOnly) {
  EXPECT_EQ(make_tags().encoder, "quelcodec " + version_text());
  ASSERT_EQ(make_tags().comments.size(), 1u);
  EXPECT_EQ(make_tags().comments[0].first, "QUEL_BEHAVIOUR");
  EXPECT_EQ(make_tags().comments[0].second, std::to_string(quel_behaviour()));
  EXPECT_EQ(make_tags_of_foreign_units().encoder, make_tags().encoder);
  EXPECT_TRUE(make_tags_of_foreign_units().comments.empty());
}

TEST(OggTags, TheFirstCommentOfItsNameTellsTheBehaviour) {
  const auto told = [](decltype(OggTags::comments) comments) {
    return behaviour_of({"", std::move(comments)});
  };
  EXPECT_EQ(behaviour_of(make_tags()), quel_behaviour());
  EXPECT_EQ(told({}), std::nullopt);
  EXPECT_EQ(told({{"A", "1"}, {"quel_behaviouR", "1"}, {"QUEL_BEHAVIOUR", "2"}}), 1);
  EXPECT_EQ(told({{"QUEL_BEHAVIOUR", "x"}, {"QUEL_BEHAVIOUR", "2"}}), std::nullopt);
  for (const char* other :
       {"QUEL_BEHAVIOU", "QUEL_BEHAVIOURS", " QUEL_BEHAVIOUR", "QUEL BEHAVIOUR"})
    EXPECT_EQ(told({{other, "1"}}), std::nullopt) << other;
  EXPECT_EQ(told({{"QUEL_BEHAVIOUR", "65535"}}), 65535);
  EXPECT_EQ(told({{"QUEL_BEHAVIOUR", "007"}}), 7);
  for (const char* no :
       {"", "0", "-1", "+1", "65536", "99999999999999999999", "2 ", " 2", "2.0", "0x2"})
    EXPECT_EQ(told({{"QUEL_BEHAVIOUR", no}}), std::nullopt) << no;
}

TEST(OggTags, ComeBack) {
  OggTags tags = make_tags();
  add_comment(tags, "TITLE=d\xc3\xa9j\xc3\xa0 vu = seen");
  add_comment(tags, "TITLE=");
  add_comment(tags, "a }=\xf4\x8f\xbf\xbf");
  const OggTags back = unpack_tags(pack_tags(tags));
  EXPECT_EQ(back.encoder, tags.encoder);
  EXPECT_EQ(back.comments, tags.comments);
  EXPECT_EQ(back.comments[1].second, "d\xc3\xa9j\xc3\xa0 vu = seen");
}

TEST(OggTags, CommentsNeedANameAndValidText) {
  EXPECT_EQ(add_error("A=b"), "");
  EXPECT_EQ(add_error("A"), "a comment is not of the form NAME=value");
  EXPECT_EQ(add_error("=b"), "a comment has no name");
  EXPECT_EQ(add_error("A~=b"),
            "a comment's name has other characters than ASCII's from space to }");
  EXPECT_EQ(add_error("A\x1f=b"),
            "a comment's name has other characters than ASCII's from space to }");
  EXPECT_EQ(add_error("\xc3\xa9=b"),
            "a comment's name has other characters than ASCII's from space to }");
  for (const char* wrong : {"\x80", "\xc3", "\xc1\xbf", "\xc3(", "\xe0\x9f\xbf", "\xed\xa0\x80",
                            "\xf0\x8f\xbf\xbf", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xff"}) {
    EXPECT_EQ(add_error(std::string("A=") + wrong), "the comment A is not UTF-8");
  }
  for (const char* right : {"", "z", "\xc2\x80", "\xe0\xa0\x80", "\xed\x9f\xbf", "\xef\xbf\xbf",
                            "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"}) {
    EXPECT_EQ(add_error(std::string("A=") + right), "");
  }
}

TEST(OggTags, HaveToFitIntoOnePage) {
  // magic, two lengths, a count and "A="
  const std::size_t around = 8 + 4 + 4 + 4 + 2;
  OggTags tags{"", {{"A", std::string(ogg_max_packet - around, 'x')}}};
  EXPECT_EQ(pack_tags(tags).size(), ogg_max_packet);
  EXPECT_EQ(unpack_tags(pack_tags(tags)).comments, tags.comments);
  tags.comments[0].second += 'x';
  EXPECT_EQ(error_of([&tags] { pack_tags(tags); }), "the comments take more than 65024 bytes");
  tags = {std::string(ogg_max_packet, 'x'), {}};
  EXPECT_EQ(error_of([&tags] { pack_tags(tags); }), "the comments take more than 65024 bytes");
}

TEST(OggTags, WhatIsWrittenIsCheckedAgain) {
  EXPECT_EQ(error_of([] { pack_tags({"\xff", {}}); }), "the encoder's name is not UTF-8");
  EXPECT_EQ(error_of([] { pack_tags({"", {{"", "b"}}}); }), "a comment has no name");
}

TEST(OggTags, EachFieldHasItsOwnMessage) {
  EXPECT_EQ(unpack_error(sound()), "");
  EXPECT_EQ(unpack_error({}), "the second packet holds no comments");
  const auto with = [](std::size_t position, std::uint8_t value) {
    Bytes packet = sound();
    packet.at(position) = value;
    return unpack_error(packet);
  };
  EXPECT_EQ(with(4, 't'), "the second packet holds no comments");
  EXPECT_EQ(with(8, 13), "the length of the encoder's name is more than the comments hold");
  EXPECT_EQ(with(11, 0xff), "the length of the encoder's name is more than the comments hold");
  EXPECT_EQ(with(12, 0xff), "the encoder's name is not UTF-8");
  EXPECT_EQ(with(13, 0), "bytes follow the last comment");
  EXPECT_EQ(with(13, 2), "the comments end within a comment");
  EXPECT_EQ(with(16, 0xff), "the comments end within a comment");
  EXPECT_EQ(with(17, 4), "the length of a comment is more than the comments hold");
  EXPECT_EQ(with(22, '-'), "a comment is not of the form NAME=value");
  EXPECT_EQ(with(23, 0x80), "the comment A is not UTF-8");
}

TEST(OggTags, CutAnywhereTheyAreRefused) {
  const Bytes packet = sound();
  for (std::size_t size = 0; size < packet.size(); ++size) {
    const Bytes cut(packet.begin(), packet.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_NE(unpack_error(cut), "") << size;
  }
}

}  // namespace
}  // namespace quel::tools
