#include "interface/property.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "interface/unix_prop.h"
#include "quelcodec/quelcodec.h"
#include "support/signals.h"

namespace {

bool memory_is_short = false;
const void* watched = nullptr;
bool watched_was_freed = false;

void free_array(void* p) {
  if (p != nullptr && p == watched) watched_was_freed = true;
  std::free(p);
}

}  // namespace

void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
  return memory_is_short ? nullptr : ::operator new(n);
}
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept {
  return memory_is_short ? nullptr : std::malloc(n);
}
void* operator new[](std::size_t n) {
  void* p = std::malloc(n);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}
void operator delete[](void* p) noexcept {
  free_array(p);
}
void operator delete[](void* p, std::size_t) noexcept {
  free_array(p);
}

namespace quel {
namespace {

using ::testing::Each;

using Numbers = std::vector<std::uint16_t>;

constexpr std::uint16_t flavors[] = {0, 1, 2, 3};

std::string bytes_of(CProp& prop, std::uint16_t flavor, std::uint16_t id) {
  std::uint16_t length = 999;
  const void* result = prop.GetProperty(flavor, id, &length);
  if (result == nullptr) {
    EXPECT_EQ(length, 0);
    return {};
  }
  EXPECT_GT(length, 0);
  return {static_cast<const char*>(result), length};
}

template <typename T>
std::string host_bytes(T value) {
  return {reinterpret_cast<const char*>(&value), sizeof value};
}

std::string with_zero(const char* text) {
  return {text, std::strlen(text) + 1};
}

std::string format(std::uint32_t sampling_rate) {
  return host_bytes(std::uint16_t{1}) + std::string(2, '\0') + host_bytes(sampling_rate) +
         host_bytes(std::uint16_t{16}) + host_bytes(std::uint16_t{1});
}

// What each flavor answers to ids 0..10; the empty string stands for null with length 0.
std::vector<std::string> answers(std::uint16_t flavor) {
  const std::uint32_t bit_rate[] = {6500, 8500, 5000, 16000};
  const std::uint32_t block_size[] = {232, 304, 296, 320};
  const std::uint32_t rate = flavor == 3 ? 16000 : 8000;
  const char* name[] = {"6.5 Kbps Voice", "8.5 Kbps Voice", "5 Kbps Voice",
                        "16 Kbps Voice - Wideband"};
  const char* long_name[] = {"Veltrane 5.0 - 6.5 Kbps Voice", "Veltrane 5.0 - 8.5 Kbps Voice",
                             "Veltrane 5.0 - 5 Kbps Voice",
                             "Veltrane 5.0 - 16 Kbps Voice - Wideband"};
  const char* description[] = {
      "Use for speech and speech with background music based video content\n"
      "over 28.8 Kbps modems.\nFrequency Response : 4 kHz.",
      "Use for speech and speech with background music based video content\n"
      "over 56.6 Kbps modems or ISDN connections.\nFrequency Response : 4 kHz.",
      "Use for speech or for video-based content with speech over 28.8 Kbps\n"
      "modems.\nFrequency Response : 4 kHz.",
      "Use this audio option for speech or speech with background music over\n"
      "28.8 Kbps modems or for video-based content with speech at higher bit rates.\n"
      "Frequency Response : 8 kHz."};
  return {with_zero(long_name[flavor]),
          host_bytes(bit_rate[flavor]),
          format(rate),
          format(rate),
          with_zero(description[flavor]),
          host_bytes(std::uint16_t{3}),
          host_bytes(block_size[flavor]),
          {},
          with_zero(name[flavor]),
          with_zero(description[flavor]),
          with_zero(name[flavor])};
}

// A platform whose every text has the given length.
class LongTexts : public CProp {
 public:
  explicit LongTexts(std::int32_t length) : length_(length) {}
  void _Imp_init() override {}
  std::int32_t _Imp_get_string(std::uint16_t, std::uint16_t, char* dst,
                               std::int32_t maxLen) override {
    std::fill_n(dst, std::clamp(length_, 0, maxLen), 'x');
    if (length_ >= 0 && length_ <= maxLen) dst[length_] = '\0';
    return length_;
  }

