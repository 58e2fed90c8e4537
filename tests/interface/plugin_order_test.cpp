// Every order of up to five calls of the plug-in, each in a process that starts at load.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <string>
#include <vector>

#include "quelcodec/quelcodec.h"
#include "support/sanitizers.h"

namespace quel {
namespace {

constexpr int none = -1;
constexpr int frame_bits[] = {116, 152, 148, 160};
constexpr int frame_samples[] = {144, 144, 240, 160};
constexpr int unit_bytes = 37;  // each flavor's frame sizes make another count of samples of it

enum Call { flavor_0, flavor_1, flavor_2, flavor_3, init_encoder, encode, init_decoder, decode };
constexpr Call calls[] = {flavor_0,     flavor_1, flavor_2,     flavor_3,
                          init_encoder, encode,   init_decoder, decode};
constexpr const char* names[] = {"SetFlavor(0)", "SetFlavor(1)", "SetFlavor(2)", "SetFlavor(3)",
                                 "InitEncoder",  "Encode",       "InitDecoder",  "Decode"};

int samples_of(int flavor) {
  return flavor == none ? 0 : unit_bytes * 8 / frame_bits[flavor] * frame_samples[flavor];
}

// What the header says of the order of calls.
struct Documented {
  int selected = none;
  int prepared = none;  // whose frame sizes the process has
  int taken_for_prepared = flavor_0;
  int encoders = none;  // the flavor that InitEncoder last prepared

  void prepare() {
    taken_for_prepared = selected;
    if (selected != none) prepared = selected;
  }
  bool encodes() const { return selected != none && selected == encoders; }
  int decode() {
    if (selected != taken_for_prepared) prepare();
    return selected == none ? none : samples_of(prepared);
  }
};

// Decode's result: samples, or none where it fails.
int run_decode() {
  static std::int16_t out[QUEL_PLUGIN_MAX_SAMPLES];
  const std::uint8_t unit[unit_bytes] = {};
  std::uint16_t length = 0;
  return Decode(unit, unit_bytes, out, &length, ~0u) == 0 ? length / 2 : none;
}

bool run_encode() {
  static const std::int16_t silence[3840] = {};
  std::uint8_t bytes[320];
  std::fill_n(bytes, 320, std::uint8_t{0xee});
  Encode(silence, bytes);
  return std::any_of(bytes, bytes + 320, [](std::uint8_t byte) { return byte != 0xee; });
}

bool behaves(Call call, Documented& documented) {
  std::uint32_t samples = 0, bytes = 0;
  switch (call) {
    case init_encoder:
      if (InitEncoder(8000, 2, &samples, &bytes) != 0) return false;
      documented.encoders = documented.selected;
      documented.prepare();
      return true;
    case encode: {
      const bool encodes = documented.encodes();
      if (encodes) documented.prepare();
      return run_encode() == encodes;
    }
    case init_decoder:
      documented.taken_for_prepared = documented.selected;
      return InitDecoder() == 0;
    case decode:
      return run_decode() == documented.decode();
    default:
      documented.selected = call;
      return SetFlavor(static_cast<std::uint16_t>(call)) == 0;
  }
}

// The way to decode that is promised to work whatever was called before.
bool promised_way_decodes(int flavor) {
  SetFlavor(static_cast<std::uint16_t>((flavor + 1) % 4));
  InitDecoder();
  SetFlavor(static_cast<std::uint16_t>(flavor));
  return run_decode() == samples_of(flavor) && run_decode() == samples_of(flavor);
}

class Orders {
 public:
  explicit Orders(std::size_t longest) : longest_(longest) {}

  /// Makes this call and all that may follow, each in a child of its own.
  bool follow(Call call) {
    const pid_t child = fork();
    if (child == 0) {
      order_.push_back(call);
      _exit(rest_behaves(call) ? 0 : 1);
    }
    int status = 1;
    return child > 0 && waitpid(child, &status, 0) == child && status == 0;
  }

 private:
  bool rest_behaves(Call call) {
    if (!behaves(call, documented_)) return fail("is not as documented");
    bool good = true;
    if (order_.size() < longest_) {
      for (const Call next : calls) {
        // Of last calls, only these two show anything.
        if (order_.size() + 1 == longest_ && next != encode && next != decode) continue;
        good = follow(next) && good;
      }
    }
    for (int flavor = 0; flavor < 4; ++flavor) {
      if (!promised_way_decodes(flavor)) return fail("spoils the promised way");
    }
    return good;
  }

  bool fail(const char* what) const {
    std::string line;
    for (const Call call : order_) line += std::string(names[call]) + ' ';
    std::cerr << line << what << std::endl;
    return false;
  }

  std::size_t longest_;
  std::vector<Call> order_;
  Documented documented_;
};

class PluginOrder : public ::testing::TestWithParam<Call> {};
INSTANTIATE_TEST_SUITE_P(FirstCall, PluginOrder, ::testing::ValuesIn(calls));

TEST_P(PluginOrder, DecodesAsDocumentedWhateverTheOrder) {
  Orders orders(test::slow_build ? 4 : 5);
  EXPECT_TRUE(orders.follow(GetParam()));
}

}  // namespace
}  // namespace quel
