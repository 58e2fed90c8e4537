// Measures how decoders recover from hostile prefixes, and prints one line of a table per decoder
// and prefix: quel_recovery PLACES [NARROWBAND.raw WIDEBAND.raw]. The files hold 16-bit mono
// samples, lowest byte first, at 8 and 16 kHz; without them synthetic speech is used. Exit status 1
// where a guarantee is broken.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "quelcodec/quelcodec.h"
#include "support/recovery.h"

namespace {

using namespace quel::test;

std::vector<std::int16_t> read_samples(const char* name) {
  std::ifstream file(name, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  std::vector<std::int16_t> pcm(bytes.size() / 2);
  for (std::size_t n = 0; n < pcm.size(); ++n) {
    const auto low = static_cast<unsigned char>(bytes[2 * n]);
    const auto high = static_cast<unsigned char>(bytes[2 * n + 1]);
    pcm[n] = static_cast<std::int16_t>(low | (high << 8));
  }
  return pcm;
}

constexpr double seconds = 3.0;
constexpr int watched = static_cast<int>(1000 * seconds);

bool measure(const CodedSpeech& speech, Poison poison, int places) {
  constexpr const char* decoders[] = {"6.5 kbit/s", "8.5 kbit/s", "5 kbit/s", "16 kbit/s"};
  Recovery recovery(speech.flavor, seconds);
  Random random(static_cast<std::uint64_t>(poison));
  // From the second half second on; the last place leaves all that is watched, and a frame more.
  const double rate = quel_sampling_rate(speech.flavor);
  const double span = static_cast<double>(speech.clean.size()) / rate - seconds - 1.0;
  for (int k = 0; k < places; ++k) {
    const double at = (0.5 + span * k / places) * rate;
    recovery.add(poison, speech, static_cast<std::size_t>(at / speech.mode.len_frame), random);
  }
  const double early = recovery.loss(300, 1300), late = recovery.loss(1000, 2000);
  const bool kept =
      recovery.failures() == 0 && late < 0.5 && (recovery_time(poison) > 300 || early < 0.5);
  std::printf("| %s | %s | %d | %.1f | %.2f | %.2f | %d | %s |\n", decoders[speech.flavor],
              name_of(poison), recovery.places(), recovery.clean(300, watched), early, late,
              recovery.last_window_worse_by(0.5), kept ? "yes" : "NO");
  return kept;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 4) {
    std::fprintf(stderr, "quel_recovery PLACES [NARROWBAND.raw WIDEBAND.raw]\n");
    return 2;
  }
  const int places = std::atoi(argv[1]);
  bool kept = true;
  for (const int flavor : {0, 1, 2, 3}) {
    const int rate = quel_sampling_rate(flavor);
    auto pcm =
        argc == 4 ? read_samples(argv[flavor == 3 ? 3 : 2]) : speech_like_pcm(60 * rate, 1, rate);
    if (static_cast<double>(pcm.size()) < 10 * seconds * rate) {
      std::fprintf(stderr, "quel_recovery: too little speech\n");
      return 2;
    }
    const CodedSpeech speech(flavor, std::move(pcm));
    for (const Poison poison : all_poisons) kept &= measure(speech, poison, places);
  }
  return kept ? 0 : 1;
}
