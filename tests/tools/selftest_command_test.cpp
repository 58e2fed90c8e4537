#include "tools/selftest_command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iterator>
#include <sstream>

#include "conformance/digests.h"
#include "tools/tool_support.h"

namespace quel::tools {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

TEST(Selftest, FindsTheProjectsDigests) {
  std::ostringstream out;
  EXPECT_EQ(run_selftest_command(out), 0);
  for (const conformance::PinnedDigest& pinned : conformance::pinned_digests) {
    EXPECT_THAT(out.str(), HasSubstr(std::string("  ok       ") + pinned.name + "\n"));
  }
  EXPECT_THAT(out.str(), Not(HasSubstr("DIFFERS")));
  EXPECT_THAT(out.str(), HasSubstr("All digests are the project's (behaviour "));
}

TEST(Selftest, TheProgramTellsTheSame) {
  std::ostringstream out;
  const int status = run_selftest_command(out);
  const test::ProgramResult result = test::run_program(QUEL_PROGRAM, {"selftest"});
  EXPECT_EQ(result.status, status);
  EXPECT_EQ(result.out, out.str());
  EXPECT_EQ(result.err, "");
}

}  // namespace
}  // namespace quel::tools
