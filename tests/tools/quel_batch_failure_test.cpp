// quel over many files where something goes wrong, as a shell user meets it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/sanitizers.h"
#include "tools/tool_support.h"

namespace quel::test {
namespace {

namespace fs = std::filesystem;
using ::testing::EndsWith;
using ::testing::HasSubstr;

constexpr int wav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;

class QuelBatchFailure : public ToolTest {
 protected:
  void SetUp() override {
    make_input("in/a.wav", 4000, 1);
    make_input("in/sub/b.wav", 3000, 2);
  }
  void make_input(const std::string& name, int samples, std::uint64_t seed) {
    fs::create_directories(fs::path(path(name)).parent_path());
    write_audio(path(name), wav16, 8000, 1, loud_speech(samples, seed));
  }
  /// Programs and shells start in the test's folder; Q is quel.
  ProgramResult shell(const std::string& line) {
    return run_program("/bin/sh", {"-c", "cd \"$1\" && Q=\"$2\" && export Q && " + line, "sh",
                                   path(""), QUEL_PROGRAM});
  }
  ProgramResult encode(const std::string& more = "") {
    return shell("$Q encode in --output-dir out " + more);
  }
};

TEST_F(QuelBatchFailure, ASlipCostsNoFinishedFile) {
  ASSERT_EQ(encode().err, "");
  const Bytes manifest = read_bytes(path("out/quel-manifest.tsv"));
  const auto before = fs::last_write_time(path("out/a.quel"));
  const ProgramResult slip = encode("--flavor 0");
  EXPECT_EQ(slip.status, 1);
  EXPECT_EQ(slip.err,
            "quel: 2 of 2 files failed or were damaged:\n"
            "quel: out/a.quel: exists already (--force replaces it)\n"
            "quel: out/sub/b.quel: exists already (--force replaces it)\n");
  EXPECT_EQ(read_bytes(path("out/quel-manifest.tsv")), manifest);
  const ProgramResult again = encode();
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(again.err, "");
  EXPECT_EQ(fs::last_write_time(path("out/a.quel")), before);
}

TEST_F(QuelBatchFailure, AnInputThatWasOnceEmptyIsDoneWhenItIsBack) {
  ASSERT_EQ(encode().err, "");
  for (const std::string force : {"", "-f"}) {
    ASSERT_EQ(shell("cp in/a.wav kept && : > in/a.wav").status, 0);
    EXPECT_THAT(encode(force).err, HasSubstr("quel: 1 of 2 files failed"));
    ASSERT_EQ(shell("mv kept in/a.wav").status, 0);
    EXPECT_EQ(encode().err, "");
  }
}

TEST_F(QuelBatchFailure, AFailureIsKeptWhereItsOutputIsGoneOrChanged) {
  for (const std::string change : {"rm out/a.quel", "printf x >> out/a.quel"}) {
    SCOPED_TRACE(change);
    ASSERT_EQ(encode("-f").err, "");
    ASSERT_EQ(shell(change + "; cp in/a.wav kept; : > in/a.wav").status, 0);
    EXPECT_EQ(encode().status, 1);
    const Bytes manifest = read_bytes(path("out/quel-manifest.tsv"));
    EXPECT_THAT(std::string(manifest.begin(), manifest.end()), HasSubstr("\tfailed\t"));
    ASSERT_EQ(shell("mv kept in/a.wav").status, 0);
  }
}

TEST_F(QuelBatchFailure, AFolderThatCannotBeReadIsOneFailure) {
  // To root nothing is unreadable, unless it gives that up.
  const std::string as_user =
      geteuid() == 0 ? "setpriv --bounding-set=-dac_override,-dac_read_search " : "";
  ASSERT_EQ(shell("mkdir in/secret && chmod 0 in/secret").status, 0);
  const bool readable = shell(as_user + "ls in/secret").status == 0;
  const bool runs = shell(as_user + "true").status == 0;
  if (readable || !runs) GTEST_SKIP() << "no folder is unreadable here";
  const ProgramResult result = shell(as_user + "$Q encode in --output-dir out");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err,
            "quel: 1 of 3 files failed or were damaged:\n"
            "quel: in/secret: Permission denied\n");
  EXPECT_TRUE(exists(path("out/a.quel")));
  EXPECT_TRUE(exists(path("out/sub/b.quel")));
  EXPECT_EQ(shell("rmdir in/secret").status, 0);
  EXPECT_EQ(encode().err, "");
}

TEST_F(QuelBatchFailure, WithoutMoreThreadsThereIsStillOne) {
#if QUEL_SANITIZED
  GTEST_SKIP() << "sanitizers reserve more address space than there is memory";
#endif
  // A thread's stack does not go into what address space is left.
  const ProgramResult result =
      shell("ulimit -s 1000000 && ulimit -v 900000 && $Q encode in --output-dir out --jobs 900");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_TRUE(exists(path("out/sub/b.quel")));
}

TEST_F(QuelBatchFailure, PipesAreRefusedUnread) {
  ASSERT_EQ(shell("mkfifo pipe.wav").status, 0);
  const ProgramResult named = shell("$Q encode pipe.wav in/a.wav --output-dir out");
  EXPECT_EQ(named.status, 1);
  EXPECT_THAT(named.err,
              EndsWith("\nquel: pipe.wav: not a regular file, which --output-dir needs\n"));
  EXPECT_TRUE(exists(path("out/a.quel")));
  const ProgramResult unnamed =
      shell("cat in/a.wav | $Q encode /dev/stdin --output-dir out2; ls out2");
  EXPECT_THAT(unnamed.err,
              EndsWith("quel: /dev/stdin: not a regular file, which --output-dir needs\n"));
  EXPECT_EQ(unnamed.out, "quel-manifest.tsv\n");
}

TEST_F(QuelBatchFailure, NotesOfSoundFilesAreTold) {
  ASSERT_EQ(encode().err, "");
  // The second stream's first page stands behind the first one's.
  Bytes both = read_bytes(path("out/a.quel"));
  const Bytes other = read_bytes(path("out/sub/b.quel"));
  const auto head = [](const Bytes& file) {
    const std::string text(file.begin(), file.end());
    return static_cast<std::ptrdiff_t>(text.find("OggS", 1));
  };
  both.insert(both.begin() + head(both), other.begin(), other.begin() + head(other));
  fs::create_directory(path("c"));
  write_bytes(path("c/two.quel"), both);
  const ProgramResult alone = shell("$Q decode c/two.quel two.wav");
  ASSERT_EQ(alone.err, "quel: c/two.quel: 1 further coded stream ignored\n");
  for (int run = 0; run < 2; ++run) {  // the second skips it and says so again
    const ProgramResult result = shell("$Q decode c --output-dir back");
    EXPECT_EQ(result.status, alone.status);
    EXPECT_EQ(result.err, alone.err);
  }
  EXPECT_EQ(read_bytes(path("back/two.wav")), read_bytes(path("two.wav")));
  const std::string lossy = shell("$Q decode out/a.quel lossy.wav --loss 50").err;
  ASSERT_THAT(lossy, HasSubstr(" frames lost\n"));
  EXPECT_EQ(shell("$Q decode out/a.quel --output-dir lossy --loss 50").err, lossy);
}

TEST_F(QuelBatchFailure, AFolderWithNothingToTakeIsAFailure) {
  ASSERT_EQ(shell("mkdir -p empty/deep && echo x > empty/deep/notes.txt").status, 0);
  for (const std::string command :
       {"encode", "encode --raw-rate 8000", "decode", "decode --raw --flavor 0"}) {
    SCOPED_TRACE(command);
    const ProgramResult result = shell("$Q " + command + " empty --output-dir o");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, EndsWith("\nquel: no inputs in empty\n"));
  }
  const ProgramResult result = shell("$Q encode empty in --output-dir out");
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(exists(path("out/a.quel")));
}

TEST_F(QuelBatchFailure, ExtensionsHaveNoCase) {
  ASSERT_EQ(shell("$Q encode in/a.wav c && $Q encode --raw --flavor 1 in/a.wav u && mkdir t && "
                  "cp c t/a.QUEL && cp u t/b.Units && cp in/a.wav t/c.WaV && "
                  "cp in/a.wav t/d.RAW && cp in/a.wav t/e.Pcm")
                .err,
            "");
  EXPECT_EQ(shell("$Q encode t --output-dir 1 && $Q encode t --raw-rate 8000 --output-dir 2 && "
                  "$Q decode t --output-dir 3 && $Q decode --raw --flavor 1 t --output-dir 4 && "
                  "ls 1 2 3 4 | grep '[.]'")
                .out,
            "c.quel\nquel-manifest.tsv\nd.quel\ne.quel\nquel-manifest.tsv\na.wav\n"
            "quel-manifest.tsv\nb.wav\nquel-manifest.tsv\n");
}

}  // namespace
}  // namespace quel::test
