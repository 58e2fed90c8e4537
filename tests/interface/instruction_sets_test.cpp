#include <gtest/gtest.h>
#include <quelcodec/quelcodec.h>

#include <cstring>
#include <string>

#include "dsp/instruction_set.h"

namespace quel {
namespace {

TEST(InstructionSets, EachThatIsThereCanBeUsedByItsName) {
  const std::string before = quel_instruction_set();
  bool found = false;
  int count = 0;
  for (; quel_instruction_set_name(count) != nullptr; ++count) {
    const char* const name = quel_instruction_set_name(count);
    EXPECT_EQ(quel_use_instruction_set(name), QUEL_OK);
    EXPECT_STREQ(quel_instruction_set(), name);
    EXPECT_STREQ(name_of(instruction_set()), name);
    found = found || name == before;
  }
  EXPECT_TRUE(found);
  EXPECT_STREQ(quel_instruction_set_name(0), "baseline");
  EXPECT_EQ(quel_instruction_set_name(-1), nullptr);
  EXPECT_EQ(quel_instruction_set_name(count + 1), nullptr);
  EXPECT_EQ(quel_use_instruction_set(before.c_str()), QUEL_OK);
}

TEST(InstructionSets, NoOtherNameChangesAnything) {
  const std::string before = quel_instruction_set();
  for (const char* name : {"", "avx", "AVX2", "baseline "}) {
    EXPECT_EQ(quel_use_instruction_set(name), QUEL_ERROR_OPTIONS) << name;
  }
  EXPECT_EQ(quel_use_instruction_set(nullptr), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_instruction_set(), before);
}

}  // namespace
}  // namespace quel
