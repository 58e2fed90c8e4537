#include "conformance/conformance.h"

#include <array>
#include <cstddef>

#include "bitstream/serial.h"
#include "conformance/random.h"
#include "quelcodec/quelcodec.h"

namespace quel::conformance {
namespace {

// A vowel: three resonances as 2 r cos(w), at 8 kHz; r is fixed per formant.
struct Vowel {
  double c[3];
};
constexpr double radius[3] = {0.977, 0.962, 0.947};
constexpr std::array<Vowel, 5> vowels = {{{{1.67, 1.21, -0.61}},
                                          {{1.84, -0.21, -1.10}},
                                          {{1.89, 1.35, -0.75}},
                                          {{1.75, 0.45, -0.90}},
                                          {{1.80, 1.55, -0.50}}}};

std::int16_t clip(double x) {
  if (x > 32767.0) return 32767;
  if (x < -32768.0) return -32768;
  return static_cast<std::int16_t>(x);
}

void add_speech(std::vector<std::int16_t>& out, int n, Random& random) {
  double s1[3] = {}, s2[3] = {}, c[3] = {1.6, 1.0, -0.6};
  double phase = 0, pitch = 0.015, pitch_step = 0, level = 0;
  int left = 0;
  bool voiced = true;
  const Vowel* aim = vowels.data();
  for (int i = 0; i < n; ++i) {
    if (left-- == 0) {
      left = random.integer(600, 2200);
      aim = &vowels[static_cast<std::size_t>(random.integer(0, 4))];
      voiced = random.integer(0, 3) != 0;
      pitch = random.uniform(0.0105, 0.034);
      pitch_step = random.uniform(-3e-6, 3e-6);
    }
    level += 0.004 * ((left > 150 ? 1.0 : 0.1) - level);
    pitch += pitch_step;
    if (pitch < 0.008) pitch = 0.008;
    phase += pitch;
    double x = random.uniform(-0.1, 0.1);
    if (phase >= 1.0) {
      phase -= 1.0;
      if (voiced) x += 5.0;
    }
    if (!voiced) x += random.uniform(-1.0, 1.0);
    x *= level;
    for (int k = 0; k < 3; ++k) {
      c[k] += 0.004 * (aim->c[k] - c[k]);
      const double y = x + c[k] * s1[k] - radius[k] * radius[k] * s2[k];
      s2[k] = s1[k];
      s1[k] = y;
      x = y * (1.0 - radius[k]) * 3.0;
    }
    out.push_back(clip(x * 300000.0));
  }
}

void add_tone(std::vector<std::int16_t>& out, int n, double c) {
  double y1 = 0.0, y2 = -4000.0;
  for (int i = 0; i < n; ++i) {
    const double y = c * y1 - y2;
    y2 = y1;
    y1 = y;
    out.push_back(clip(y));
  }
}

std::vector<std::uint8_t> bytes_of(const std::vector<std::int16_t>& pcm) {
  std::vector<std::uint8_t> bytes;
  for (const std::int16_t v : pcm) {
    const auto u = static_cast<std::uint16_t>(v);
    bytes.push_back(static_cast<std::uint8_t>(u & 0xff));
    bytes.push_back(static_cast<std::uint8_t>(u >> 8));
  }
  return bytes;
}

std::uint64_t digest_of(const std::vector<std::uint8_t>& bytes) {
  return digest(bytes.data(), bytes.size());
}

std::vector<std::uint8_t> encode(int flavor, const std::vector<std::int16_t>& pcm, int effort = 0) {
  quel_encoder_options options = QUEL_ENCODER_OPTIONS(flavor);
  options.effort = effort;
  quel_encoder* encoder = nullptr;
  quel_encoder_create(&options, &encoder);
  const auto samples = static_cast<std::size_t>(quel_samples_per_unit(flavor));
  const auto bytes = static_cast<std::size_t>(quel_bytes_per_unit(flavor));
  std::vector<std::uint8_t> units(pcm.size() / samples * bytes);
  for (std::size_t k = 0; k < pcm.size() / samples; ++k) {
    quel_encode(encoder, &pcm[k * samples], samples, &units[k * bytes], bytes);
  }
  quel_encoder_destroy(encoder);
  return units;
}

// Of 16 frames `loss` are lost, in bursts now and then.
class ScatteredLosses {
 public:
  ScatteredLosses(int flavor, int loss)
      : random_(static_cast<std::uint64_t>(flavor) + 100), loss_(loss) {}
  bool operator()(std::size_t) {
    const bool lost = burst_ > 0 || random_.integer(0, 15) < loss_;
    burst_ = burst_ > 0 ? burst_ - 1 : (lost && random_.integer(0, 5) == 0 ? 9 : 0);
    return lost;
  }

