// quel mux and quel demux as a shell user meets them.
#include "tools/mux.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/ogg_support.h"
#include "tools/tool_support.h"

namespace quel::tools {
namespace {

using test::Bytes;
using test::ProgramResult;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class Mux : public test::ToolTest {
 protected:
  ProgramResult quel(const std::vector<std::string>& arguments) {
    return test::run_program(QUEL_PROGRAM, arguments);
  }
  ProgramResult shell(const std::string& script) {
    return test::run_program("/bin/sh", {"-c", "cd " + path("") + " && " + script});
  }
  // The units of a flavor, written to "raw" too.
  Bytes make_raw(int flavor, std::uint64_t n) {
    const Bytes raw = test::joined(test::coded_units(flavor, n));
    test::write_bytes(path("raw"), raw);
    return raw;
  }
};

TEST_F(Mux, DemuxIsTheWayBackForEveryFlavor) {
  for (int flavor = 0; flavor < 4; ++flavor) {
    SCOPED_TRACE(flavor);
    for (const std::uint64_t n : {0u, 1u, 2u, 50u}) {
      const Bytes raw = make_raw(flavor, n);
      ASSERT_EQ(
          quel({"mux", path("raw"), path("c"), "-f", "--flavor", std::to_string(flavor)}).status,
          0);
      const ProgramResult result = quel({"demux", path("c"), path("back"), "-f"});
      EXPECT_EQ(result.status, 0);
      EXPECT_EQ(result.err, "");
      EXPECT_EQ(test::read_bytes(path("back")), raw);
    }
  }
}

// But for the encoder's behaviour, which bare units do not tell.
TEST_F(Mux, WritesTheVeryFileThatAnEncoderWouldWrite) {
  const auto units = test::coded_units(0, 30);
  make_raw(0, 30);
  OggTags tags{make_tags().encoder, {}};
  add_comment(tags, "TITLE=a b");
  const std::uint64_t samples = test::samples_of(0, 30) - 5;
  ASSERT_EQ(quel({"mux", path("raw"), path("c"), "--flavor", "6.5", "--samples",
                  std::to_string(samples), "--input-rate", "44100", "--comment", "TITLE=a b",
                  "--packet-ms", "60", "--page-ms", "180"})
                .status,
            0);
  EXPECT_EQ(test::read_bytes(path("c")),
            test::ogg_file(0, units, samples, test::small_pages(), tags));
}

TEST_F(Mux, TheBehaviourIsWhatTheUserSays) {
  make_raw(1, 7);
  ASSERT_EQ(quel({"mux", path("raw"), path("c"), "--flavor", "1"}).status, 0);
  EXPECT_THAT(quel({"info", path("c")}).out, HasSubstr("behaviour unknown"));
  ASSERT_EQ(
      quel({"mux", path("raw"), path("c"), "-f", "--flavor", "1", "--comment", "QUEL_BEHAVIOUR=7"})
          .status,
      0);
  EXPECT_THAT(quel({"info", path("c")}).out, HasSubstr("behaviour 7"));
}

TEST_F(Mux, ByDefaultKeepsEverySampleThatTheUnitsHold) {
  make_raw(2, 7);
  ASSERT_EQ(quel({"mux", path("raw"), path("c"), "--flavor", "2"}).status, 0);
  EXPECT_EQ(test::ogg_decode(test::read_bytes(path("c"))).size(), test::samples_of(2, 7));
}

TEST_F(Mux, LengthsThatTheUnitsDoNotHoldAreRefused) {
  make_raw(1, 7);
  for (const std::uint64_t wrong : {test::samples_of(1, 7) + 1, test::samples_of(1, 6)}) {
    const ProgramResult result =
        quel({"mux", path("raw"), path("c"), "--flavor", "1", "--samples", std::to_string(wrong)});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("raw: has 7 units; "));
  }
  EXPECT_THAT(names(), ElementsAre("raw"));
}

TEST_F(Mux, APieceOfAUnitIsRefused) {
  Bytes raw = make_raw(1, 2);
  raw.push_back(0);
  test::write_bytes(path("raw"), raw);
  const ProgramResult result = quel({"mux", path("raw"), path("c"), "--flavor", "1"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err,
            "quel: " + path("raw") + ": 39 bytes are no whole number of units of 19 bytes\n");
  EXPECT_THAT(names(), ElementsAre("raw"));
}

TEST_F(Mux, LostUnitsBecomeZerosInTheirPlaceAndStatusOne) {
  const Bytes raw = make_raw(1, 40);
  const Bytes file = test::ogg_file(1, test::coded_units(1, 40), test::samples_of(1, 40));
  test::write_bytes(path("c"), test::without(file, test::page_spans(file)[3]));
  const ProgramResult result = quel({"demux", path("c"), path("back")});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "quel: " + path("c") + ": 9 lost units in 1 hole\n");
  Bytes wanted = raw;  // packets of three units, pages of three packets: the second page is gone
  std::fill(wanted.begin() + 9 * 19, wanted.begin() + 18 * 19, std::uint8_t{0});
  EXPECT_EQ(test::read_bytes(path("back")), wanted);
}

TEST_F(Mux, ACutFileGivesWhatIsThereAndStatusOne) {
  const Bytes file = test::ogg_file(1, test::coded_units(1, 40), test::samples_of(1, 40));
  const Bytes cut(file.begin(),
                  file.begin() + static_cast<std::ptrdiff_t>(test::page_spans(file)[3].start));
  test::write_bytes(path("c.part"), cut);
  const ProgramResult result = quel({"demux", path("c.part"), path("back")});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("c.part: cut short: the end is missing\n"));
  EXPECT_EQ(test::read_bytes(path("back")).size(), 9u * 19);
}

