#include <iterator>
#include <span>
#include <sstream>
#include <string>

#include "fuzz/corpus.h"
#include "quelcodec/quelcodec.h"
#include "tools/dump.h"
#include "tools/ogg_head.h"
#include "tools/ogg_tags.h"
#include "tools/ogg_writer.h"

namespace quel::fuzz {
namespace {

using namespace quel::tools;

Bytes ogg_file(int flavor, std::size_t from, std::size_t units) {
  const OggHead head = make_head(flavor, static_cast<std::uint32_t>(quel_sampling_rate(flavor)));
  OggTags tags = make_tags();
  add_comment(tags, "TITLE=Tea");
  OggWriterOptions options;
  options.packet_ms = 60;
  options.page_ms = 120;
  Bytes file;
  OggWriter writer([&file](auto page) { append(file, page); }, head, tags, options);
  for (const Bytes& unit : coded(flavor, from, units)) writer.write(unit);
  const std::size_t samples =
      units * static_cast<std::size_t>(quel_samples_per_unit(flavor)) - head.pre_skip;
  writer.finish(samples);
  return file;
}

Bytes wav_file(int rate, int channels, std::span<const std::int16_t> pcm) {
  const auto c = static_cast<std::uint64_t>(channels), r = static_cast<std::uint64_t>(rate);
  Bytes file;
  append(file, "RIFF");
  append(file, 36 + 2 * pcm.size(), 4);
  append(file, "WAVEfmt ");
  append(file, 16, 4);
  append(file, 1, 2);
  append(file, c, 2);
  append(file, r, 4);
  append(file, 2 * c * r, 4);
  append(file, 2 * c, 2);
  append(file, 16, 2);
  append(file, "data");
  append(file, 2 * pcm.size(), 4);
  append(file, pcm);
  return file;
}

std::string text_of(const Bytes& bytes) {
  return {bytes.begin(), bytes.end()};
}

}  // namespace

void ogg_seeds(Corpus& corpus) {
  constexpr int a_head = 1, a_comment = 2;
  for (int flavor = 0; flavor < 4; ++flavor) {
    corpus.add("ogg_header_fuzz", pack_head(make_head(flavor, 44100)), a_head);
    const Bytes file = ogg_file(flavor, 20000, 10);
    for (const int mode : {0x00, 0x01, 0x08}) {
      for (int concealment = 0; concealment < 3; ++concealment) {
        Bytes input;
        for (const int value : {mode, 100, 2, concealment, 3 * concealment}) {
          input.push_back(static_cast<std::uint8_t>(value));
        }
        append(input, file);
        corpus.add("ogg_reader_fuzz", input, 1);
      }
    }
    for (std::uint8_t mode = 2; mode < 6; ++mode) {
      const Bytes steps[] = {
          // Written in place: the reader's four numbers, then those of the file.
          {mode, 200, 3, 1, 0, static_cast<std::uint8_t>(flavor), 60, 0, 120, 0, 0, 0, 0xb8, 0x0b},
          {90, 0, 10, 0, 255},  // a byte changed
          {150, 0, 60, 1},      // a piece cut out
          {44, 1, 80, 2},       // one put in
          {20, 1, 0, 3, 'O', 'g', 'g', 'S', 0, 4, 0, 0}};
      Bytes input;
      for (const Bytes& step : steps) append(input, step);
      corpus.add("ogg_reader_fuzz", input, static_cast<int>(std::size(steps)) - 1);
    }
  }
  for (const int unknown : {0, 1, 3}) {
    OggHead head = make_head(0, 44100);
    head.bitstream = static_cast<std::uint16_t>(unknown);
    corpus.add("ogg_header_fuzz", pack_head(head), 0);
  }
  OggTags tags = make_tags();
  corpus.add("ogg_header_fuzz", pack_tags(tags), a_comment);
  for (const char* comment : {"TITLE=Tea", "ARTIST=", "x=\xc3\xa4\n"}) add_comment(tags, comment);
  corpus.add("ogg_header_fuzz", pack_tags(tags), a_comment);
}

void command_seeds(Corpus& corpus) {
  int status = 0;
  const auto add = [&](const std::string& line, const std::string& a, const std::string& b = "") {
    Bytes input;
    append(input, line + "\n" + a + (b.empty() ? "" : "\n%%\n" + b));
    corpus.add("quel_command_fuzz", input, status);
  };
  for (int flavor = 0; flavor < 4; ++flavor) {
    const std::string name = std::to_string(flavor);
    const std::string file = text_of(ogg_file(flavor, 20000, 6));
    std::string units;
    for (const Bytes& unit : coded(flavor, 20000, 6)) units += text_of(unit);
    std::ostringstream dump;
    write_dump(ogg_file(flavor, 20000, 3), "a", false, dump);
    add("info a", file);
    add("info --json a a.quel -", file);
    add("dump a", file);
    add("dump --json -", file);
    add("decode a x.wav", file);
    add("decode --rate 11025 --gain -6 a x.flac", file);
    add("decode --loss 10% --seed 7 --conceal deferred a x.raw", file);
    add("decode --loss-burst 20,3 --conceal none --format raw --raw-endianness big - -", file);
    add("decode --loss-file b a x.wav", file, "0 1 0 0\n# lost\n1 0\n");
    add("decode --output-dir out --jobs 2 d", file);
    add("decode --raw --flavor " + name + " a.units -", units);
    add("info d/c.quel", file);
    add("decode d/c.quel d/x.wav", file);
    add("demux a x.units", file);
    add("mux --flavor " + name + " --comment TITLE=Tea a.units x.quel", units);
    add("mux --from-dump a x.quel", dump.str());
    const std::string wav =
        text_of(wav_file(quel_sampling_rate(flavor), 1, signal(flavor, 9000, 1500)));
    add("encode --flavor " + name + " a.wav x.quel", wav);
    add("encode --raw --flavor " + name + " - -", wav);
  }
  const Pcm pcm = signal(3, 30000, 1200);
  const std::string stereo = text_of(wav_file(22050, 2, pcm)),
                    mono = text_of(wav_file(8000, 1, pcm));
  Bytes bare;
  append(bare, pcm);
  add("encode --channel 2 --gain 3 --packet-ms 20 a x.quel", stereo);
  add("encode --output-dir out --manifest m.json --jobs 4 -f a.wav d", stereo);
  add("encode --raw-rate 16000 --raw-chan 2 --raw-endianness big --flavor 8.5 a.raw x",
      text_of(bare));
  add("encode --comment TITLE=Tea --comment X=Y a -", mono);
  add("eval --flavor 6.5,16 --loss 0,5 --conceal deferred a", mono);
  add("eval --flavor 2 --json x.json --html x.html a", mono);
  add("encode --output-dir out --manifest b d", mono,
      "input\toutput\tsettings\tstatus\tinput_bytes\tinput_sha256\toutput_bytes\toutput_sha256\t"
      "samples\tmessage\n");
  for (const char* line :
       {"--help", "--version", "encode --help", "--man", "--man encode", "--completions bash",
        "--completions zsh", "--completions fish", "selftest --help", "play --help"}) {
    add(line, "");
  }
  status = 2;
  for (const char* line : {"", "decode", "eval", "mux"}) add(line, "");
}

}  // namespace quel::fuzz
