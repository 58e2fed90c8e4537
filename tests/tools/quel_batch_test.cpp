// quel over many files, as a shell user meets it.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tools/part_mark.h"
#include "tools/tool_support.h"

namespace quel::test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::UnorderedElementsAre;
using ::testing::UnorderedElementsAreArray;

constexpr int wav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;

class QuelBatch : public ToolTest {
 protected:
  ProgramResult quel(const std::vector<std::string>& arguments) {
    return run_program(QUEL_PROGRAM, arguments);
  }
  void make_input(const std::string& name, int samples, std::uint64_t seed) {
    fs::create_directories(fs::path(path(name)).parent_path());
    write_audio(path(name), wav16, 8000, 1, loud_speech(samples, seed));
  }
  void make_tree() {
    make_input("in/a.wav", 4000, 1);
    make_input("in/b.WAV", 3000, 2);
    make_input("in/sub/two words \u00fc\u6f22.wav", 2000, 3);
    make_input("in/sub/deep/none.wav", 0, 4);
    write_bytes(path("in/notes.txt"), {'x'});
  }
  ProgramResult encode(const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments = {"encode", path("in"), "--output-dir", path("out")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return quel(arguments);
  }
  std::vector<std::string> tree(const std::string& folder) {
    std::vector<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(path(folder))) {
      if (entry.is_regular_file()) {
        found.push_back(entry.path().lexically_relative(path(folder)).string());
      }
    }
    return found;
  }
  std::string text(const std::string& name) {
    const Bytes bytes = read_bytes(path(name));
    return {bytes.begin(), bytes.end()};
  }
  auto time_of(const std::string& name) { return fs::last_write_time(path(name)); }
};

