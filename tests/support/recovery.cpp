#include "support/recovery.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <span>
#include <utility>

#include "bitstream/serial.h"
#include "dsp/hp_2nd.h"
#include "quelcodec/quelcodec.h"
#include "support/growing_fields.h"

namespace quel::test {
namespace {

constexpr int window_ms = 20;

void decode_fields(FrameDecoder& decoder, const CodedSpeech& speech, Fields words,
                   Erasure erasure = Erasure::received) {
  std::array<std::uint8_t, QUEL_MAX_BYTES> bits{};
  if (TestBigEndian() != 0) SwapIntBytes(words.data(), fields);
  prm2binary(words.data(), bits.data(), speech.flavor);
  std::array<std::int16_t, QUEL_MAX_SAMPLES> pcm{};
  decode_frame(decoder, speech.mode, bits.data(), 0, erasure,
               static_cast<std::uint32_t>(speech.flavor), pcm.data());
}

std::span<float> excitation(FrameDecoder& decoder, int flavor) {
  if (flavor == 3) return decoder.wideband.exc;
  return flavor == 2 ? decoder.five_k.synthesis.old_exc : decoder.swt.synthesis.old_exc;
}

float loudest(FrameDecoder& decoder, int flavor) {
  float peak = 0.0f;
  for (const float x : excitation(decoder, flavor)) peak = std::max(peak, std::fabs(x));
  return peak;
}

// Until the excitation passes a level, or, for `cleared`, falls from a height that only a clearing
// can make it fall from. It overshoots the level by a frame's growth, tenfold at most.
bool grow(FrameDecoder& decoder, const CodedSpeech& speech, Random& random, bool cleared,
          bool largest) {
  float before = 0.0f;
  for (int k = 0; k < 1000; ++k) {
    decode_fields(decoder, speech, growing_fields(speech.flavor, largest, random));
    const float now = loudest(decoder, speech.flavor);
    if (cleared ? before > 1e6f && now < before / 100 : now > 5e7f) return true;
    before = now;
  }
  return false;
}

void break_memories(FrameDecoder& decoder, const CodedSpeech& speech, Random& random) {
  constexpr float values[] = {std::numeric_limits<float>::quiet_NaN(),
                              std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(), 1e30f, -3e38f};
  std::vector<std::int16_t> pcm(static_cast<std::size_t>(speech.mode.len_frame));
  for (std::size_t frame = 0; frame < 20; ++frame) speech.decode(decoder, frame, pcm.data());
  const auto value = [&] { return values[random.integer(0, 4)]; };
  const auto fill = [&](auto& memory) {
    if (random.integer(0, 1) == 0) memory.fill(value());
  };
  for (float& x : excitation(decoder, speech.flavor)) x = value();
  if (speech.flavor == 3) {
    fill(decoder.wideband.mem_syn);
    fill(decoder.wideband.mem_post);
    return;
  }
  auto& five = decoder.five_k;
  SynthesisState& synthesis = speech.flavor == 2 ? five.synthesis : decoder.swt.synthesis;
  fill(synthesis.mem_syn);
  fill(synthesis.xmem);
  fill(synthesis.ymem);
  synthesis.gain_har = value();
  if (speech.flavor != 2) return;
  fill(five.mem_syn1);
  fill(five.mem_exc1);
  fill(five.mem_exc2);
  five.preemphasis.mem_pre = value();
  five.gain_control.gain_prec = value();
}

void decode_anything(Poison poison, FrameDecoder& decoder, const CodedSpeech& speech,
                     Random& random) {
  const int rate = quel_sampling_rate(speech.flavor);
  int lost = 0;
  for (int k = 0; k < rate / 2; k += speech.mode.len_frame) {
    Fields words = random_fields(random);
    if (poison == Poison::extreme_fields) {
      for (auto& word : words) word = random.integer(-1, 0);
    }
    if (poison == Poison::random_bits_and_losses && lost == 0 && random.integer(0, 3) == 0) {
      lost = random.integer(1, 8);
    }
    decode_fields(decoder, speech, words, lost > 0 ? Erasure::lost : Erasure::received);
    if (lost > 0) --lost;
  }
}

}  // namespace

const char* name_of(Poison poison) {
  constexpr const char* names[] = {"random bits",
                                   "random bits, losses",
                                   "fields all zeros or ones",
                                   "largest gains",
                                   "grown to the limit",
                                   "cleared",
                                   "cleared, largest code gains",
                                   "NaN and infinities, cleared"};
  static_assert(std::size(names) == std::size(all_poisons));
  return names[static_cast<int>(poison)];
}

int recovery_time(Poison poison) {
  return poison == Poison::cleared || poison == Poison::broken_memories ? 300 : 1000;
}

void start(FrameDecoder& decoder) {
  decoder = FrameDecoder{};
  const ScratchSwitch scratch(decoder.scratch);
  initVXDecoder(decoder);
  initVX5Decoder(decoder);
}

CodedSpeech::CodedSpeech(int coded_with, std::vector<std::int16_t> speech)
    : flavor(coded_with), pcm(std::move(speech)), ideal(pcm.begin(), pcm.end()) {
  set_mode(mode, flavor);
  if (flavor != QUEL_FLAVOR_16K) {
    float memory[8] = {};
    const int n = static_cast<int>(ideal.size());
    hp_2nd(ideal.data(), n, a_200, b_200, memory, memory + 2);
    hp_2nd(ideal.data(), n, a_100, b_100, memory + 4, memory + 6);
  }
  const quel_encoder_options options = QUEL_ENCODER_OPTIONS(flavor);
  quel_encoder* encoder = nullptr;
  quel_encoder_create(&options, &encoder);
  const auto samples = static_cast<std::size_t>(mode.framesPerCycle * mode.len_frame);
  const auto bytes = static_cast<std::size_t>(mode.outputBytes);
  const std::size_t count = pcm.size() / samples;
  units.resize(count * bytes);
  for (std::size_t k = 0; k < count; ++k) {
    quel_encode(encoder, &pcm[k * samples], samples, &units[k * bytes], bytes);
  }
  quel_encoder_destroy(encoder);
  frames = count * static_cast<std::size_t>(mode.framesPerCycle);
  clean.resize(count * samples);
  FrameDecoder decoder;
  start(decoder);
  const auto frame_samples = static_cast<std::size_t>(mode.len_frame);
  for (std::size_t k = 0; k < frames; ++k) decode(decoder, k, &clean[k * frame_samples]);
}

void CodedSpeech::decode(FrameDecoder& decoder, std::size_t frame, std::int16_t* out) const {
  const auto per_unit = static_cast<std::size_t>(mode.framesPerCycle);
  const std::uint8_t* unit = &units[frame / per_unit * static_cast<std::size_t>(mode.outputBytes)];
  const ScratchSwitch scratch(decoder.scratch);
  decode_frame(decoder, mode, unit, static_cast<std::int32_t>(frame % per_unit) * mode.prmBits,
               Erasure::received, static_cast<std::uint32_t>(flavor), out);
}

bool apply(Poison poison, FrameDecoder& decoder, const CodedSpeech& speech, Random& random) {
  const ScratchSwitch scratch(decoder.scratch);
  switch (poison) {
    case Poison::largest_gains:
      for (int k = random.integer(1, 2 * quel_sampling_rate(speech.flavor) / speech.mode.len_frame);
           k > 0; --k) {
        decode_fields(decoder, speech, growing_fields(speech.flavor, true, random));
      }
      return true;
    case Poison::grown_to_the_limit:
      return grow(decoder, speech, random, false, false);
    case Poison::cleared:
      return grow(decoder, speech, random, true, false);
    case Poison::cleared_largest_gains:
      return grow(decoder, speech, random, true, true);
    case Poison::broken_memories:
      break_memories(decoder, speech, random);
      return true;
    default:
      decode_anything(poison, decoder, speech, random);
      return true;
  }
}

Recovery::Recovery(int flavor, double seconds)
    : window_(static_cast<std::size_t>(quel_sampling_rate(flavor) / (1000 / window_ms))),
      delay_(static_cast<std::size_t>(quel_delay(flavor))),
      skipped_(flavor == 2 ? 240 : 0),
      sums_(static_cast<std::size_t>(seconds * 1000 / window_ms)) {}

void Recovery::add(Poison poison, const CodedSpeech& speech, std::size_t frame, Random& random) {
  FrameDecoder decoder;
  start(decoder);
  failures_ += apply(poison, decoder, speech, random) ? 0 : 1;
  ++places_;
  const auto length = static_cast<std::size_t>(speech.mode.len_frame);
  const std::size_t first = frame * length + skipped_;
  const std::size_t wanted = skipped_ + sums_.size() * window_;
  std::vector<std::int16_t> heard(wanted + length);
  for (std::size_t n = 0; n < wanted; n += length) speech.decode(decoder, frame++, &heard[n]);

  for (std::size_t k = 0; k < sums_.size(); ++k) {
    double signal = 0, error = 0, clean_error = 0;
    for (std::size_t n = k * window_; n < (k + 1) * window_; ++n) {
      const double x = speech.ideal[first + n - delay_];
      signal += x * x;
      error += std::pow(x - heard[skipped_ + n], 2);
      clean_error += std::pow(x - speech.clean[first + n], 2);
    }
    if (std::sqrt(signal / static_cast<double>(window_)) < 32768 * std::pow(10, -50.0 / 20)) {
      continue;
    }
    const auto ratio = [&](double e) {
      return std::clamp(10 * std::log10(signal / (e + 1e-9)), -10.0, 35.0);
    };
    sums_[k].poisoned += ratio(error);
    sums_[k].clean += ratio(clean_error);
    ++sums_[k].count;
  }
}

Recovery::Sums Recovery::sum(int from, int to) const {
  Sums total;
  const auto last = std::min(static_cast<std::size_t>(to / window_ms), sums_.size());
  for (auto k = static_cast<std::size_t>(from / window_ms); k < last; ++k) {
    total.poisoned += sums_[k].poisoned;
    total.clean += sums_[k].clean;
    total.count += sums_[k].count;
  }
  return total;
}

int Recovery::windows(int from, int to) const {
  return sum(from, to).count;
}

double Recovery::clean(int from, int to) const {
  const Sums total = sum(from, to);
  return total.clean / total.count;
}

double Recovery::loss(int from, int to) const {
  const Sums total = sum(from, to);
  return (total.clean - total.poisoned) / total.count;
}

int Recovery::last_window_worse_by(double limit) const {
  for (std::size_t k = sums_.size(); k > 0; --k) {
    const Sums& window = sums_[k - 1];
    if (window.count > 0 && window.clean - window.poisoned >= limit * window.count) {
      return static_cast<int>(k) * window_ms;
    }
  }
  return 0;
}

}  // namespace quel::test