// What each of the commands that give a file's content says of it, and the status of each.
TEST_F(Mux, DamageOfAnyKindIsTold) {
  const Bytes file = test::ogg_file(1, test::coded_units(1, 40), test::samples_of(1, 40));
  const auto pages = test::page_spans(file);
  const auto part = [&](std::size_t from, std::size_t to) {
    return Bytes(file.begin() + static_cast<std::ptrdiff_t>(from),
                 file.begin() + static_cast<std::ptrdiff_t>(to));
  };
  const Bytes page = part(pages[3].start, pages[3].end());
  Bytes one_lost = file;
  const std::uint64_t granule = test::granule_of(file, pages.back());
  for (std::size_t i = 3; i < pages.size(); ++i) {
    test::set_granule(one_lost, pages[i], test::granule_of(file, pages[i]) + 144);
    test::put_number(one_lost, pages[i].start + 18, i + 1, 4);
    test::seal(one_lost, pages[i]);
  }
  ASSERT_EQ(test::granule_of(one_lost, pages.back()), granule + 144);
  const std::vector<std::pair<Bytes, std::string>> cases = {
      {test::without(file, pages[1]),
       "comments not read: the page of comments is damaged or missing"},
      {test::joined({part(0, pages[3].start), Bytes(5), part(pages[3].start, file.size())}),
       "5 bytes outside pages"},
      {test::joined({part(0, pages[4].start), page, part(pages[4].start, file.size())}),
       "1 misplaced page"},
      {test::joined({file, Bytes(1)}), "1 byte outside pages"},
      {one_lost, "1 lost unit in 1 hole"},
      {part(0, pages[4].start), "cut short: the end is missing"}};
  for (const auto& [bytes, note] : cases) {
    test::write_bytes(path("c"), bytes);
    const std::string line = "quel: " + path("c") + ": " + note + "\n";
    const ProgramResult demuxed = quel({"demux", path("c"), path("back"), "-f"});
    EXPECT_EQ(demuxed.err, line);
    EXPECT_EQ(demuxed.status, 1);
    const ProgramResult dumped = quel({"dump", path("c")});
    EXPECT_EQ(dumped.err, line);
    EXPECT_EQ(dumped.status, 0);
    const ProgramResult decoded = quel({"decode", path("c"), path("o.wav"), "-f"});
    EXPECT_EQ(decoded.status, 1);
    const std::string stem = line.substr(0, line.find(": the end"));
    EXPECT_THAT(decoded.err, ::testing::StartsWith(note.starts_with("cut") ? stem : line));
    EXPECT_THAT(quel({"info", path("c")}).out, HasSubstr("  damage      " + note + "\n"));
  }
}

TEST_F(Mux, FurtherStreamsAreToldWhereNobodyHasToWaitForThem) {
  const Bytes file = test::ogg_file(1, test::coded_units(1, 4), test::samples_of(1, 4));
  test::write_bytes(path("c"), test::joined({file, file, file}));
  for (const std::string command : {"demux", "decode"}) {
    const std::string program = std::string(QUEL_PROGRAM) + " " + command;
    const ProgramResult result = shell(program + " c o -f");
    EXPECT_EQ(result.status, 0) << command;
    EXPECT_EQ(result.err, "quel: c: 2 further coded streams ignored\n");
    EXPECT_EQ(shell("cat c | " + program + " - o -f").err, "");
  }
  EXPECT_EQ(quel({"dump", path("c")}).err,
            "quel: " + path("c") + ": 2 further coded streams ignored\n");
}

