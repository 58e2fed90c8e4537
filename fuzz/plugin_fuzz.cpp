// Every plug-in function in any order with any argument that it can bear. Sizes are as the header
// says, nothing is written beyond them, and the same calls from load give the same bytes.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "fuzz/process_state.h"
#include "quelcodec/quelcodec.h"

namespace {

using namespace quel::fuzz;
using Bytes = std::vector<std::uint8_t>;
using Pcm = std::vector<std::int16_t>;

constexpr int most_encodes = 2;
constexpr int most_frames = 80;
constexpr std::size_t most_samples = 37 * 240;

struct Sizes {
  std::uint32_t samples = 0;
  std::uint32_t bytes = 0;
};

/// One run of the calls that an input asks for, from load.
class Host {
 public:
  explicit Host(FuzzInput input) : input_(input) { load_plugin(); }
  ~Host() {
    load_plugin();  // lets go of the areas
    for (std::byte* area : areas_) std::free(area);
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  /// Everything that came out.
  Bytes run() {
    for (int calls = 0; !input_.empty() && calls < 200; ++calls) call();
    check_seed(input_);
    return std::move(out_);
  }

 private:
  void call();
  void init_encoder();
  void encode();
  void decode();
  std::size_t samples_due(std::uint32_t bytes, std::uint32_t received, int& frames) const;
  void property();
  void turn_switches();
  void malloc_areas();

  template <typename T>
  void note(const T* values, std::size_t n) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(values);
    out_.insert(out_.end(), bytes, bytes + n * sizeof(T));
  }