 private:
  Random random_;
  int loss_, burst_ = 0;
};

// lost: asked for two frames of every unit, and told the unit's number.
template <typename Lost>
std::vector<std::uint8_t> decode(int flavor, int concealment,
                                 const std::vector<std::uint8_t>& units, Lost lost,
                                 bool enhance = false) {
  quel_decoder_options options = QUEL_DECODER_OPTIONS(flavor);
  options.concealment = concealment;
  options.enhance = enhance ? 1 : 0;
  quel_decoder* decoder = nullptr;
  quel_decoder_create(&options, &decoder);
  const auto bytes = static_cast<std::size_t>(quel_bytes_per_unit(flavor));
  std::vector<std::int16_t> pcm;
  std::array<std::int16_t, QUEL_MAX_SAMPLES> block{};
  for (std::size_t k = 0; k < units.size() / bytes; ++k) {
    std::uint32_t received = 0;
    for (std::uint32_t frame = 0; frame < 2; ++frame) received |= (lost(k) ? 0u : 1u) << frame;
    const bool nothing = received == 0;
    const int n = quel_decode(decoder, nothing ? nullptr : &units[k * bytes], nothing ? 0 : bytes,
                              received, block.data(), block.size());
    pcm.insert(pcm.end(), block.begin(), block.begin() + (n > 0 ? n : 0));
  }
  quel_decoder_destroy(decoder);
  return bytes_of(pcm);
}

// What an encoder tells of each unit: 1 where it holds speech, and 2 where it is needed.
std::vector<std::uint8_t> told(int flavor, const std::vector<std::int16_t>& pcm) {
  const quel_encoder_options options = QUEL_ENCODER_OPTIONS(flavor);
  quel_encoder* encoder = nullptr;
  quel_encoder_create(&options, &encoder);
  const auto samples = static_cast<std::size_t>(quel_samples_per_unit(flavor));
  std::array<std::uint8_t, QUEL_MAX_BYTES> unit{};
  std::vector<std::uint8_t> out;
  for (std::size_t at = 0; at + samples <= pcm.size(); at += samples) {
    quel_encode(encoder, &pcm[at], samples, unit.data(), unit.size());
    out.push_back(static_cast<std::uint8_t>(quel_encoder_voice_active(encoder) +
                                            2 * quel_encoder_unit_needed(encoder)));
  }
  quel_encoder_destroy(encoder);
  return out;
}

// Of 16 units `lost` are lost, and of the others most are not sent for a while, now and then.
std::vector<std::uint8_t> decode_sparse(int flavor, const std::vector<std::uint8_t>& units,
                                        int lost) {
  const quel_decoder_options options = QUEL_DECODER_OPTIONS(flavor);
  quel_decoder* decoder = nullptr;
  quel_decoder_create(&options, &decoder);
  const auto bytes = static_cast<std::size_t>(quel_bytes_per_unit(flavor));
  Random random(static_cast<std::uint64_t>(flavor) + 200);
  std::vector<std::int16_t> pcm;
  std::array<std::int16_t, QUEL_MAX_SAMPLES> block{};
  int gap = 0;
  for (std::size_t k = 0; k < units.size() / bytes; ++k) {
    gap = gap > 0 ? gap - 1 : random.integer(0, 15) == 0 ? random.integer(1, 40) : 0;
    const bool sent = gap == 0 || random.integer(0, 7) == 0;
    const bool arrived = random.integer(0, 15) >= lost;
    const std::uint32_t received = !sent ? QUEL_NOT_SENT : arrived ? QUEL_ALL_RECEIVED : 0;
    const int n =
        quel_decode(decoder, &units[k * bytes], bytes, received, block.data(), block.size());
    pcm.insert(pcm.end(), block.begin(), block.begin() + (n > 0 ? n : 0));
  }
  quel_decoder_destroy(decoder);
  return bytes_of(pcm);
}

std::vector<std::uint8_t> random_units(int flavor, std::size_t count) {
  std::vector<std::uint8_t> bits(count * static_cast<std::size_t>(quel_bytes_per_unit(flavor)));
  Random random(77);
  for (std::uint8_t& byte : bits) byte = static_cast<std::uint8_t>(random.bits() >> 24);
  return bits;
}

// Units whose excitation grows until the decoder clears its histories, again and again: the largest
// gains at a steady lag, everything else random.
std::vector<std::uint8_t> growing_units(int flavor, int frame_count) {
  struct Field {
    std::size_t word;
    std::int32_t value;
  };
  static const std::vector<Field> growth[4] = {
      {{6, 62}, {11, 17}, {16, 17}, {10, 127}, {15, 127}, {20, 127}},
      {{6, 62}, {11, 17}, {16, 17}, {10, 127}, {15, 127}, {20, 127}},
      {{6, 62},
       {9, 17},
       {12, 62},
       {15, 17},
       {18, 17},
       {8, 127},
       {11, 127},
       {14, 127},
       {17, 127},
       {20, 127}},
      {{6, 0}, {14, 0}, {7, 15}, {15, 15}, {13, 31}, {21, 31}}};
  const int frames = quel_frames_per_unit(flavor);
  const auto bytes = static_cast<std::size_t>(quel_bytes_per_unit(flavor));
  const int frame_bits = static_cast<int>(bytes) * 8 / frames;
  const auto count = static_cast<std::size_t>(frame_count / frames);
  std::vector<std::uint8_t> units(count * bytes);
  Random random(78);
  for (std::size_t k = 0; k < count; ++k) {
    for (int frame = 0; frame < frames; ++frame) {
      std::array<std::int32_t, 22> words{};
      for (std::int32_t& word : words) word = static_cast<std::int32_t>(random.bits() >> 16);
      for (const Field& field : growth[flavor]) words[field.word] = field.value;
      if (TestBigEndian() != 0) SwapIntBytes(words.data(), static_cast<std::int32_t>(words.size()));
      std::array<std::uint8_t, QUEL_MAX_BYTES> bits{};
      prm2binary(words.data(), bits.data(), flavor);
      bitcopy(&units[k * bytes], bits.data(), frame * frame_bits, 0, frame_bits);
    }
  }
  return units;
}

// What speech never is: lone impulses, the faintest noise, direct current, the highest frequency
// at full scale, tones at either end of the band that start and stop.
std::vector<std::int16_t> extreme_signal(int rate) {
  Random random(79);
  std::vector<std::int16_t> out;
  const int part = rate / 5;
  for (int i = 0; i < part; ++i) out.push_back(i % 611 == 17 ? 32767 : 0);
  for (int i = 0; i < part; ++i) out.push_back(clip(random.uniform(-1.9, 1.9)));
  for (int i = 0; i < part; ++i) out.push_back(32767);
  for (int i = 0; i < part; ++i) out.push_back(i % 2 == 0 ? 32767 : -32768);
  for (int i = 0; i < part; ++i) out.push_back(-1);
  add_tone(out, part, 1.9999);
  add_tone(out, part, -1.9999);
  out.insert(out.end(), static_cast<std::size_t>(part), std::int16_t{0});
  for (int i = 0; i < part; ++i) out.push_back(i % 85 == 0 ? -32768 : 0);
  return out;
}

void add_effort_digests(int flavor, std::vector<Digest>& digests) {
  const int rate = quel_sampling_rate(flavor);
  for (int effort = 1; effort <= QUEL_MAX_EFFORT; ++effort) {
    const std::string name =
        "flavor " + std::to_string(flavor) + ", effort " + std::to_string(effort);
    digests.push_back(
        {name + ", coded units", digest_of(encode(flavor, conformance_signal(rate), effort))});
    digests.push_back({name + ", extreme signals, coded units",
                       digest_of(encode(flavor, extreme_signal(rate), effort))});
  }
}

void add_enhanced_digests(int flavor, std::vector<Digest>& digests) {
  const std::string name = "flavor " + std::to_string(flavor) + ", enhanced";
  const auto units = encode(flavor, conformance_signal(quel_sampling_rate(flavor)));
  const auto pcm = [&](const std::vector<std::uint8_t>& coded, int loss) {
    return digest_of(decode(flavor, QUEL_CONCEAL_IMMEDIATE, coded, ScatteredLosses(flavor, loss),
                            /*enhance=*/true));
  };
  digests.push_back({name, pcm(units, 0)});
  digests.push_back({name + ", losses concealed at once", pcm(units, 3)});
  digests.push_back({name + ", random bits", pcm(random_units(flavor, 400), 0)});
  digests.push_back({name + ", excitation that grows", pcm(growing_units(flavor, 240), 0)});
}

}  // namespace

std::vector<std::int16_t> conformance_signal(int sampling_rate) {
  Random random(static_cast<std::uint64_t>(sampling_rate));
  std::vector<std::int16_t> out;
  add_speech(out, 5 * sampling_rate, random);
  out.insert(out.end(), 2400, std::int16_t{0});
  for (int i = 0; i < sampling_rate / 2; ++i) out.push_back(clip(random.uniform(-2e3, 2e3)));
  add_tone(out, sampling_rate / 2, 1.85);
  add_tone(out, sampling_rate / 2, 0.5);
  for (int i = 0; i < sampling_rate / 2; ++i) out.push_back(i / 40 % 2 == 0 ? 32767 : -32768);
  for (int i = 0; i < sampling_rate / 2; ++i) out.push_back(clip(random.uniform(-6e4, 6e4)));
  for (int i = 0; i < sampling_rate / 2; ++i) out.push_back(i % 700 == 350 ? 30000 : 0);
  add_speech(out, 2 * sampling_rate, random);
  return out;
}

std::vector<Digest> conformance_digests() {
  std::vector<Digest> digests;
  for (int flavor = 0; flavor < 4; ++flavor) {
    const std::string name = "flavor " + std::to_string(flavor);
    const auto units = encode(flavor, conformance_signal(quel_sampling_rate(flavor)));
    digests.push_back({name + ", coded units", digest_of(units)});
    const auto random = random_units(flavor, 400);
    const auto pcm = [&](const std::vector<std::uint8_t>& coded, int concealment, int loss) {
      return digest_of(decode(flavor, concealment, coded, ScatteredLosses(flavor, loss)));
    };
    const auto after_gap = [&](int concealment) {
      const auto lost = [](std::size_t unit) { return unit >= 40 && unit < 340; };
      return digest_of(decode(flavor, concealment, units, lost));
    };
    const int at_once = QUEL_CONCEAL_IMMEDIATE, later = QUEL_CONCEAL_DEFERRED;
    digests.push_back({name + ", decoded", pcm(units, at_once, 0)});
    digests.push_back({name + ", losses concealed at once", pcm(units, at_once, 3)});
    digests.push_back({name + ", losses concealed later", pcm(units, later, 3)});
    digests.push_back({name + ", random bits", pcm(random, at_once, 0)});
    digests.push_back(
        {name + ", random bits and losses, concealed at once", pcm(random, at_once, 6)});
    digests.push_back({name + ", random bits and losses, concealed later", pcm(random, later, 6)});
    digests.push_back(
        {name + ", excitation that grows", pcm(growing_units(flavor, 240), at_once, 0)});
    const auto lost_at_once = [&](const std::vector<std::uint8_t>& coded, auto lost) {
      return digest_of(decode(flavor, at_once, coded, lost));
    };
    std::size_t frame = 0;
    digests.push_back({name + ", lone losses concealed at once",
                       lost_at_once(units, [&](std::size_t) { return ++frame % 7 == 0; })});
    digests.push_back({name + ", losses of whole units concealed at once",
                       lost_at_once(units, [](std::size_t unit) { return unit % 11 > 7; })});
    digests.push_back({name + ", excitation that grows and losses, concealed at once",
                       lost_at_once(growing_units(flavor, 240), ScatteredLosses(flavor, 4))});
    digests.push_back({name + ", a long loss", after_gap(at_once)});
    digests.push_back({name + ", a long loss, concealed later", after_gap(later)});
    const auto extreme = encode(flavor, extreme_signal(quel_sampling_rate(flavor)));
    digests.push_back({name + ", extreme signals, coded units", digest_of(extreme)});
    digests.push_back({name + ", extreme signals, decoded", pcm(extreme, at_once, 0)});
    digests.push_back({name + ", speech and units that are needed",
                       digest_of(told(flavor, conformance_signal(quel_sampling_rate(flavor))))});
    digests.push_back({name + ", units not sent", digest_of(decode_sparse(flavor, units, 0))});
    digests.push_back({name + ", random bits, losses and units not sent",
                       digest_of(decode_sparse(flavor, random, 3))});
  }
  for (int flavor = 0; flavor < 4; ++flavor) add_effort_digests(flavor, digests);
  add_enhanced_digests(QUEL_FLAVOR_5K, digests);
  add_enhanced_digests(QUEL_FLAVOR_16K, digests);
  return digests;
}

}  // namespace quel::conformance
