// The values that wideband units stand for. They are frozen: a unit names rows of these tables, and
// files coded once are to decode alike for good. A digest that moves here means that old files
// decode to something else, which takes another bitstream, not another digest.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/table_digest.h"
#include "wideband/gain_tables16.h"
#include "wideband/lsf_tables.h"
#include "wideband/pred_lt16.h"

namespace quel {
namespace {

using test::table_digest;

TEST(FrozenTables, WidebandFilesDependOnTheTrainedSpectra) {
  EXPECT_EQ(table_digest(dico1_lsf), 0x065c7130dbdd30fdu);
  EXPECT_EQ(table_digest(dico2_lsf), 0x1c64ef994af2e5b9u);
  EXPECT_EQ(table_digest(dico3_lsf), 0xc6cdba5befebcec5u);
  EXPECT_EQ(table_digest(dico4_lsf), 0x189a1d762c00f2f0u);
  EXPECT_EQ(table_digest(dico5_lsf), 0xc74c025372ae14edu);
}

TEST(FrozenTables, WidebandFilesDependOnWhatRowsAreAddedTo) {
  EXPECT_EQ(table_digest(mean_lsf), 0x0725c8a685496fccu);
  EXPECT_EQ(table_digest({static_cast<float>(qu[0]), static_cast<float>(qu[1]), lsf_min_dist}),
            0x3244e31acc9b03d1u);
}

TEST(FrozenTables, WidebandFilesDependOnTheGains) {
  EXPECT_EQ(table_digest(wideband::qua_gain_pitch), 0x7c4d0baa2d6501fdu);
  EXPECT_EQ(table_digest(wideband::qua_gain_code), 0x1166d7de08510f83u);
  EXPECT_EQ(table_digest(wideband::pred), 0x06916ef970d29d38u);
}

TEST(FrozenTables, WidebandFilesDependOnThePitchFilter) {
  EXPECT_EQ(table_digest(wideband::inter3_2), 0xe6231f2dd5141324u);
}

}  // namespace
}  // namespace quel
