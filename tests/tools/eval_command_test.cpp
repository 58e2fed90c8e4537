#include "tools/eval_command.h"

#include <gmock/gmock.h>
#include <sndfile.h>
#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <sstream>

#include "tools/tool_support.h"

namespace quel::tools {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class EvalCommand : public test::ToolTest {
 protected:
  EvalCommand() {
    test::write_audio(path("s.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 8000, 1,
                      test::loud_speech(4000, 1));
    job.settings.input = path("s.wav");
    job.settings.flavors = {1};
  }

  int run() {
    out.str("");
    err.str("");
    return run_eval(job, out, err);
  }

  EvalJob job;
  std::ostringstream out, err;
};

/// What the arguments make of a job; "error" in `input` where they are refused.
EvalJob parse(const std::string& arguments) {
  CLI::App app;
  EvalJob job;
  add_eval_command(app, job);
  try {
    app.parse("eval " + arguments);
  } catch (const CLI::ParseError&) {
    job.settings.input = "error";
  }
  return job;
}

TEST(AddEvalCommand, Defaults) {
  const EvalJob job = parse("a.wav");
  EXPECT_EQ(job.settings.input, "a.wav");
  EXPECT_THAT(job.settings.flavors, ElementsAre(0, 1, 2, 3));
  EXPECT_THAT(job.settings.losses, ElementsAre(0.0));
  EXPECT_EQ(job.settings.seed, 1u);
  EXPECT_EQ(job.settings.concealment, Concealment::immediate);
  EXPECT_EQ(job.json, "");
  EXPECT_EQ(job.html, "");
  EXPECT_FALSE(job.force);
}

TEST(AddEvalCommand, EveryOption) {
  const EvalJob job = parse(
      "a.wav --flavor 3,6.5 --loss 0,3,10.5 --seed 9 --conceal deferred --json - --html p.html -f");
  EXPECT_THAT(job.settings.flavors, ElementsAre(3, 0));
  EXPECT_THAT(job.settings.losses, ElementsAre(0.0, 3.0, 10.5));
  EXPECT_EQ(job.settings.seed, 9u);
  EXPECT_EQ(job.settings.concealment, Concealment::deferred);
  EXPECT_EQ(job.json, "-");
  EXPECT_EQ(job.html, "p.html");
  EXPECT_TRUE(job.force);
  EXPECT_THAT(parse("a.wav --loss 5%,2.5%,3").settings.losses, ElementsAre(5.0, 2.5, 3.0));
  EXPECT_EQ(parse("a.wav --seed 18446744073709551615").settings.seed, ~std::uint64_t{0});
  EXPECT_THAT(parse("a.wav --flavor 8.5 --flavor 5,16").settings.flavors, ElementsAre(1, 2, 3));
}

TEST(AddEvalCommand, RefusesWhatCannotBe) {
  for (const char* arguments :
       {"", "a.wav b.wav", "a.wav --flavor 4", "a.wav --flavor x", "a.wav --loss 101",
        "a.wav --loss -1", "a.wav --loss nan", "a.wav --loss 3,x", "a.wav --seed -1",
        "a.wav --conceal never", "a.wav --html", "a.wav --html -"}) {
    EXPECT_EQ(parse(arguments).settings.input, "error") << arguments;
  }
}

TEST_F(EvalCommand, TableByDefault) {
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(out.str(), StartsWith("flavor"));
  EXPECT_EQ(err.str(), "");
  EXPECT_THAT(names(), ElementsAre("s.wav"));
}

TEST_F(EvalCommand, JsonInPlaceOfTheTable) {
  job.json = "-";
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(out.str(), StartsWith("{\n"));
  EXPECT_THAT(names(), ElementsAre("s.wav"));
}

TEST_F(EvalCommand, FilesBesideTheTable) {
  job.json = path("r.json");
  job.html = path("r.html");
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(out.str(), StartsWith("flavor"));
  EXPECT_THAT(names(), ElementsAre("r.html", "r.json", "s.wav"));
  const auto page = test::read_bytes(path("r.html"));
  EXPECT_THAT(std::string(page.begin(), page.end()), StartsWith("<!DOCTYPE html>"));
  const auto json = test::read_bytes(path("r.json"));
  EXPECT_THAT(std::string(json.begin(), json.end()), StartsWith("{\n"));
}

TEST_F(EvalCommand, KeepsExistingFilesUnlessForced) {
  job.html = path("r.html");
  test::write_bytes(job.html, {'x'});
  EXPECT_EQ(run(), 1);
  EXPECT_THAT(err.str(), StartsWith("quel: " + job.html + ": "));
  EXPECT_EQ(out.str(), "");
  EXPECT_EQ(test::read_bytes(job.html), test::Bytes{'x'});
  EXPECT_THAT(names(), ElementsAre("r.html", "s.wav"));
  job.force = true;
  EXPECT_EQ(run(), 0);
  EXPECT_GT(test::read_bytes(job.html).size(), 1000u);
}

TEST_F(EvalCommand, AFailureLeavesNothing) {
  job.json = path("r.json");
  job.html = path("r.html");
  job.settings.input = path("missing.wav");
  EXPECT_EQ(run(), 1);
  EXPECT_EQ(err.str(), "quel: " + path("missing.wav") + ": No such file or directory\n");
  EXPECT_THAT(names(), ElementsAre("s.wav"));
}

TEST_F(EvalCommand, OnePlaceCannotHoldBoth) {
  // The last two would write to one place until they are complete.
  for (const auto& [json, html] :
       {std::pair{"r", "r"}, {"./r", "r"}, {"r", "no/../r"}, {"r.part", "r"}, {"r", "r.part"}}) {
    SCOPED_TRACE(html);
    job.json = path(json);
    job.html = path(html);
    EXPECT_EQ(run(), 1);
    EXPECT_THAT(err.str(), HasSubstr("cannot hold both"));
    EXPECT_THAT(names(), ElementsAre("s.wav"));
  }
}

TEST_F(EvalCommand, APipeIsRefused) {
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  job.settings.input = path("pipe");
  EXPECT_EQ(run(), 1);
  EXPECT_THAT(err.str(), HasSubstr("pipe: not a regular file"));
}

TEST_F(EvalCommand, AsAShellUserRunsIt) {
  const auto good =
      test::run_program(QUEL_PROGRAM, {"eval", path("s.wav"), "--flavor", "2,16", "--loss", "0,50",
                                       "--json", "-", "--html", path("p.html")});
  EXPECT_EQ(good.status, 0) << good.err;
  EXPECT_THAT(good.out, StartsWith("{\n"));
  EXPECT_EQ(good.err, "");
  EXPECT_THAT(names(), ElementsAre("p.html", "s.wav"));
  const auto usage = test::run_program(QUEL_PROGRAM, {"eval", path("s.wav"), "--flavor", "4"});
  EXPECT_EQ(usage.status, 2);
  EXPECT_EQ(usage.out, "");
  const auto missing = test::run_program(QUEL_PROGRAM, {"eval", path("none.wav")});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err, "quel: " + path("none.wav") + ": No such file or directory\n");
}

TEST_F(EvalCommand, OneSampleIsEnough) {
  test::write_audio(path("s.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 8000, 1,
                    std::vector<std::int16_t>{1000});
  job.settings.flavors = {0, 1, 2, 3};
  job.html = path("p.html");
  EXPECT_EQ(run(), 0) << err.str();
  EXPECT_THAT(names(), ElementsAre("p.html", "s.wav"));
}

TEST_F(EvalCommand, WhereTheTableCannotBeWrittenNothingIs) {
  job.html = path("r.html");
  job.json = path("r.json");
  out.setstate(std::ios::badbit);
  EXPECT_EQ(run_eval(job, out, err), 1);
  EXPECT_EQ(err.str(), "quel: standard output: cannot be written\n");
  EXPECT_THAT(names(), ElementsAre("s.wav"));
}

TEST_F(EvalCommand, ACutInputIsMeasuredAndTold) {
  test::Bytes bytes = test::read_bytes(path("s.wav"));
  bytes.resize(bytes.size() - 2000);
  test::write_bytes(path("s.wav"), bytes);
  job.html = path("r.html");
  EXPECT_EQ(run(), 1);
  EXPECT_EQ(err.str(), "quel: " + path("s.wav") + ": cut short: measured 0.375 s\n");
  EXPECT_THAT(out.str(), StartsWith("flavor"));
  EXPECT_THAT(names(), ElementsAre("r.html", "s.wav"));
}

}  // namespace
}  // namespace quel::tools
