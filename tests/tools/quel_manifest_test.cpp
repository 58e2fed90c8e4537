// What a run over many files keeps of itself, as a shell user meets it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <filesystem>
#include <string>

#include "tools/batch_manifest.h"
#include "tools/tool_support.h"

namespace quel::test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

constexpr int wav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;

class QuelManifest : public ToolTest {
 protected:
  void SetUp() override { make_input("in/a.wav", 1); }
  void make_input(const std::string& name, std::uint64_t seed) {
    fs::create_directories(fs::path(path(name)).parent_path());
    write_audio(path(name), wav16, 8000, 1, loud_speech(2000, seed));
  }
  /// Q is quel, in the test's folder.
  ProgramResult shell(const std::string& line) {
    return run_program("/bin/sh", {"-c", "cd \"$1\" && Q=\"$2\" && export Q && " + line, "sh",
                                   path(""), QUEL_PROGRAM});
  }
  std::string text(const std::string& name) {
    const Bytes bytes = read_bytes(path(name));
    return {bytes.begin(), bytes.end()};
  }
  void write_text(const std::string& name, const std::string& text) {
    write_bytes(path(name), Bytes(text.begin(), text.end()));
  }
};

TEST_F(QuelManifest, TwoRunsNeverKeepOneManifest) {
  ASSERT_EQ(shell("mkdir out").status, 0);
  {
    tools::Journal first;
    first.open(path("out/quel-manifest.tsv.journal"));
    const ProgramResult result = shell("$Q encode in --output-dir out");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "quel: out/quel-manifest.tsv.journal: another run is at work here\n");
    EXPECT_FALSE(exists(path("out/a.quel")));
    first.remove();
  }
  EXPECT_EQ(shell("$Q encode in --output-dir out").err, "");
}

TEST_F(QuelManifest, ALinkToItHasItsJournal) {
  write_text("m.tsv.journal", "somebody's\n");
  fs::create_symlink("m.tsv", path("link"));
  const ProgramResult result = shell("$Q encode in --output-dir out --manifest link");
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("m.tsv.journal: exists already"));
}

TEST_F(QuelManifest, NamesThatAreNoTextComeBack) {
  make_input("in/\xff\xed\xb3\xbf\u00fc\xef\xbf\xbd.wav", 2);
  make_input("in/\xc3.wav", 3);
  for (const std::string manifest : {"m.json", "m.tsv"}) {
    SCOPED_TRACE(manifest);
    const std::string run = "$Q encode in --output-dir o." + manifest + " --manifest " + manifest;
    ASSERT_EQ(shell(run).err, "");
    const std::string kept = text(manifest);
    EXPECT_EQ(shell(run).err, "");
    EXPECT_EQ(text(manifest), kept);
  }
  EXPECT_THAT(text("m.json"),
              HasSubstr("\"in/\\udcff\\udced\\udcb3\\udcbf\u00fc\xef\xbf\xbd.wav\""));
}

TEST_F(QuelManifest, ALossFileCostsARowNoMoreThanItsDigest) {
  write_text("losses", std::string(50000, '0') + "1");
  ASSERT_EQ(shell("$Q encode in --output-dir c").err, "");
  const std::string run = "$Q decode c --output-dir o --loss-file losses";
  EXPECT_EQ(shell(run).status, 0);
  EXPECT_LT(text("o/quel-manifest.tsv").size(), 1000u);
  EXPECT_EQ(shell(run).status, 0);
  write_text("losses", std::string(50000, '0') + "10");
  EXPECT_THAT(shell(run).err, HasSubstr("exists already"));
}

TEST_F(QuelManifest, AFolderThatCannotBeMadeIsNamed) {
  make_input("in/sub/b.wav", 2);
  write_text("sub", "x");
  ASSERT_EQ(shell("mkdir out && mv sub out").status, 0);
  EXPECT_EQ(shell("$Q encode in --output-dir out").err,
            "quel: 1 of 2 files failed or were damaged:\n"
            "quel: out/sub: Not a directory\n");
}

TEST_F(QuelManifest, SomebodysFileInTheJournalsPlaceIsKept) {
  ASSERT_EQ(shell("mkdir out").status, 0);
  for (const std::string diary : {"dear diary\n", "dear diary", "\ndear diary\n"}) {
    write_text("out/quel-manifest.tsv.journal", diary);
    const ProgramResult result = shell("$Q encode in --output-dir out");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err,
              "quel: out/quel-manifest.tsv.journal: exists already and is no journal of quel\n");
    EXPECT_EQ(text("out/quel-manifest.tsv.journal"), diary);
    EXPECT_FALSE(exists(path("out/a.quel")));
  }
}

TEST_F(QuelManifest, IsNoneOfTheOutputs) {
  ASSERT_EQ(shell("mkdir other && ln -s ../out/a.quel other/link").status, 0);
  for (const std::string manifest : {"out/a.quel", "other/../out/a.quel", "other/link"}) {
    SCOPED_TRACE(manifest);
    const ProgramResult result = shell("$Q encode in --output-dir out --manifest " + manifest);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err,
              "quel: " + manifest + ": is one of the outputs; the manifest needs another name\n");
    EXPECT_TRUE(fs::is_empty(path("out")));
  }
  EXPECT_FALSE(exists(path("other/link.journal")));
  EXPECT_EQ(shell("$Q encode in --output-dir out --manifest -").status, 2);
  EXPECT_FALSE(exists(path("-.journal")));
}

TEST_F(QuelManifest, AnOutputInACircleOfLinksFailsAlone) {
  fs::create_directory(path("out"));
  fs::create_symlink("a.quel", path("out/a.quel"));
  const ProgramResult result = shell("cp in/a.wav b.wav && $Q encode in b.wav --output-dir out");
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("1 of 2 files failed"));
  EXPECT_TRUE(fs::exists(path("out/b.quel")));
}

TEST_F(QuelManifest, MessagesObeyNoName) {
  ASSERT_EQ(shell("mkdir d && cp in/a.wav d/$(printf 'x\\033[2J').wav && "
                  "printf nothing >d/$(printf 'y\\033[2J').wav")
                .status,
            0);
  const ProgramResult result = shell("$Q encode d --output-dir out");
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("[2J"));
  EXPECT_EQ(result.err.find('\033'), std::string::npos);
}

TEST_F(QuelManifest, AFolderIsNone) {
  ASSERT_EQ(shell("mkdir m").status, 0);
  EXPECT_EQ(shell("$Q encode in --output-dir out --manifest m").err,
            "quel: m: not a regular file\n");
  EXPECT_FALSE(exists(path("m.journal")));
}

}  // namespace
}  // namespace quel::test
