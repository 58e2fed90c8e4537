#include "tools/batch_manifest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/file_error.h"
#include "tools/tool_support.h"

namespace quel::tools {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class BatchManifest : public test::ToolTest {
 protected:
  void write(const std::string& name, const std::string& text) {
    test::write_bytes(path(name), test::Bytes(text.begin(), text.end()));
  }
  std::string error(const std::string& name) {
    try {
      read_manifest(path(name));
    } catch (const FileError& failure) {
      return failure.what();
    }
    return "";
  }
  const ManifestRow plain_{"in/a.wav", "a.quel", "encode", "done", 100, "00ff", 9, "ee", 50, ""};
  const ManifestRow odd_{"in/\ttab\nline\\back\r\"quote\" \u00fc \x01",
                         "o",
                         "s",
                         "failed",
                         18446744073709551615u,
                         "",
                         0,
                         "",
                         0,
                         "cause, with {} and [x]"};
};

TEST_F(BatchManifest, ComesBackInBothForms) {
  for (const std::string name : {"m.tsv", "m.json", "m"}) {
    for (const auto& rows : {std::vector<ManifestRow>{}, {plain_}, {plain_, odd_, plain_}}) {
      write(name, manifest_text(name, rows));
      EXPECT_EQ(read_manifest(path(name)), rows) << name;
    }
  }
}

TEST_F(BatchManifest, IsReadableByOthers) {
  EXPECT_EQ(manifest_text("m.tsv", {plain_}),
            "input\toutput\tsettings\tstatus\tinput_bytes\tinput_sha256\toutput_bytes\t"
            "output_sha256\tsamples\tmessage\n"
            "in/a.wav\ta.quel\tencode\tdone\t100\t00ff\t9\tee\t50\t\n");
  EXPECT_EQ(manifest_text("m.json", {plain_}),
            "{\"quel_manifest\": 1, \"files\": [\n"
            "{\"input\": \"in/a.wav\", \"output\": \"a.quel\", \"settings\": \"encode\", "
            "\"status\": \"done\", \"input_bytes\": 100, \"input_sha256\": \"00ff\", "
            "\"output_bytes\": 9, \"output_sha256\": \"ee\", \"samples\": 50, \"message\": \"\"}\n"
            "]}\n");
}

TEST_F(BatchManifest, RefusesWhatIsNone) {
  EXPECT_THAT(read_manifest(path("none")), IsEmpty());
  write("text", "dear diary\n");
  EXPECT_THAT(error("text"), HasSubstr("exists already and is no manifest of quel"));
  write("empty", "");
  EXPECT_THAT(error("empty"), HasSubstr("is no manifest of quel"));
  write("m.json", manifest_text("m.tsv", {plain_}));
  EXPECT_THAT(error("m.json"), HasSubstr("is no manifest of quel"));
  write("m.tsv", manifest_text("m.tsv", {plain_}).append("half a row\n"));
  EXPECT_THAT(error("m.tsv"), HasSubstr("damaged"));
}

TEST_F(BatchManifest, EveryCutOfAJsonRowIsRefused) {
  const std::string text = manifest_text("m.json", {odd_});
  const std::size_t row = text.find('\n') + 1;
  for (std::size_t cut = row; cut < text.size() - 6; ++cut) {
    std::string shorter(text, 0, cut);
    shorter.append("\n]}\n");
    write("m.json", shorter);
    EXPECT_THAT(error("m.json"), HasSubstr("damaged")) << cut;
  }
}

TEST_F(BatchManifest, AJournalThatWasCutKeepsItsWholeLines) {
  std::string text = "\n";
  text.append(tsv_line(plain_)).append("\n").append(tsv_line(odd_));
  write("j", std::string(text, 0, text.size() - 1));
  EXPECT_THAT(read_journal(path("j")), ElementsAre(plain_));
  write("j", text);
  EXPECT_THAT(read_journal(path("j")), ElementsAre(plain_, odd_));
  EXPECT_THAT(read_journal(path("none")), IsEmpty());
}

}  // namespace
}  // namespace quel::tools
