#include "train/table_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "train/options.h"

namespace quel::train {
namespace {

TEST(TableFile, HoldsHeaderAndRowsAsTheSourcesIncludeThem) {
  const auto folder = std::filesystem::path(testing::TempDir()) / "quel_table_file_test";
  TableFile file;
  file.name = "some_table";
  file.comment = {"Trained: somehow", "on something"};
  file.width = 3;
  file.digits = 3;
  file.values = {-229.158f, 0.0f, 1.5f, 3.0f, -0.25f, 7250.125f};
  write_table(folder.string(), file);
  std::ifstream in(folder / "some_table.inc");
  std::stringstream text;
  text << in.rdbuf();
  EXPECT_EQ(text.str(),
            "// Trained: somehow\n// on something\n"
            "{-229.158f, 0.000f, 1.500f},\n{3.000f, -0.250f, 7250.125f},\n");
  EXPECT_FALSE(std::filesystem::exists(folder / "some_table.inc.part"));
  std::filesystem::remove_all(folder);
}

Options parse(std::vector<std::string> words) {
  words.insert(words.begin(), "train");
  std::vector<char*> argv;
  for (auto& word : words) argv.push_back(word.data());
  Options defaults;
  defaults.every = 5;
  return parse_options(static_cast<int>(argv.size()), argv.data(), defaults);
}

TEST(TrainOptions, FoldersAndNumbersInAnyOrder) {
  const Options options = parse({"speech", "--seed", "7", "out", "--every", "3"});
  EXPECT_EQ(options.error, "");
  EXPECT_EQ(options.speech_dir, "speech");
  EXPECT_EQ(options.out_dir, "out");
  EXPECT_EQ(options.seed, 7u);
  EXPECT_EQ(options.every, 3);
  EXPECT_EQ(options.command("train_x"), "train_x SPEECH_DIR OUT_DIR --seed 7 --every 3");
  EXPECT_EQ(parse({"speech", "out"}).every, 5);  // the trainer's own
}

TEST(TrainOptions, WhatCannotBeReadIsNamed) {
  EXPECT_NE(parse({"speech"}).error, "");
  EXPECT_NE(parse({"a", "b", "c"}).error, "");
  EXPECT_NE(parse({"a", "b", "--seed"}).error, "");
  EXPECT_NE(parse({"a", "b", "--every", "0"}).error, "");
  EXPECT_NE(parse({"a", "b", "--every", "3x"}).error, "");
  EXPECT_NE(parse({"a", "b", "--loud", "3"}).error, "");
}

}  // namespace
}  // namespace quel::train
