// Writes the inputs that the fuzzers start from, out of the conformance signals:
//   make_corpus FOLDER
// gives FOLDER/<target>/<number> for each target.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <quelcodec/quelcodec.hpp>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "conformance/conformance.h"
#include "conformance/random.h"
#include "tools/dump.h"
#include "tools/ogg_head.h"
#include "tools/ogg_tags.h"
#include "tools/ogg_writer.h"

namespace {

using namespace quel;
using namespace quel::tools;
using conformance::Random;
using Bytes = std::vector<std::uint8_t>;
using Pcm = std::vector<std::int16_t>;

class Corpus {
 public:
  explicit Corpus(std::filesystem::path folder) : folder_(std::move(folder)) {}

  void add(const std::string& target, const Bytes& input) {
    const std::filesystem::path folder = folder_ / target;
    std::filesystem::create_directories(folder);
    std::ofstream file(folder / std::to_string(counts_[target]++), std::ios::binary);
    file.write(reinterpret_cast<const char*>(input.data()),
               static_cast<std::streamsize>(input.size()));
    file.close();
    if (!file) throw std::runtime_error(folder.string() + ": cannot be written");
  }

 private:
  std::filesystem::path folder_;
  std::map<std::string, int> counts_;
};

void append(Bytes& to, std::span<const std::uint8_t> bytes) {
  to.insert(to.end(), bytes.begin(), bytes.end());
}

void append(Bytes& to, const std::string& text) {
  to.insert(to.end(), text.begin(), text.end());
}

void append(Bytes& to, std::span<const std::int16_t> pcm) {
  for (const std::int16_t x : pcm) {
    to.push_back(static_cast<std::uint8_t>(x & 0xff));
    to.push_back(static_cast<std::uint8_t>(x >> 8 & 0xff));
  }
}

void append(Bytes& to, std::uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) to.push_back(static_cast<std::uint8_t>(value >> 8 * i));
}

Pcm signal(int flavor, std::size_t from, std::size_t samples) {
  const Pcm whole = conformance::conformance_signal(check(quel_sampling_rate(flavor)));
  const auto at = whole.begin() + static_cast<std::ptrdiff_t>(from % (whole.size() - samples));
  return {at, at + static_cast<std::ptrdiff_t>(samples)};
}

std::vector<Bytes> coded(int flavor, std::size_t from, std::size_t units) {
  Encoder encoder(flavor);
  const Pcm pcm = signal(flavor, from, units * encoder.samples_per_unit());
  std::vector<Bytes> out;
  for (std::size_t u = 0; u < units; ++u) {
    Bytes unit(encoder.bytes_per_unit());
    encoder.encode(
        std::span(pcm).subspan(u * encoder.samples_per_unit(), encoder.samples_per_unit()), unit);
    out.push_back(unit);
  }
  return out;
}

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

void decoder_seeds(Corpus& corpus) {
  Random random(1);
  for (int kind = 0; kind < 8; ++kind) {
    const int flavor = kind & 3;
    for (std::size_t part = 0; part < 4; ++part) {
      Bytes input = {static_cast<std::uint8_t>(kind), 0};
      for (const Bytes& unit : coded(flavor, part * 17000, 12)) {
        // Mostly received, some lost in part, whole runs lost, resets, another flavor, wrong calls.
        constexpr std::uint8_t steps[] = {0, 0, 0, 2, 3, 3 | 5 << 3, 5, 6, 7, 7 | 2 << 3};
        const std::uint8_t step = part == 0 ? std::uint8_t{0} : steps[random.integer(0, 9)];
        input.push_back(step);
        if ((step & 7) <= 2) append(input, unit);
        if ((step & 7) == 2 || (step & 7) == 7) append(input, random.bits(), 2);
      }
      corpus.add("stream_decoder_fuzz", input);
    }
  }
}

void encoder_seeds(Corpus& corpus) {
  for (int flavor = 0; flavor < 4; ++flavor) {
    const auto samples = static_cast<std::size_t>(quel_samples_per_unit(flavor));
    for (std::size_t part = 0; part < 4; ++part) {
      Bytes input = {static_cast<std::uint8_t>(flavor)};
      const Pcm pcm = signal(flavor, part * 17000, 4 * samples);
      for (std::size_t u = 0; u < 4; ++u) {
        input.push_back(0);
        append(input, std::span(pcm).subspan(u * samples, samples));
      }
      corpus.add("stream_encoder_fuzz", input);
    }
    // Levels, noise, squares, clicks, repeats, a reset, wrong calls.
    corpus.add("stream_encoder_fuzz", {static_cast<std::uint8_t>(flavor),
                                       1,
                                       0xff,
                                       0x7f,
                                       2,
                                       0xff,
                                       0x7f,
                                       3,
                                       0xff,
                                       0x7f,
                                       0x00,
                                       0x80,
                                       20,
                                       5 | 3 << 3,
                                       4,
                                       0xff,
                                       0x7f,
                                       0x00,
                                       0x00,
                                       80,
                                       6,
                                       1,
                                       0x00,
                                       0x80,
                                       7,
                                       9,
                                       0,
                                       7 | 1 << 3,
                                       3,
                                       7 | 2 << 3,
                                       7 | 3 << 3,
                                       2,
                                       0,
                                       0,
                                       0,
                                       0});
  }
}

