#include "tools/selftest_command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iterator>
#include <quelcodec/quelcodec.hpp>
#include <sstream>

#include "conformance/digests.h"
#include "support/sanitizers.h"
#include "tools/tool_support.h"
#include "tools/version.h"

namespace quel::tools {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

std::string numbers() {
  return "(version " + version_text() + ", bitstream 2, behaviour " +
         std::to_string(quel_behaviour()) + ").\n";
}

TEST(Selftest, FindsTheProjectsDigests) {
  std::ostringstream out;
  EXPECT_EQ(run_selftest_command(out), 0);
  for (const conformance::PinnedDigest& pinned : conformance::pinned_digests) {
    EXPECT_THAT(out.str(), HasSubstr(std::string("  ok       ") + pinned.name + "\n"));
  }
  EXPECT_THAT(out.str(), Not(HasSubstr("DIFFERS")));
  const std::string before = quel_instruction_set();
  for (int k = 0; const char* name = quel_instruction_set_name(k); ++k) {
    EXPECT_THAT(out.str(), HasSubstr("Instruction set " + std::string(name) + ":\n"));
  }
  EXPECT_EQ(quel_instruction_set(), before);
  EXPECT_THAT(out.str(), EndsWith("All digests are the project's " + numbers()));
}

TEST(Selftest, CountsWhatDiffersAndWhatIsMissing) {
  std::vector<conformance::Digest> digests;
  for (const conformance::PinnedDigest& pinned : conformance::pinned_digests) {
    digests.push_back({pinned.name, pinned.value});
  }
  std::ostringstream all;
  EXPECT_EQ(tell_digests(digests, all), 0);
  digests.back().value ^= 1;
  std::ostringstream differs;
  EXPECT_EQ(tell_digests(digests, differs), 1);
  EXPECT_THAT(differs.str(), HasSubstr("  DIFFERS  " + digests.back().name));
  EXPECT_THAT(differs.str(), EndsWith("\n1 digest of the project's not met " + numbers()));
  const std::string gone = digests.back().name;
  digests.pop_back();
  std::ostringstream missing;
  EXPECT_EQ(tell_digests(digests, missing), 1);
  EXPECT_THAT(missing.str(), HasSubstr("  MISSING  " + gone + "\n"));
}

TEST(Selftest, TheProgramTellsTheSame) {
  if (test::slow_build)
    GTEST_SKIP() << "the set is run by the tests above and by the library's own";
  std::ostringstream out;
  const int status = run_selftest_command(out);
  const test::ProgramResult result = test::run_program(QUEL_PROGRAM, {"selftest"});
  EXPECT_EQ(result.status, status);
  EXPECT_EQ(result.out, out.str());
  EXPECT_EQ(result.err, "");
}

}  // namespace
}  // namespace quel::tools
