#include <cstdint>
#include <iterator>
#include <map>
#include <span>
#include <utility>

#include "bitstream/bitno.h"
#include "conformance/random.h"
#include "fuzz/corpus.h"
#include "quelcodec/quelcodec.h"

namespace quel::fuzz {
namespace {

using conformance::Random;

// The decoder's fuzzer reads no further.
constexpr int most_units = 24;

std::uint8_t low_byte(std::uint64_t value) {
  return static_cast<std::uint8_t>(value & 0xff);
}

// Units of one of a few pieces of the signal.
const std::vector<Bytes>& piece(int flavor, int part) {
  static std::map<std::pair<int, int>, std::vector<Bytes>> pieces;
  std::vector<Bytes>& units = pieces[{flavor, part}];
  if (units.empty()) units = coded(flavor, static_cast<std::size_t>(part) * 17000, most_units);
  return units;
}

// Steps of stream_decoder_fuzz, with all that each reads.
class DecoderSeed {
 public:
  // The number of the flavor that step 6 decodes goes into the input of flavor 3 only, which has
  // three others.
  DecoderSeed(int flavor, int concealment, int other, int part)
      : at_once_(concealment == QUEL_CONCEAL_IMMEDIATE),
        units_(piece(flavor, part)),
        other_units_(piece(flavor == QUEL_FLAVOR_16K ? other : QUEL_FLAVOR_16K, part)),
        random_(static_cast<std::uint64_t>(8 * part + 4 * concealment + flavor)) {
    input_.push_back(low_byte(static_cast<std::uint64_t>(flavor | concealment << 2)));
    if (flavor == QUEL_FLAVOR_16K) input_.push_back(low_byte(static_cast<std::uint64_t>(other)));
  }

  bool full() const { return taken_ >= most_units; }

  void received() {
    step(random_.integer(0, 1), 0);
    unit();
    if (!at_once_) whole_ = true;
  }
  void in_part(std::uint8_t mask) {
    step(2, 0);
    unit();
    input_.push_back(mask);
    whole_ = false;
  }
  void lost(int units) {
    step(3, units - 1);
    taken_ += units;
    whole_ = false;
  }
  void repeated(int units) {
    step(4, units - 1);
    taken_ += units;
    if (!at_once_) whole_ = true;
  }
  void reset() {
    step(5, 0);
    whole_ = true;
  }
  // Nothing is read where losses are yet to be made up for, or where the plug-in went astray.
  void other_flavor(int units) {
    if (!whole_ && at_once_) reset();
    if (!whole_) received();
    if (full()) return;
    step(6, units - 1);
    for (int i = 0; i < units; ++i) {
      append(input_, other_units_[static_cast<std::size_t>(taken_++) % other_units_.size()]);
    }
  }
  void wrong_call(int kind) {
    step(7, kind);
    // With a frame received there are samples due, for which kind 1 gives too little room.
    append(input_, random_.bits() | 1u, 4);
    constexpr int more[wrong_calls] = {2, 2, 0, 0, 0, 8, 3};
    for (int i = 0; i < more[kind]; ++i) input_.push_back(low_byte(random_.bits() >> 24));
  }
  void any_step() {
    switch (random_.integer(0, 9)) {
      case 0:
        return in_part(low_byte(random_.bits() >> 24));
      case 1:
        return lost(random_.integer(1, 7));
      case 2:
        return repeated(random_.integer(1, 3));
      case 3:
        return reset();
      case 4:
        return other_flavor(random_.integer(1, 4));
      case 5:
        return wrong_call(random_.integer(0, wrong_calls - 1));
      default:
        return received();
    }
  }

  void add_to(Corpus& corpus) const { corpus.add("stream_decoder_fuzz", input_, steps_); }

  static constexpr int wrong_calls = 7;

 private:
  void step(int kind, int count) {
    input_.push_back(low_byte(static_cast<std::uint64_t>(kind | count << 3)));
    ++steps_;
  }
  void unit() { append(input_, units_[static_cast<std::size_t>(taken_++) % units_.size()]); }

  bool at_once_;
  const std::vector<Bytes>& units_;
  const std::vector<Bytes>& other_units_;
  Random random_;
  Bytes input_;
  int steps_ = 0, taken_ = 0;
  bool whole_ = true;  // no loss since the last reset, or none that is still to be made up for
};

// Steps of bits_fuzz, with all that each reads.
class BitsSeed {
 public:
  explicit BitsSeed(std::uint64_t seed) : random_(seed) {}

  // flavor  of the kinds that code a frame
  void step(int kind, int flavor);
  void any_step() { step(random_.integer(0, 7), random_.integer(0, 3)); }
  void add_to(Corpus& corpus) const { corpus.add("bits_fuzz", input_, steps_); }

 private:
  void any(std::size_t bytes) {
    for (std::size_t i = 0; i < bytes; ++i) input_.push_back(low_byte(random_.bits() >> 24));
  }
  void number(int value, int bytes = 1) {
    append(input_, static_cast<std::uint64_t>(value), bytes);
  }

