#include "train/descent.h"

#include <vector>

#include "train/codebook_checks.h"
#include "train/isf_trainer.h"
#include "train/lsf_trainer.h"

namespace quel::train {
namespace {

DescentPlan short_plan() {
  DescentPlan plan;
  plan.steps = 40;
  plan.full_step = 0.2;
  plan.step = {4.0f, 0.4f};
  plan.temperature = {2000.0f, 100.0f};
  plan.recursion = 0.3f;
  plan.stretches = 6;
  plan.stretch = 60;
  return plan;
}

std::vector<float> rows_of(const SpectrumQuantizer& q) {
  std::vector<float> rows;
  for (const auto& book : q.books) rows.insert(rows.end(), book.table.begin(), book.table.end());
  return rows;
}

struct Start {
  std::vector<Recording> recordings;
  SpectrumQuantizer q;
  TrainingSet set;
};

Start isf_start() {
  Start start{synthetic_speech(32000, 8000.0), isf_quantizer(), {}};
  start.set = isf_training_set(start.q, start.recordings);
  Random random(1);
  cluster_rows(start.q, start.set, 2, random);
  return start;
}

TEST(Descent, LowersTheNarrowbandDistortionAndKeepsWhatIsGiven) {
  Start start = isf_start();
  const double before = isf_distortion(start.q, start.recordings).mean();
  descend(start.q, start.set, short_plan());
  finish_codebooks(start.q);
  // Two recordings leave less to gain over the means of the cells, but ten times what rounding
  // does.
  EXPECT_LT(isf_distortion(start.q, start.recordings).mean(), 0.99 * before);
  expect_legal(start.q, isf_quantizer());
}

TEST(Descent, LowersTheWidebandDistortionAndKeepsWhatIsGiven) {
  const auto recordings = synthetic_speech(32000, 16000.0);
  SpectrumQuantizer q = lsf_quantizer();
  Random random(1);
  cluster_rows(q, lsf_training_set(q, recordings), 2, random);
  const TrainingSet set = lsf_training_set(q, recordings);
  const double before = lsf_distortion(q, recordings).mean();
  descend(q, set, short_plan());
  finish_codebooks(q);
  EXPECT_LT(lsf_distortion(q, recordings).mean(), 0.95 * before);
  expect_legal(q, lsf_quantizer());
}

TEST(Descent, LossFallsFromStepToStep) {
  Start start = isf_start();
  DescentPlan plan = short_plan();
  plan.temperature = {200.0f, 200.0f};  // the same loss all the way
  double first = 0.0;
  double last = 0.0;
  plan.watch = [&](int done, double loss) {
    if (done <= 10) first += loss;
    if (done > 30) last += loss;
  };
  descend(start.q, start.set, plan);
  EXPECT_LT(last, 0.95 * first);
}

TEST(Descent, IsTheSameOnAnyNumberOfThreads) {
  const Start start = isf_start();
  std::vector<std::vector<float>> results;
  for (const int threads : {1, 2, 3}) {
    SpectrumQuantizer q = start.q;
    DescentPlan plan = short_plan();
    plan.steps = 10;
    plan.threads = threads;
    descend(q, start.set, plan);
    results.push_back(rows_of(q));
  }
  EXPECT_EQ(results[0], results[1]);
  EXPECT_EQ(results[0], results[2]);
}

TEST(Descent, HoldsTheColumnsToTheirRanges) {
  Start start = isf_start();
  for (auto& book : start.q.books) book.low[0] = -5.0f;
  descend(start.q, start.set, short_plan());
  for (const auto& book : start.q.books) {
    for (int j = 0; j < book.rows; ++j) {
      if (book.fixed[static_cast<std::size_t>(j)] == 0) {
        EXPECT_GE(book.row(j)[0], -5.0f) << j;
      }
    }
  }
}

TEST(Descent, TooLittleSpeechMovesNothing) {
  SpectrumQuantizer q = isf_quantizer();
  const auto before = rows_of(q);
  descend(q, TrainingSet{}, short_plan());
  EXPECT_EQ(rows_of(q), before);
}

}  // namespace
}  // namespace quel::train
