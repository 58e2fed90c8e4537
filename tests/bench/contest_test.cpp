#include "peers/contest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "support/signals.h"

namespace quel::bench {
namespace {

constexpr std::size_t samples = 160;

// What the coders of these tests did, in order: "e" and "d" with their digit.
std::string log;

class CopyEncoder : public UnitEncoder {
 public:
  explicit CopyEncoder(char digit) { log += {'e', digit}; }
  std::size_t encode(const std::int16_t* pcm, std::uint8_t* bytes) override {
    std::memcpy(bytes, pcm, 2 * samples);
    return 2 * samples;
  }
};

class CopyDecoder : public UnitDecoder {
 public:
  CopyDecoder(char digit, bool silent) : silent_(silent) { log += {'d', digit}; }
  void decode(const std::uint8_t* bytes, std::size_t count, std::int16_t* pcm) override {
    EXPECT_EQ(count, 2 * samples);
    std::memcpy(pcm, bytes, count);
    if (silent_) std::fill_n(pcm, samples, std::int16_t{0});
  }

 private:
  bool silent_;
};

Coder copier(char digit, bool silent = false) {
  return {std::string("copier ") + digit,
          8000,
          samples,
          2 * samples + 5,
          [=] { return std::make_unique<CopyEncoder>(digit); },
          [=] { return std::make_unique<CopyDecoder>(digit, silent); }};
}

class Contest : public ::testing::Test {
 protected:
  Contest() { log.clear(); }
  const std::vector<std::int16_t> pcm_ = test::speech_like_pcm(8000, 1);
};

TEST_F(Contest, TellsRateAndLikenessOfWhatIsHeard) {
  const Contestant contestant(copier('1'), pcm_, 0.0);
  EXPECT_DOUBLE_EQ(contestant.kbit_per_second(), 128.0);
  EXPECT_DOUBLE_EQ(contestant.likeness(), 1.0);
}

TEST_F(Contest, RefusesACoderThatDoesNotGiveBackItsInput) {
  EXPECT_THROW(Contestant(copier('1', /*silent=*/true), pcm_, 0.0), std::runtime_error);
}

TEST_F(Contest, ARoundMeasuresEachOnceAndBeginsWithAnother) {
  std::vector<Contestant> contestants;
  contestants.emplace_back(copier('1'), pcm_, 0.0);
  contestants.emplace_back(copier('2'), pcm_, 0.0);
  log.clear();
  run_rounds(contestants, 3);
  EXPECT_EQ(log, "e1e2d1d2e2e1d2d1e1e2d1d2");
  for (const Contestant& contestant : contestants) {
    EXPECT_EQ(contestant.encoding().size(), 3u);
    EXPECT_EQ(contestant.decoding().size(), 3u);
    for (const double seconds : contestant.encoding()) EXPECT_GT(seconds, 0.0);
  }
}

TEST_F(Contest, AMeasurementTakesAsLongAsItWasTold) {
  Contestant contestant(copier('1'), pcm_, 0.005);
  log.clear();
  contestant.time_encoding();
  EXPECT_GT(log.size(), 2u);
  EXPECT_EQ(log.find('d'), std::string::npos);
}

TEST_F(Contest, RatiosArePairedByRound) {
  // Alike in every round, though the machine was three times as slow in the second.
  const Quartiles q = ratio({1.0, 3.0, 1.0, 1.0}, {2.0, 6.0, 2.0, 2.0});
  EXPECT_EQ(q.lower, 2.0);
  EXPECT_EQ(q.median, 2.0);
  EXPECT_EQ(q.upper, 2.0);
  EXPECT_THROW(ratio({1.0}, {1.0, 2.0}), std::invalid_argument);
}

}  // namespace
}  // namespace quel::bench