  Random random_;
  Bytes input_;
  int steps_ = 0;
};

void BitsSeed::step(int kind, int flavor) {
  number(kind | flavor << 3);
  ++steps_;
  const auto f = static_cast<std::size_t>(flavor);
  constexpr std::size_t frame_bytes[] = {15, 19, 19, 20}, frame_words[] = {21, 21, 21, 22};
  switch (kind) {
    case 0: {
      const int to = random_.integer(0, 40), from = random_.integer(0, 40);
      const int count = random_.integer(-1, 320), copied = count < 0 ? 0 : count;
      number(to);
      number(from);
      number(count + 1, 2);
      return any(static_cast<std::size_t>((from + copied + 7) / 8 + (to + copied + 7) / 8));
    }
    case 1:
      return any(2 * frame_bytes[f]);
    case 2:
      return any(4 * frame_words[f]);
    case 3: {
      const int mode = random_.integer(-2, 4);
      number(mode + 2);
      return any(4 * serial_fields(mode).size() + 2);
    }
    case 4: {
      const int count = random_.integer(0, 32);
      any(4);
      number(count);
      return any(2 * static_cast<std::size_t>(count));
    }
    case 5: {
      const int count = random_.integer(-2, 24), offset = random_.integer(0, 3);
      number(count + 2);
      number(offset);
      return any(static_cast<std::size_t>(offset + 4 * (count < 0 ? 0 : count)));
    }
    case 6:
      return any(4 * (4 + 1));
    default:
      // Of a flavor nothing more is read.
      number(random_.integer(4, 100), 4);
      return any(4 * 23 + 20);
  }
}

}  // namespace

void decoder_seeds(Corpus& corpus) {
  for (int kind = 0; kind < 8; ++kind) {
    const auto seed = [kind](int part) { return DecoderSeed(kind & 3, kind >> 2, part % 3, part); };
    DecoderSeed speech = seed(0);
    for (int i = 0; i < 12; ++i) speech.received();
    speech.add_to(corpus);

    DecoderSeed all = seed(1);
    all.received();
    all.other_flavor(1);
    all.in_part(0xfe);
    all.received();
    all.lost(6);
    all.repeated(2);
    all.reset();
    for (int call = 0; call < DecoderSeed::wrong_calls; ++call) all.wrong_call(call);
    all.received();
    all.other_flavor(2);
    all.add_to(corpus);

    for (int part = 2; part < 7; ++part) {
      DecoderSeed any = seed(part);
      for (int i = 0; i < 20 && !any.full(); ++i) any.any_step();
      any.add_to(corpus);
    }
  }
}

void encoder_seeds(Corpus& corpus) {
  for (int flavor = 0; flavor < 4; ++flavor) {
    const auto samples = static_cast<std::size_t>(quel_samples_per_unit(flavor));
    for (std::size_t part = 0; part < 4; ++part) {
      Bytes input = {low_byte(static_cast<std::uint64_t>(flavor))};
      const Pcm pcm = signal(flavor, part * 17000, 4 * samples);
      for (std::size_t u = 0; u < 4; ++u) {
        input.push_back(0);
        append(input, std::span(pcm).subspan(u * samples, samples));
      }
      corpus.add("stream_encoder_fuzz", input, 4);
    }
    Bytes input = {low_byte(static_cast<std::uint64_t>(flavor))};
    const Bytes steps[] = {{1, 0xff, 0x7f},                  // a level
                           {2, 0xff, 0x7f},                  // noise
                           {3, 0xff, 0x7f, 0x00, 0x80, 20},  // squares
                           {5 | 3 << 3},                     // the same four times more
                           {4, 0xff, 0x7f, 0x00, 0x00, 80},  // clicks
                           {6},                              // a reset
                           {1, 0x00, 0x80},                  // a level
                           {7, 9, 0},                        // wrong calls
                           {7 | 1 << 3, 3},
                           {7 | 2 << 3},
                           {7 | 3 << 3, 2, 0, 0, 0, 0, 0, 0, 0},
                           {7 | 3 << 3, 4, 0, 0, 0, 0, 0, 0, 0}};
    for (const Bytes& step : steps) append(input, step);
    corpus.add("stream_encoder_fuzz", input, static_cast<int>(std::size(steps)));
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
    corpus.add("plugin_fuzz", input, 8);
    // Another flavor's call in between, switches, memory, properties.
    append(input, Bytes{0, static_cast<std::uint8_t>(3 - f), 5, 60, 0x55, 0, 0, 0});
    append(input, Bytes(60, 0xa5));
    append(input, Bytes{10, 9, 1, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 8, f, 1, 11, 4});
    corpus.add("plugin_fuzz", input, 15);
    const Bytes steps[] = {{0, f},    {2, 0x40, 0x1f, 0, 0, 2}, {3, 0, 0x40, 1, 2, 3, 4},
                           {1, 9, 0}, {3, 0, 0x20, 4, 3, 2, 1}, {8, f, 4}};
    Bytes sounds;
    for (const Bytes& step : steps) append(sounds, step);
    corpus.add("plugin_fuzz", sounds, static_cast<int>(std::size(steps)));
  }
}

void bits_seeds(Corpus& corpus) {
  for (int what = 0; what < 32; ++what) {
    BitsSeed seed(static_cast<std::uint64_t>(what));
    seed.step(what & 7, what >> 3);
    seed.add_to(corpus);
    for (int i = 0; i < 9; ++i) seed.any_step();
    seed.add_to(corpus);
  }
}

}  // namespace quel::fuzz