  FuzzInput input_;
  Bytes out_;
  Sizes told_;
  int flavor_ = 4;
  int prepared_ = 4;
  int encodes_ = 0;
  int frames_ = 0;
  std::vector<std::byte*> areas_;
};

void Host::call() {
  switch (input_.step() % 12) {
    case 0: {
      const int flavor = input_.byte() & 3;
      require(SetFlavor(static_cast<std::uint16_t>(flavor)) == 0);
      flavor_ = flavor;
      break;
    }
    case 1: {
      const auto flavor = input_.number<std::uint16_t>();
      require(SetFlavor(flavor) == (flavor < 4 ? 0u : 8u));
      if (flavor < 4) flavor_ = flavor;
      break;
    }
    case 2:
      init_encoder();
      break;
    case 3:
      encode();
      break;
    case 4:
      require(InitDecoder() == 0);
      break;
    case 5:
    case 6:
    case 7:
      decode();
      break;
    case 8:
      property();
      break;
    case 9:
      turn_switches();
      break;
    case 10:
      malloc_areas();
      break;
    default:
      FreeEncoder();
      FreeDecoder();
      require(GetNumberOfFlavors() == 4 && GetNumberOfQNFlavors() == 4);
  }
  require(quel::CurFlavor == flavor_);
}

void Host::init_encoder() {
  const auto rate = input_.number<std::uint32_t>();
  require(InitEncoder(rate, input_.byte(), &told_.samples, &told_.bytes) == 0);
  prepared_ = flavor_;
  constexpr std::uint32_t samples[] = {2304, 2304, 3840, 2560, 0};
  constexpr std::uint32_t bytes[] = {232, 304, 296, 320, 0};
  // Before the first SetFlavor there are no sizes but those a decoder may have left: none.
  require(told_.samples == samples[flavor_] && told_.bytes == bytes[flavor_]);
}

void Host::encode() {
  if (++encodes_ > most_encodes) return;
  // What a host provides that trusts InitEncoder, and no more.
  Pcm pcm(told_.samples);
  const int level = input_.number<std::int16_t>();
  FuzzNoise noise(input_.number<std::uint32_t>());
  for (std::int16_t& x : pcm) {
    x = static_cast<std::int16_t>(static_cast<int>(noise.bits() & 0xffff) * level / 0x10000);
  }
  Bytes bytes = untouched<std::uint8_t>(told_.bytes);
  const Bytes before = bytes;
  Encode(pcm.data(), bytes.data());
  if (flavor_ != prepared_ || flavor_ == 4) require(bytes == before);
  require(finite_memories(quel::process_encoder));
  note(bytes.data(), bytes.size());
}

// Also counts the frames that the decoders will have to make.
std::size_t Host::samples_due(std::uint32_t bytes, std::uint32_t received, int& frames) const {
  quel::Mode mode = quel::process_mode;
  if (mode.initFlavor != flavor_) quel::set_mode(mode, flavor_);
  frames = 0;
  if (mode.prmBits == 0) return 0;
  int missing = quel::numPacketsMissing;
  for (std::uint32_t frame = 0; (frame + 1) * static_cast<std::uint32_t>(mode.prmBits) <= 8 * bytes;
       ++frame) {
    if (frame < 32 && (received >> frame & 1u) != 0) {
      frames += missing + 1;
      missing = 0;
    } else {
      missing = std::min(missing + 1, 5);
    }
  }
  return static_cast<std::size_t>(frames) * static_cast<std::size_t>(mode.len_frame);
}

void Host::decode() {
  const int length = input_.byte();
  const auto bytes =
      static_cast<std::uint16_t>(length < 250 ? length : input_.number<std::uint16_t>());
  const auto received = input_.number<std::uint32_t>();
  int frames = 0;
  const std::size_t due = samples_due(bytes, received, frames);
  if ((frames_ += frames) > most_frames) return;
  Bytes coded = input_.bytes(std::min<std::size_t>(bytes, 160));
  FuzzNoise noise(received);
  while (coded.size() < bytes) coded.push_back(static_cast<std::uint8_t>(noise.bits()));

  Pcm pcm = untouched<std::int16_t>(most_samples);
  const Pcm before = pcm;
  std::uint16_t out_bytes = 4711;
  const std::int32_t result = Decode(coded.data(), bytes, pcm.data(), &out_bytes, received);
  require(result == (flavor_ == 4 ? -1 : 0));
  const std::size_t samples = flavor_ == 4 ? 0 : due;
  require(out_bytes == (flavor_ == 4 ? 4711 : 2 * samples));
  require(std::equal(pcm.begin() + static_cast<std::ptrdiff_t>(samples), pcm.end(),
                     before.begin() + static_cast<std::ptrdiff_t>(samples)));
  require(quel::numPacketsMissing >= 0 && quel::numPacketsMissing <= 5);
  require(finite_memories(quel::process_decoder));
  note(pcm.data(), samples);
}

void Host::property() {
  const int flavor = input_.byte();
  const auto id = static_cast<std::uint16_t>(input_.byte());
  std::uint16_t length = 4711;
  const void* value = GetFlavorProperty(
      static_cast<std::uint16_t>(flavor < 200 ? flavor & 3 : flavor), id, &length);
  require((value == nullptr) == (length == 0));
  if (value == nullptr) return;
  const auto* bytes = static_cast<const std::uint8_t*>(value);
  note(bytes, length);
  const bool text = id == 0 || id == 4 || id == 8 || id == 9 || id == 10;
  if (text) require(std::find(bytes, bytes + length, 0) == bytes + length - 1);
}

void Host::turn_switches() {
  bad_lsf_ind = input_.number<std::int32_t>();
  bad_pitch_ind = input_.number<std::int32_t>();
  nb_iter_selected = input_.number<std::int32_t>();
  running_vector_from_signs = input_.number<std::int32_t>();
}

void Host::malloc_areas() {
  if (areas_.size() >= 8) return;
  require(init_malloc() == quel::e_heap && quel::e_heap != nullptr);
  areas_.push_back(quel::i_heap - quel::scratch_bytes);
  areas_.push_back(quel::e_heap - quel::scratch_bytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const FuzzInput input(data, size);
  const Bytes once = Host(input).run();
  require(Host(input).run() == once);
  return 0;
}
