#include "train/lsf_trainer.h"

#include <algorithm>
#include <array>
#include <vector>

#include "train/codebook_checks.h"
#include "train/installed.h"
#include "wideband/cod_wb.h"

namespace quel::train {
namespace {

constexpr int samples = 16000;

TEST(LsfTrainer, AnalysesAndQuantizesAsTheEncoderDoes) {
  const auto pcm = test::speech_like_pcm(samples, 4, 16000.0);
  WidebandEncoder encoder;
  init_coder_wb16(encoder);
  std::size_t at = 0;
  analyse_lsf(installed_lsf(), pcm, [&](const LsfFrame& frame) {
    std::copy_n(&pcm[at], 160, new_speech2(encoder));
    std::array<std::int32_t, 22> prm{};
    coder_wb16(encoder, prm.data());
    at += 160;
    ASSERT_EQ(frame.choice->predictor, prm[0]) << at;
    for (std::size_t k = 0; k < 5; ++k) ASSERT_EQ(frame.choice->index[k], prm[k + 1]) << at;
  });
  EXPECT_EQ(at, static_cast<std::size_t>(samples));
}

TEST(LsfTrainer, ClusteringLowersTheDistortionAndKeepsWhatIsGiven) {
  const auto recordings = synthetic_speech(2 * samples, 16000.0);
  SpectrumQuantizer q = lsf_quantizer();
  const TrainingSet set = lsf_training_set(q, recordings);
  Random random(1);
  cluster_rows(q, set, 0, random);
  const double before = lsf_distortion(q, recordings).mean();
  cluster_rows(q, set, 8, random);
  finish_codebooks(q);
  const DistortionCount after = lsf_distortion(q, recordings);
  EXPECT_GT(after.frames, 100);
  EXPECT_LT(after.mean(), 0.9 * before);  // drawn rows leave far more than a tenth to gain
  expect_legal(q, lsf_quantizer());
}

TEST(LsfTrainer, ColumnsKeepEveryReceivedFrequencyBelowHalfTheSamplingRate) {
  const SpectrumQuantizer q = lsf_quantizer();
  double highest = 0.0;
  for (const auto& book : q.books) {
    for (int t = 0; t < book.width; ++t) {
      const auto i = static_cast<std::size_t>(book.first + t);
      const double column = static_cast<double>(book.high[static_cast<std::size_t>(t)]);
      highest = std::max(q.mean[i] + column, highest + 50.0);
    }
  }
  EXPECT_LT(highest, 8000.0);
}

}  // namespace
}  // namespace quel::train
