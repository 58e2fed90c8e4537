#include "train/isf_trainer.h"

#include <algorithm>
#include <array>
#include <vector>

#include "bitstream/mode.h"
#include "narrowband/cod_swt.h"
#include "train/codebook_checks.h"
#include "train/installed.h"

namespace quel::train {
namespace {

constexpr int samples = 8000;

TEST(IsfTrainer, AnalysesAndQuantizesAsTheEncoderDoes) {
  const auto pcm = test::speech_like_pcm(samples, 3);
  const SpectrumQuantizer q = installed_isf();
  for (const std::int32_t flavor : {0, 2}) {
    SCOPED_TRACE(flavor);
    Mode mode;
    set_mode(mode, flavor);
    NarrowbandEncoder encoder;
    init_cod_swt(encoder);
    std::size_t at = 0;
    Past past{};
    analyse_isf(pcm, mode.len_frame, [&](const float* isf, const float*, double) {
      Choice choice;
      quantize(q, isf, past, choice);
      std::array<std::int32_t, 21> prm{flavor};
      cod_swt(encoder, mode, &pcm[at], prm.data());
      at += static_cast<std::size_t>(mode.len_frame);
      for (std::size_t k = 0; k < 5; ++k) ASSERT_EQ(choice.index[k], prm[k + 1]) << at;
    });
    EXPECT_GT(at, static_cast<std::size_t>(samples - mode.len_frame));
  }
}

TEST(IsfTrainer, ClusteringLowersTheDistortionAndKeepsWhatIsGiven) {
  const auto recordings = synthetic_speech(4 * samples, 8000.0);
  SpectrumQuantizer q = isf_quantizer();
  const TrainingSet set = isf_training_set(q, recordings);
  Random random(1);
  cluster_rows(q, set, 0, random);
  const double before = isf_distortion(q, recordings).mean();
  cluster_rows(q, set, 8, random);
  finish_codebooks(q);
  const DistortionCount after = isf_distortion(q, recordings);
  EXPECT_GT(after.frames, 100);
  EXPECT_LT(after.mean(), 0.9 * before);  // drawn rows leave far more than a tenth to gain
  expect_legal(q, isf_quantizer());
}

TEST(IsfTrainer, OneSeedOneTable) {
  const auto recordings = synthetic_speech(samples, 8000.0);
  std::array<std::vector<float>, 2> tables;
  for (auto& table : tables) {
    SpectrumQuantizer q = isf_quantizer();
    const TrainingSet set = isf_training_set(q, recordings);
    Random random(5);
    cluster_rows(q, set, 3, random);
    for (const auto& book : q.books)
      table.insert(table.end(), book.table.begin(), book.table.end());
  }
  EXPECT_EQ(tables[0], tables[1]);
}

TEST(IsfTrainer, NoSpeechTrainsNothing) {
  SpectrumQuantizer q = isf_quantizer();
  const TrainingSet set = isf_training_set(q, {});
  Random random(1);
  cluster_rows(q, set, 2, random);
  const SpectrumQuantizer fresh = isf_quantizer();
  for (std::size_t k = 0; k < q.books.size(); ++k) {
    EXPECT_EQ(q.books[k].table, fresh.books[k].table) << k;
  }
  finish_codebooks(q);
  expect_legal(q, fresh);
}

TEST(IsfTrainer, QuietFramesCountLittle) {
  auto recordings = synthetic_speech(samples, 8000.0);
  recordings.push_back({"silence", std::vector<std::int16_t>(samples)});
  const SpectrumQuantizer q = isf_quantizer();
  const TrainingSet set = isf_training_set(q, recordings);
  EXPECT_EQ(*std::max_element(set.weight.begin(), set.weight.end()), 1.0f);
  EXPECT_EQ(set.weight.back(), 0.15f);
  // Two lengths of frames from each of three recordings.
  EXPECT_EQ(std::count(set.first.begin(), set.first.end(), 1), 6);
}

TEST(IsfTrainer, LeastUseIsThatOfARowNobodyChooses) {
  const auto recordings = synthetic_speech(samples, 8000.0);
  SpectrumQuantizer q = isf_quantizer();
  const TrainingSet set = isf_training_set(q, recordings);
  // All rows but one of each codebook far from anything: one has all the frames.
  for (auto& book : q.books) {
    for (int j = 0; j + 1 < book.rows; ++j) std::fill_n(book.row(j), book.width, 1e6f);
    book.refresh();
  }
  EXPECT_EQ(least_use(q, set), 0.0);
}

}  // namespace
}  // namespace quel::train
