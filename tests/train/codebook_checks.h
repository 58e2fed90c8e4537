#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <utility>
#include <vector>

#include "support/signals.h"
#include "train/corpus.h"
#include "train/split_vq.h"

namespace quel::train {

/// Recordings that stand for a folder of speech, loud enough at any rate to count as such.
inline std::vector<Recording> synthetic_speech(int samples, double rate) {
  std::vector<Recording> recordings;
  for (unsigned seed = 1; seed <= 2; ++seed) {
    const auto x = test::speech_like(samples, seed, rate);
    Recording recording{"synthetic", std::vector<std::int16_t>(x.size())};
    std::transform(x.begin(), x.end(), recording.pcm.begin(), [](float v) {
      return static_cast<std::int16_t>(std::clamp(v * 20.0f, -32000.0f, 32000.0f));
    });
    recordings.push_back(std::move(recording));
  }
  return recordings;
}

/// Given rows at their places, free rows within their columns' ranges, no row twice.
inline void expect_legal(const SpectrumQuantizer& trained, const SpectrumQuantizer& fresh) {
  for (std::size_t k = 0; k < trained.books.size(); ++k) {
    SCOPED_TRACE(k);
    const Codebook& book = trained.books[k];
    std::set<std::vector<float>> rows;
    for (int j = 0; j < book.rows; ++j) {
      const std::vector<float> row(book.row(j), book.row(j) + book.width);
      EXPECT_TRUE(rows.insert(row).second) << j;
      for (std::size_t t = 0; t < row.size(); ++t) {
        if (book.fixed[static_cast<std::size_t>(j)] != 0) {
          EXPECT_EQ(row[t], fresh.books[k].row(j)[t]) << j;
        }
        EXPECT_GE(row[t], book.low[t]) << j;
        EXPECT_LE(row[t], book.high[t]) << j;
      }
    }
  }
}

}  // namespace quel::train