TEST_F(QuelBatch, MirrorsATreeThereAndBack) {
  make_tree();
  ProgramResult result = encode();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out + result.err, "");
  EXPECT_THAT(tree("out"),
              UnorderedElementsAre("a.quel", "b.quel", "sub/two words \u00fc\u6f22.quel",
                                   "sub/deep/none.quel", "quel-manifest.tsv"));
  result = quel({"decode", path("out"), "--output-dir", path("back"), "--format", "flac"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(load_audio(path("back/a.flac")).samples.size(), 4000u);
  EXPECT_EQ(load_audio(path("back/sub/two words \u00fc\u6f22.flac")).samples.size(), 2000u);
}

TEST_F(QuelBatch, TheNumberOfThreadsChangesNothing) {
  make_tree();
  ASSERT_EQ(encode({"--jobs", "1"}).status, 0);
  fs::rename(path("out"), path("one"));
  ASSERT_EQ(encode({"--jobs", "4"}).status, 0);
  for (const std::string& name : tree("one")) {
    EXPECT_EQ(text("one/" + name), text("out/" + name)) << name;
  }
}

TEST_F(QuelBatch, EqualsSingleRuns) {
  make_tree();
  ASSERT_EQ(encode().status, 0);
  ASSERT_EQ(quel({"encode", path("in/a.wav"), path("a")}).status, 0);
  EXPECT_EQ(read_bytes(path("a")), read_bytes(path("out/a.quel")));
}

TEST_F(QuelBatch, DoneFilesAreSkippedUnlessForced) {
  make_tree();
  ASSERT_EQ(encode().status, 0);
  const auto before = time_of("out/a.quel");
  const std::string manifest = text("out/quel-manifest.tsv");
  EXPECT_EQ(encode().status, 0);
  EXPECT_EQ(time_of("out/a.quel"), before);
  EXPECT_EQ(text("out/quel-manifest.tsv"), manifest);
  EXPECT_EQ(encode({"-f"}).status, 0);
  EXPECT_NE(time_of("out/a.quel"), before);
  EXPECT_EQ(text("out/quel-manifest.tsv"), manifest);
}

TEST_F(QuelBatch, AChangedSourceIsCodedAgainAndNothingElseIs) {
  make_tree();
  ASSERT_EQ(encode().status, 0);
  const auto before = time_of("out/b.quel");
  const Bytes old = read_bytes(path("out/a.quel"));
  make_input("in/a.wav", 4000, 9);  // of the same size
  ASSERT_EQ(encode().err, "");
  EXPECT_EQ(time_of("out/b.quel"), before);
  ASSERT_EQ(quel({"encode", path("in/a.wav"), path("alone")}).err, "");
  EXPECT_NE(read_bytes(path("out/a.quel")), old);
  EXPECT_EQ(read_bytes(path("out/a.quel")), read_bytes(path("alone")));
}

TEST_F(QuelBatch, ChangedOutputsAreNotTakenForDoneAndNotReplaced) {
  make_tree();
  ASSERT_EQ(encode().status, 0);
  // Whoever changed it may want to keep it, even where the source has changed too.
  make_input("in/a.wav", 4000, 9);
  Bytes bytes = read_bytes(path("out/a.quel"));
  bytes.back() ^= 1;
  write_bytes(path("out/a.quel"), bytes);
  EXPECT_THAT(encode().err, HasSubstr("a.quel: exists already"));
  EXPECT_EQ(read_bytes(path("out/a.quel")), bytes);
  // Other options make other files.
  EXPECT_THAT(encode({"--flavor", "5"}).err, HasSubstr("4 of 4 files failed"));
}

TEST_F(QuelBatch, AFailureIsListedAndTheRestFinished) {
  make_tree();
  write_bytes(path("in/bad.wav"), Bytes(100, 'x'));
  for (const std::string jobs : {"1", "3"}) {
    const ProgramResult result = encode({"--jobs", jobs, "-f"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("quel: 1 of 5 files failed or were damaged:\nquel: " +
                                      path("in/bad.wav") + ": no readable audio file ("));
    EXPECT_TRUE(exists(path("out/sub/deep/none.quel")));
    EXPECT_FALSE(exists(path("out/bad.quel")));
    EXPECT_FALSE(exists(path("out/bad.quel.part")));
    EXPECT_THAT(text("out/quel-manifest.tsv"), HasSubstr("\tbad.quel\t"));
  }
  const ProgramResult gone =
      quel({"encode", path("none.wav"), path("in/a.wav"), "--output-dir", path("o2")});
  EXPECT_EQ(gone.status, 1);
  EXPECT_THAT(gone.err, HasSubstr("none.wav: No such file or directory\n"));
  EXPECT_TRUE(exists(path("o2/a.quel")));
}

TEST_F(QuelBatch, TwoInputsOfOneNameLoseNothing) {
  make_input("x/a.wav", 1000, 1);
  make_input("y/a.wav", 1000, 2);
  const ProgramResult result =
      quel({"encode", path("x"), path("y"), path("x/a.wav"), "--output-dir", path("out")});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "quel: 1 of 2 files failed or were damaged:\nquel: " + path("y/a.wav") +
                            ": would be written to a.quel, as " + path("x/a.wav") + "\n");
}

TEST_F(QuelBatch, AnInterruptedRunGoesOnToTheSameManifest) {
  make_tree();
  ASSERT_EQ(encode({"--manifest", path("m.json")}).status, 0);
  const std::string manifest = text("m.json");
  const std::string coded = text("out/a.quel");
  const auto rows = tree("out");
  fs::remove_all(path("out"));
  fs::remove(path("m.json"));
  // Killed once the folder's files are there, in a file of three days, of which the disk holds the
  // start alone: it is not done before somebody kills it.
  make_input("in/a.wav", 4000, 1);
  make_input("wait.wav", 100, 5);
  Bytes head = read_bytes(path("wait.wav"));
  constexpr std::uint32_t length = 4000000000;
  for (const std::size_t at : {std::size_t{4}, std::size_t{40}}) {
    for (int i = 0; i < 4; ++i) {
      head.at(at + static_cast<std::size_t>(i)) = static_cast<std::uint8_t>(length >> (8 * i));
    }
  }
  write_bytes(path("wait.wav"), head);
  fs::resize_file(path("wait.wav"), std::uintmax_t{length} + 44);
  run_program("/bin/sh",
              {"-c",
               "\"$1\" encode \"$2\" \"$3\" --output-dir \"$4\" --manifest \"$5\" "
               "--jobs 1 & while ! [ -e \"$4/sub/two words \u00fc\u6f22.quel\" ]; do "
               "sleep 0.01; done; sleep 0.05; kill -9 $!; wait $! 2>/dev/null",
               "sh", QUEL_PROGRAM, path("in"), path("wait.wav"), path("out"), path("m.json")});
  EXPECT_FALSE(exists(path("m.json")));
  EXPECT_TRUE(exists(path("m.json.journal")));
  EXPECT_EQ(text("out/a.quel"), coded);
  const auto before = time_of("out/a.quel");
  // A file of which the journal's line came, but not its name, is done again.
  fs::remove(path("out/b.quel"));
  write_bytes(path("out/b.quel.part"), {'x'});
  const int part = open(path("out/b.quel.part").c_str(), O_RDWR);
  tools::mark(part);
  close(part);
  ASSERT_EQ(encode({"--manifest", path("m.json")}).status, 0);
  EXPECT_EQ(time_of("out/a.quel"), before);
  EXPECT_EQ(text("m.json"), manifest);
  EXPECT_FALSE(exists(path("m.json.journal")));
  fs::remove(path("out/wait.quel.part"));
  EXPECT_EQ(tree("out"), rows);
}

TEST_F(QuelBatch, TwoHundredFilesKilledAgainAndAgainEndAsInOneGo) {
  for (int i = 0; i < 200; ++i) {
    make_input("in/" + std::to_string(i % 7) + "/" + std::to_string(i) + ".wav", 10 * i,
               static_cast<std::uint64_t>(i));
  }
  ASSERT_EQ(encode({"--jobs", "2"}).status, 0);
  fs::rename(path("out"), path("whole"));
  // Killed once some more are there than before.
  const ProgramResult killed = run_program(
      "/bin/sh",
      {"-c",
       "count() { find \"$3\" -name '*.quel' 2>/dev/null | wc -l; }; kills=0;"
       "for wanted in 20 70 140; do \"$1\" encode \"$2\" --output-dir \"$3\" --jobs 2 & run=$!;"
       "while [ $(count \"$@\") -lt $wanted ] && kill -0 $run 2>/dev/null; do :; done;"
       "kill -9 $run 2>/dev/null && kills=$((kills+1)); wait $run; done 2>/dev/null; echo $kills",
       "sh", QUEL_PROGRAM, path("in"), path("out")});
  EXPECT_GE(std::stoi("0" + killed.out), 1);  // a quick machine may finish ahead of the later ones
  const ProgramResult last = encode({"--jobs", "2"});
  EXPECT_EQ(last.status, 0);
  EXPECT_EQ(last.err, "");
  const auto wanted = tree("whole");
  EXPECT_EQ(wanted.size(), 201u);
  EXPECT_THAT(tree("out"), UnorderedElementsAreArray(wanted));
  for (const std::string& name : wanted) {
    EXPECT_EQ(text("out/" + name), text("whole/" + name)) << name;
  }
}

TEST_F(QuelBatch, AManifestNeverReplacesAnotherFile) {
  make_tree();
  write_bytes(path("diary"), {'x', '\n'});
  const ProgramResult result = encode({"--manifest", path("diary")});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "quel: " + path("diary") + ": exists already and is no manifest of quel\n");
  EXPECT_EQ(text("diary"), "x\n");
}

TEST_F(QuelBatch, DamagedFilesAreDecodedAndListed) {
  make_tree();
  ASSERT_EQ(encode().status, 0);
  Bytes bytes = read_bytes(path("out/a.quel"));
  bytes.resize(bytes.size() - 1);
  write_bytes(path("out/a.quel"), bytes);
  for (int run = 0; run < 2; ++run) {  // the second skips it and says so again
    const ProgramResult result = quel({"decode", path("out"), "--output-dir", path("back")});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("1 of 4 files failed or were damaged:\n"));
    EXPECT_THAT(result.err, HasSubstr("a.quel: "));
    EXPECT_THAT(result.err, HasSubstr("cut short: decoded 0 samples"));
    EXPECT_TRUE(exists(path("back/a.wav")));
  }
}

TEST_F(QuelBatch, AnUnwritableFolderIsAFailure) {
  make_tree();
  write_bytes(path("out"), {'x'});
  const ProgramResult result = encode();
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("quel: " + path("out")));
}

}  // namespace
}  // namespace quel::test