 private:
  std::int32_t length_;
};

TEST(GetProperty, AnswersEveryIdOfEveryFlavorByteForByte) {
  const std::unique_ptr<CProp> prop = CProp::Create();
  ASSERT_NE(prop, nullptr);
  prop->_Imp_init();
  for (const std::uint16_t flavor : flavors) {
    const auto expected = answers(flavor);
    for (std::uint16_t id = 0; id <= 10; ++id) {
      SCOPED_TRACE(testing::Message() << "flavor " << flavor << ", id " << id);
      EXPECT_EQ(bytes_of(*prop, flavor, id), expected[id]);
    }
  }
}

TEST(GetProperty, LengthsAreThoseOfTheTypes) {
  CUnixProp prop;
  const std::uint16_t lengths[4][11] = {
      {30, 4, 12, 12, 119, 2, 4, 0, 15, 119, 15},
      {30, 4, 12, 12, 139, 2, 4, 0, 15, 139, 15},
      {28, 4, 12, 12, 105, 2, 4, 0, 13, 105, 13},
      {40, 4, 12, 12, 175, 2, 4, 0, 25, 175, 25},
  };
  for (const std::uint16_t flavor : flavors) {
    for (std::uint16_t id = 0; id <= 10; ++id) {
      SCOPED_TRACE(testing::Message() << "flavor " << flavor << ", id " << id);
      EXPECT_EQ(bytes_of(prop, flavor, id).size(), lengths[flavor][id]);
    }
  }
}

TEST(GetProperty, BitRateOfTheWidebandFlavor) {
  CUnixProp prop;
  EXPECT_EQ(bytes_of(prop, 3, 1), host_bytes(std::uint32_t{16000}));
}

TEST(GetProperty, InputFormatOfFlavorZero) {
  CUnixProp prop;
  const std::string record = bytes_of(prop, 0, 2);
  ASSERT_EQ(record.size(), 12u);
  std::uint16_t code = 0, bits = 0, channels = 0;
  std::uint32_t rate = 0;
  std::memcpy(&code, record.data(), 2);
  std::memcpy(&rate, record.data() + 4, 4);
  std::memcpy(&bits, record.data() + 8, 2);
  std::memcpy(&channels, record.data() + 10, 2);
  EXPECT_EQ(code, 1);
  EXPECT_EQ(record.substr(2, 2), std::string(2, '\0'));
  EXPECT_EQ(rate, 8000u);
  EXPECT_EQ(bits, 16);
  EXPECT_EQ(channels, 1);
}

TEST(GetProperty, IdSevenHasNoTextInAnyFlavor) {
  CUnixProp prop;
  for (const std::uint16_t flavor : flavors) {
    std::uint16_t length = 999;
    EXPECT_EQ(prop.GetProperty(flavor, 7, &length), nullptr);
    EXPECT_EQ(length, 0);
  }
}

TEST(GetProperty, UnknownIdsGiveNothing) {
  CUnixProp prop;
  for (const std::uint16_t flavor : flavors) {
    for (const std::uint16_t id : Numbers{11, 12, 255, 256, 65535}) {
      std::uint16_t length = 999;
      EXPECT_EQ(prop.GetProperty(flavor, id, &length), nullptr);
      EXPECT_EQ(length, 0);
    }
  }
}

TEST(GetProperty, UnknownFlavorsGiveNothingEvenForNumbers) {
  CUnixProp prop;
  for (const std::uint16_t flavor : Numbers{4, 5, 256, 65535}) {
    for (std::uint16_t id = 0; id <= 11; ++id) {
      std::uint16_t length = 999;
      EXPECT_EQ(prop.GetProperty(flavor, id, &length), nullptr);
      EXPECT_EQ(length, 0);
    }
  }
}

TEST(GetProperty, UnknownFlavorLeavesTheLastResultValid) {
  CUnixProp prop;
  std::uint16_t length = 0, none = 0;
  const void* result = watched = prop.GetProperty(1, 1, &length);
  watched_was_freed = false;
  prop.GetProperty(4, 1, &none);
  ASSERT_FALSE(watched_was_freed);
  std::uint32_t rate = 0;
  std::memcpy(&rate, result, 4);
  EXPECT_EQ(rate, 8500u);
}

TEST(GetProperty, EachQueryFreesTheAnswerBefore) {
  CUnixProp prop;
  std::uint16_t length = 0;
  for (const std::uint16_t next : Numbers{5, 4, 7, 11}) {
    SCOPED_TRACE(next);
    watched = prop.GetProperty(3, 1, &length);
    watched_was_freed = false;
    ASSERT_NE(watched, nullptr);
    prop.GetProperty(0, next, &length);
    EXPECT_TRUE(watched_was_freed);
  }
}

TEST(GetProperty, LastAnswerGoesWithTheObject) {
  std::unique_ptr<CProp> prop = CProp::Create();
  std::uint16_t length = 0;
  watched = prop->GetProperty(2, 4, &length);
  watched_was_freed = false;
  ASSERT_NE(watched, nullptr);
  prop.reset();
  EXPECT_TRUE(watched_was_freed);
}

TEST(GetProperty, AnswersDoNotDependOnWhatWasAskedBefore) {
  CUnixProp prop;
  test::Random random(1);
  for (int query = 0; query < 2000; ++query) {
    const auto flavor = static_cast<std::uint16_t>(random.integer(0, 5));
    const auto id = static_cast<std::uint16_t>(random.integer(0, 12));
    SCOPED_TRACE(testing::Message() << "flavor " << flavor << ", id " << id);
    const bool known = flavor <= 3 && id <= 10;
    ASSERT_EQ(bytes_of(prop, flavor, id), known ? answers(flavor)[id] : std::string());
  }
}

TEST(GetProperty, ObjectsDoNotShareAnAnswer) {
  CUnixProp one, other;
  std::uint16_t length = 0;
  const void* first = one.GetProperty(0, 6, &length);
  other.GetProperty(2, 6, &length);
  std::uint32_t size = 0;
  std::memcpy(&size, first, 4);
  EXPECT_EQ(size, 232u);
}

TEST(GetProperty, ShortMemoryGivesNothingAndPasses) {
  CUnixProp prop;
  for (const std::uint16_t flavor : flavors) {
    const auto expected = answers(flavor);
    for (std::uint16_t id = 0; id <= 10; ++id) {
      SCOPED_TRACE(testing::Message() << "flavor " << flavor << ", id " << id);
      std::uint16_t length = 999;
      memory_is_short = true;
      const void* result = prop.GetProperty(flavor, id, &length);
      memory_is_short = false;
      EXPECT_EQ(result, nullptr);
      EXPECT_EQ(length, 0);
      EXPECT_EQ(bytes_of(prop, flavor, id), expected[id]);
    }
  }
}

TEST(Create, ShortMemoryGivesNull) {
  memory_is_short = true;
  const std::unique_ptr<CProp> prop = CProp::Create();
  memory_is_short = false;
  EXPECT_EQ(prop, nullptr);
}

TEST(Create, ShortMemoryAnswersNoHostUntilThereIsSome) {
  std::uint16_t length = 999;
  memory_is_short = true;
  const void* result = GetFlavorProperty(3, 1, &length);
  memory_is_short = false;
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(length, 0);
  EXPECT_NE(GetFlavorProperty(3, 1, &length), nullptr);
  EXPECT_EQ(length, 4);
}

// Names are asked for with 50 characters, the other texts with 256.
TEST(GetProperty, TextAtItsLimitIsWhole) {
  LongTexts names(50), texts(256);
  for (const std::uint16_t id : Numbers{0, 8}) {
    EXPECT_EQ(bytes_of(names, 0, id), std::string(50, 'x') + '\0');
  }
  for (const std::uint16_t id : Numbers{4, 7, 9, 10}) {
    EXPECT_EQ(bytes_of(texts, 0, id), std::string(256, 'x') + '\0');
  }
}

TEST(GetProperty, TextPastItsLimitIsCutButKeepsItsLength) {
  for (const std::int32_t n : {51, 257, 300, 5000}) {
    SCOPED_TRACE(n);
    LongTexts prop(n);
    const auto size = static_cast<std::size_t>(n) + 1;
    for (const std::uint16_t id : Numbers{0, 8}) {
      EXPECT_EQ(bytes_of(prop, 0, id), std::string(50, 'x') + std::string(size - 50, '\0'));
    }
    if (n <= 256) continue;
    for (const std::uint16_t id : Numbers{4, 9, 10}) {
      EXPECT_EQ(bytes_of(prop, 0, id), std::string(256, 'x') + std::string(size - 256, '\0'));
    }
  }
}

TEST(GetProperty, TextLengthThatNoHostCouldReadGivesNothing) {
  for (const std::int32_t n : {-1, 0, 65535, 65536, 2147483647}) {
    LongTexts prop(n);
    EXPECT_EQ(bytes_of(prop, 0, 0), std::string()) << n;
  }
  LongTexts prop(65534);
  EXPECT_EQ(bytes_of(prop, 0, 0).size(), 65535u);
}

TEST(GetString, CopiesTheZeroWhereTheTextFits) {
  CUnixProp prop;
  std::string dst(20, '#');
  EXPECT_EQ(prop._Imp_get_string(0, 8, dst.data(), 14), 14);
  EXPECT_EQ(dst, std::string("6.5 Kbps Voice") + '\0' + "#####");
}

TEST(GetString, CutsALongerTextWithoutAZeroAndReturnsItsWholeLength) {
  CUnixProp prop;
  for (std::int32_t maxLen = -1; maxLen < 14; ++maxLen) {
    SCOPED_TRACE(maxLen);
    const auto kept = static_cast<std::size_t>(std::max(maxLen, 0));
    std::string dst(20, '#');
    EXPECT_EQ(prop._Imp_get_string(0, 8, dst.data(), maxLen), 14);
    EXPECT_EQ(dst, std::string("6.5 Kbps Voice").substr(0, kept) + std::string(20 - kept, '#'));
  }
}

TEST(GetString, NoTextLeavesTheBufferAlone) {
  CUnixProp prop;
  std::string dst(300, '#');
  for (std::uint16_t id = 0; id <= 10; ++id) {
    EXPECT_EQ(prop._Imp_get_string(4, id, dst.data(), 256), 0);
    EXPECT_EQ(prop._Imp_get_string(65535, id, dst.data(), 256), 0);
  }
  for (const std::uint16_t flavor : flavors) {
    for (const std::uint16_t id : Numbers{1, 2, 3, 5, 6, 7, 11, 65535}) {
      EXPECT_EQ(prop._Imp_get_string(flavor, id, dst.data(), 256), 0);
    }
  }
  EXPECT_THAT(dst, Each('#'));
}

TEST(GetString, EveryTextFitsItsLimit) {
  CUnixProp prop;
  for (const std::uint16_t flavor : flavors) {
    for (std::uint16_t id = 0; id <= 10; ++id) {
      std::string dst(257, '#');
      const std::int32_t n = prop._Imp_get_string(flavor, id, dst.data(), 256);
      EXPECT_LE(n, id == 0 || id == 8 ? 50 : 256);
    }
  }
}

}  // namespace
}  // namespace quel
