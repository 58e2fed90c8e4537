// quel on a disk that is full or cannot be written: a small file system of the test's own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tools/tool_support.h"

namespace quel::test {
namespace {

using ::testing::HasSubstr;

constexpr int wav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;

class QuelDisk : public ToolTest {
 protected:
  void SetUp() override {
    if (on_small_disk("true").status != 0) {
      GTEST_SKIP() << "mounting a file system takes root or user namespaces, which are not to be "
                      "had here";
    }
    write_audio(path("in.wav"), wav16, 8000, 1, loud_speech(160000, 1));
    ASSERT_EQ(shell("$Q encode in.wav c --flavor 1 && $Q decode c 2s.wav --length 2").err, "");
  }
  ProgramResult shell(const std::string& line) {
    return run_program("/bin/sh",
                       {"-c", "cd \"$1\" && Q=\"$2\" && " + line, "sh", path(""), QUEL_PROGRAM});
  }
  /// A line of shell with 16 KiB of disk mounted at "small" for as long as it runs.
  ProgramResult on_small_disk(const std::string& line) {
    const std::string unshare = geteuid() == 0 ? "unshare -m" : "unshare -rm";
    write_text("line",
               "mkdir -p small && mount -t tmpfs -o size=16k tmpfs small || exit 99\n" + line);
    return shell("export Q && " + unshare + " sh ./line");
  }
  void write_text(const std::string& name, const std::string& text) {
    write_bytes(path(name), Bytes(text.begin(), text.end()));
  }
};

TEST_F(QuelDisk, EveryCommandThatFillsItFailsAndLeavesNothing) {
  struct Case {
    const char* call;
    const char* what;
  };
  // 20 s are 320,000 bytes of sound, 21,000 of coded units.
  for (const Case& full :
       {Case{"encode in.wav small/o", "small/o"}, Case{"encode in.wav small/o --raw", "small/o"},
        Case{"decode c small/o.wav", "small/o.wav"}, Case{"decode c small/o.flac", "small/o.flac"},
        Case{"decode c small/o.raw", "small/o.raw"}, Case{"demux c small/o", "small/o"},
        Case{"eval 2s.wav --flavor 1 --html small/o", "small/o"}}) {
    SCOPED_TRACE(full.call);
    const ProgramResult result =
        on_small_disk("\"$Q\" " + std::string(full.call) + "; echo $?; ls -A small");
    EXPECT_EQ(result.out, "1\n");
    EXPECT_EQ(result.err, "quel: " + std::string(full.what) + ": No space left on device\n");
  }
  for (const std::string call : {"encode in.wav -", "decode c -", "dump c", "dump --json c"}) {
    SCOPED_TRACE(call);
    const ProgramResult result = on_small_disk("\"$Q\" " + call + " > small/o; echo $?");
    EXPECT_EQ(result.out, "1\n");
    EXPECT_THAT(result.err, HasSubstr("quel: standard output: "));
  }
}

TEST_F(QuelDisk, AnOldFileOutlivesTheFailure) {
  const ProgramResult result = on_small_disk(
      "echo old > small/o.wav; \"$Q\" decode -f c small/o.wav; echo $?; cat small/o.wav; ls -A "
      "small");
  EXPECT_EQ(result.out, "1\nold\no.wav\n");
}

TEST_F(QuelDisk, OfManyFilesThoseThatFitAreDoneAndTheRestGoOnLater) {
  // 1 s is 1.1 KB coded: three of these and the journal take a block each, the whole disk.
  write_text("prepare",
             "mkdir in && cp in.wav in/b.wav && for n in a c d; do "
             "\"$Q\" decode c in/$n.wav --length 1; done");
  ASSERT_EQ(shell("export Q && sh ./prepare").err, "");
  const ProgramResult result = on_small_disk(
      "run() { \"$Q\" encode in --output-dir small --flavor 1 --jobs 1; }; run; echo $?; ls -A "
      "small;"
      "mount -o remount,size=64k small; touch -r in/a.wav small/a.quel; run; echo $?; ls -A small;"
      "[ small/a.quel -nt in/a.wav ] || [ small/a.quel -ot in/a.wav ] || echo kept;"
      "\"$Q\" decode small --output-dir back --jobs 1; echo $?; ls back");
  EXPECT_EQ(result.out,
            "1\na.quel\nc.quel\nd.quel\nquel-manifest.tsv.journal\n"
            "0\na.quel\nb.quel\nc.quel\nd.quel\nquel-manifest.tsv\n"
            "kept\n"
            "0\na.wav\nb.wav\nc.wav\nd.wav\nquel-manifest.tsv\n");
  EXPECT_EQ(result.err,
            "quel: 1 of 4 files failed or were damaged:\n"
            "quel: small/b.quel: No space left on device\n"
            "quel: small/quel-manifest.tsv: No space left on device\n");
}

TEST_F(QuelDisk, AManifestThatFindsNoRoomIsAFailureAndTheFilesAreListed) {
  // All but a page is taken, so that the journal starts and then nothing else has room.
  const ProgramResult result = on_small_disk(
      "mkdir small/o; head -c 12288 /dev/zero > small/full;"
      "\"$Q\" encode in.wav none.wav --output-dir small/o --jobs 1; echo $?;"
      "rm small/full; \"$Q\" decode c small/o/x.raw --length 0.1; echo $?");
  EXPECT_EQ(result.out, "1\n0\n");
  EXPECT_THAT(result.err, HasSubstr("quel: small/o/in.quel: No space left on device\n"));
  EXPECT_THAT(result.err, HasSubstr("quel: none.wav: No such file or directory\n"));
}

TEST_F(QuelDisk, ADiskThatMayNotBeWrittenIsTheSystemsError) {
  const ProgramResult result = on_small_disk(
      "mkdir small/d; mount -o remount,ro small; \"$Q\" encode in.wav small/o; echo $?;"
      "\"$Q\" decode c small/o.wav; echo $?; \"$Q\" encode in.wav --output-dir small/d; echo $?;"
      "\"$Q\" encode in.wav --output-dir small/e; echo $?");
  EXPECT_EQ(result.out, "1\n1\n1\n1\n");
  EXPECT_EQ(result.err,
            "quel: small/o: Read-only file system\n"
            "quel: small/o.wav: Read-only file system\n"
            "quel: small/d/quel-manifest.tsv.journal: Read-only file system\n"
            "quel: small/e: Read-only file system\n");
}

}  // namespace
}  // namespace quel::test
