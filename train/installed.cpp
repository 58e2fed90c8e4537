#include "train/installed.h"

#include <algorithm>
#include <cstddef>

#include "train/isf_trainer.h"
#include "train/lsf_trainer.h"
#include "wideband/lsf_tables.h"

namespace quel::train {
namespace {

constexpr float dico1_isf[][2] = {
#include "narrowband/dico1_isf.inc"
};
constexpr float dico2_isf[][2] = {
#include "narrowband/dico2_isf.inc"
};
constexpr float dico3_isf[][2] = {
#include "narrowband/dico3_isf.inc"
};
constexpr float dico4_isf[][2] = {
#include "narrowband/dico4_isf.inc"
};
constexpr float dico5_isf[][2] = {
#include "narrowband/dico5_isf.inc"
};
constexpr float t_qua_gain[][2] = {
#include "narrowband/t_qua_gain.inc"
};

template <std::size_t rows, std::size_t width>
void install(Codebook& book, const float (&table)[rows][width]) {
  for (std::size_t j = 0; j < rows; ++j) {
    std::copy_n(table[j], width, book.row(static_cast<int>(j)));
  }
  book.refresh();
}

}  // namespace

SpectrumQuantizer installed_isf() {
  SpectrumQuantizer q = isf_quantizer();
  install(q.books[0], dico1_isf);
  install(q.books[1], dico2_isf);
  install(q.books[2], dico3_isf);
  install(q.books[3], dico4_isf);
  install(q.books[4], dico5_isf);
  return q;
}

SpectrumQuantizer installed_lsf() {
  SpectrumQuantizer q = lsf_quantizer();
  install(q.books[0], dico1_lsf);
  install(q.books[1], dico2_lsf);
  install(q.books[2], dico3_lsf);
  install(q.books[3], dico4_lsf);
  install(q.books[4], dico5_lsf);
  return q;
}

GainTable installed_gains() {
  GainTable table{};
  for (std::size_t j = 0; j < table.size(); ++j) {
    table[j] = {t_qua_gain[j][0], t_qua_gain[j][1]};
  }
  return table;
}

}  // namespace quel::train
