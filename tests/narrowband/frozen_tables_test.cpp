// The values that narrowband units stand for. They are frozen: a unit names rows of these tables,
// and files coded once are to decode alike for good. A digest that moves here means that old files
// decode to something else, which takes another bitstream, not another digest.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "dsp/hp_2nd.h"
#include "dsp/interpol_lpc.h"
#include "narrowband/gain_tables.h"
#include "narrowband/isf_tables.h"
#include "narrowband/ltp.h"
#include "support/table_digest.h"

namespace quel {
namespace {

using test::table_digest;

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

TEST(FrozenTables, NarrowbandFilesDependOnTheTrainedSpectra) {
  EXPECT_EQ(table_digest(dico1_isf), 0xb8101471754fa82eu);
  EXPECT_EQ(table_digest(dico2_isf), 0xf77fe2f037ef2a3cu);
  EXPECT_EQ(table_digest(dico3_isf), 0x375f80045278ebf0u);
  EXPECT_EQ(table_digest(dico4_isf), 0x0559d85bb4075bd3u);
  EXPECT_EQ(table_digest(dico5_isf), 0xa170dd0bf71d6beau);
}

TEST(FrozenTables, NarrowbandFilesDependOnTheTrainedGains) {
  EXPECT_EQ(table_digest(t_qua_gain), 0xb64ba9910a27ed71u);
}

TEST(FrozenTables, NarrowbandFilesDependOnWhatRowsAreAddedTo) {
  EXPECT_EQ(table_digest(mean_isf), 0xa84237a1b1a45fc3u);
  EXPECT_EQ(table_digest({isf_prediction, last_isf_scale, isf_min_dist}), 0xef502d9626329d77u);
  EXPECT_EQ(table_digest(narrowband::pred), 0x3b6acaf087481314u);
}

TEST(FrozenTables, NarrowbandFilesDependOnThePitchFilter) {
  EXPECT_EQ(table_digest(narrowband::inter3_2), 0xd738ddc1cdb21d0cu);
}

TEST(FrozenTables, NarrowbandFilesDependOnTheDecodersHighPassAndItsFirstSpectrum) {
  EXPECT_EQ(table_digest(b_100), 0xddf47a76eaaa25beu);
  EXPECT_EQ(table_digest(a_100), 0x323e4f164074b916u);
  EXPECT_EQ(table_digest(isf_ini), 0x3c4453ff8073f201u);
}

}  // namespace
}  // namespace quel