TEST_F(Mux, StandardInputIsRead) {
  make_raw(3, 40);
  ASSERT_EQ(shell(std::string("cat raw | ") + QUEL_PROGRAM + " mux - a --flavor 3").status, 0);
  ASSERT_EQ(shell(std::string(QUEL_PROGRAM) + " mux raw b --flavor 3").status, 0);
  EXPECT_EQ(test::read_bytes(path("a")), test::read_bytes(path("b")));
  ASSERT_EQ(shell(std::string("cat a | ") + QUEL_PROGRAM + " demux - c").status, 0);
  EXPECT_EQ(test::read_bytes(path("c")), test::read_bytes(path("raw")));
  ASSERT_EQ(shell(std::string(QUEL_PROGRAM) + " dump a | " + QUEL_PROGRAM + " mux --from-dump - d")
                .status,
            0);
  EXPECT_EQ(test::read_bytes(path("d")), test::read_bytes(path("a")));
}

TEST_F(Mux, KeepsAnExistingFileUnlessForced) {
  make_raw(1, 3);
  test::write_bytes(path("c"), {1, 2});
  EXPECT_EQ(quel({"mux", path("raw"), path("c"), "--flavor", "1"}).status, 1);
  EXPECT_EQ(test::read_bytes(path("c")), (Bytes{1, 2}));
  EXPECT_EQ(quel({"mux", path("raw"), path("c"), "--flavor", "1", "--force"}).status, 0);
  EXPECT_EQ(quel({"demux", path("c"), path("raw")}).status, 1);
  EXPECT_EQ(quel({"demux", path("c"), path("raw"), "--force"}).status, 0);
}

TEST_F(Mux, FailuresNameFileAndCause) {
  for (const std::vector<std::string>& call :
       std::vector<std::vector<std::string>>{{"mux", path("none"), path("o"), "--flavor", "1"},
                                             {"mux", path("none"), path("o"), "--from-dump"},
                                             {"demux", path("none"), path("o")},
                                             {"dump", path("none")},
                                             {"info", path("none")}}) {
    const ProgramResult result = quel(call);
    EXPECT_EQ(result.status, 1) << call[0];
    EXPECT_EQ(result.err, "quel: " + path("none") + ": No such file or directory\n");
  }
  make_raw(1, 1);
  EXPECT_EQ(quel({"mux", path("raw"), path("o"), "--from-dump"}).status, 1);
  const ProgramResult folder = quel({"mux", path(""), path("o"), "--from-dump"});
  EXPECT_EQ(folder.status, 1);
  EXPECT_EQ(folder.err, "quel: " + path("") + ": Is a directory\n");
  EXPECT_EQ(quel({"demux", path("raw"), path("o")}).status, 1);
  EXPECT_THAT(names(), ElementsAre("raw"));
}

TEST_F(Mux, WrongUseIsStatusTwo) {
  for (const std::vector<std::string>& call : std::vector<std::vector<std::string>>{
           {"mux", "a", "b"},
           {"mux", "a", "b", "--flavor", "4"},
           {"mux", "a", "b", "--flavor", "1", "--from-dump"},
           {"mux", "a", "b", "--samples", "5", "--from-dump"},
           {"mux", "a", "b", "--flavor", "1", "--samples", "-1"},
           {"mux", "a", "b", "--flavor", "1", "--input-rate", "999"},
           {"mux", "a", "b", "--flavor", "1", "--packet-ms", "0"},
           {"mux", "a", "b", "--flavor", "1", "--page-ms", "60001"},
           {"mux", "a", "--flavor", "1"},
           {"mux", "a", "b", "--flavor", "1", "--comment", "x"},
           {"mux", "a", "b", "--flavor", "1", "--comment", "QUEL_BEHAVIOUR=1", "--comment",
            "QUEL_BEHAVIOUR=1"},
           {"mux", "a", "b", "--flavor", "1", "--comment", "A=\xff"},
           {"mux", "a", "b", "--flavor", "1", "--comment", "A=" + std::string(65025, 'x')},
           {"demux", "a"},
           {"dump"},
           {"dump", "a", "b"},
           {"info"},
           {"play"},
           {"play", "a", "--start", "-1"},
           {"play", "a", "--loss", "101"},
           {"play", "a", "--conceal", "loudly"},
           {"selftest", "a"}}) {
    EXPECT_EQ(quel(call).status, 2) << ::testing::PrintToString(call);
  }
  EXPECT_THAT(names(), IsEmpty());
}

}  // namespace
}  // namespace quel::tools