void plugin_seeds(Corpus& corpus) {
  for (int flavor = 0; flavor < 4; ++flavor) {
    const auto f = static_cast<std::uint8_t>(flavor);
    const auto unit_bytes = static_cast<std::uint8_t>(quel_bytes_per_unit(flavor));
    Bytes input = {4, 0, f};
    for (const Bytes& unit : coded(flavor, 0, 6)) {
      append(input, Bytes{5, unit_bytes, 0xfd, 0xff, 0xff, 0xff});
      append(input, unit);
    }
    corpus.add("plugin_fuzz", input);
    // Another flavor's call in between, switches, memory, properties.
    append(input, Bytes{0, static_cast<std::uint8_t>(3 - f), 5, 60, 0x55, 0, 0, 0});
    append(input, Bytes(60, 0xa5));
    append(input, Bytes{10, 9, 1, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 8, f, 1, 11, 4});
    corpus.add("plugin_fuzz", input);
    corpus.add("plugin_fuzz", {0, f, 2, 0x40, 0x1f, 0, 0,    2, 3, 0, 0x40, 1, 2, 3,
                               4, 1, 9, 0,    3,    0, 0x20, 4, 3, 2, 1,    8, f, 4});
  }
}

void bits_seeds(Corpus& corpus) {
  Random random(2);
  for (int what = 0; what < 32; ++what) {
    Bytes input = {static_cast<std::uint8_t>(what)};
    for (int i = 0; i < 150; ++i) input.push_back(static_cast<std::uint8_t>(random.bits() >> 24));
    corpus.add("bits_fuzz", input);
  }
}

void ogg_seeds(Corpus& corpus) {
  for (int flavor = 0; flavor < 4; ++flavor) {
    corpus.add("ogg_header_fuzz", pack_head(make_head(flavor, 44100)));
    const Bytes file = ogg_file(flavor, 20000, 10);
    for (const int mode : {0x00, 0x01, 0x08}) {
      for (int concealment = 0; concealment < 3; ++concealment) {
        Bytes input;
        for (const int value : {mode, 100, 2, concealment, 3 * concealment}) {
          input.push_back(static_cast<std::uint8_t>(value));
        }
        append(input, file);
        corpus.add("ogg_reader_fuzz", input);
      }
    }
    for (std::uint8_t mode = 2; mode < 6; ++mode) {
      // Written in place, with a byte changed, a piece cut out, a piece put in.
      corpus.add("ogg_reader_fuzz", {mode, 200,  3,   1,  0,  static_cast<std::uint8_t>(flavor),
                                     60,   0,    120, 0,  0,  0,
                                     0xb8, 0x0b, 90,  0,  10, 0,
                                     255,  150,  0,   60, 1,  44,
                                     1,    80,   2});
    }
  }
  OggTags tags = make_tags();
  corpus.add("ogg_header_fuzz", pack_tags(tags));
  for (const char* comment : {"TITLE=Tea", "ARTIST=", "x=\xc3\xa4\n"}) add_comment(tags, comment);
  corpus.add("ogg_header_fuzz", pack_tags(tags));
}

std::string text_of(const Bytes& bytes) {
  return {bytes.begin(), bytes.end()};
}

void command_seeds(Corpus& corpus) {
  const auto add = [&corpus](const std::string& line, const std::string& a,
                             const std::string& b = "") {
    Bytes input;
    append(input, line + "\n" + a + (b.empty() ? "" : "\n%%\n" + b));
    corpus.add("quel_command_fuzz", input);
  };
  for (int flavor = 0; flavor < 4; ++flavor) {
    const std::string name = std::to_string(flavor);
    const std::string file = text_of(ogg_file(flavor, 20000, 6));
    std::string units;
    for (const Bytes& unit : coded(flavor, 20000, 6)) units += text_of(unit);
    std::ostringstream dump;
    const Bytes bytes(file.begin(), file.end());
    write_dump(bytes, "a", false, dump);
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
       {"", "--help", "--version", "encode --help", "--man", "--man encode", "--completions bash",
        "--completions zsh", "--completions fish", "selftest --help", "decode", "eval", "mux"}) {
    add(line, "");
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "make_corpus FOLDER\n";
    return 2;
  }
  try {
    Corpus corpus(argv[1]);
    decoder_seeds(corpus);
    encoder_seeds(corpus);
    plugin_seeds(corpus);
    bits_seeds(corpus);
    ogg_seeds(corpus);
    command_seeds(corpus);
  } catch (const std::exception& error) {
    std::cerr << "make_corpus: " << error.what() << '\n';
    return 1;
  }
}
