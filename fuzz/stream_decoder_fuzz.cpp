// One decoder stream through many calls: any bits, losses, resets, both concealments, calls that
// are wrong. Beside it a second stream, made anew at each reset, and the plug-in, which now and
// then decodes another flavor in between; all give the same samples. Where losses are concealed at
// once, which the plug-in does not do, the frame decoder under the stream is called beside it,
// since a stream's memories cannot be looked at. Some units are not sent, which the plug-in does
// not know either. The second stream lives in memory of the fuzzer's own, moves, and decodes to 16
// bits or floats by calls of one unit or many. A third one tells what the frames stand for, and
// counts as the first does.
#include <quelcodec/quelcodec.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "fuzz/moving_stream.h"
#include "fuzz/process_state.h"

namespace {

using namespace quel::fuzz;
using Bytes = std::vector<std::uint8_t>;
using Pcm = std::vector<std::int16_t>;

/// Units of one input; with more, the fuzzer would see too few inputs.
constexpr int most_units = 24;

bool arrived_at(std::uint32_t received, int frame) {
  return received != QUEL_NOT_SENT && (received >> frame & 1u) != 0;
}

quel_decoder_options options_of(int flavor, int concealment) {
  quel_decoder_options options = QUEL_DECODER_OPTIONS(flavor);
  options.concealment = concealment;
  return options;
}

quel_decoder* make_decoder(int flavor, int concealment) {
  const quel_decoder_options options = options_of(flavor, concealment);
  quel_decoder* decoder = nullptr;
  require(quel_decoder_create(&options, &decoder) == QUEL_OK && decoder != nullptr);
  require(quel_decoder_flavor(decoder) == flavor);
  return decoder;
}

// What the plug-in gives for one unit.
Pcm plugin_decode(int flavor, const Bytes& unit, std::uint32_t received) {
  require(SetFlavor(static_cast<std::uint16_t>(flavor)) == 0);
  Pcm pcm = untouched<std::int16_t>(QUEL_MAX_SAMPLES);
  std::uint16_t bytes = 1;
  require(Decode(unit.data(), static_cast<std::uint16_t>(unit.size()), pcm.data(), &bytes,
                 received) == 0);
  require(bytes % 2 == 0 && bytes / 2 <= QUEL_MAX_SAMPLES);
  require(finite_memories(quel::process_decoder));
  pcm.resize(bytes / 2u);
  return pcm;
}

class Session {
 public:
  Session(FuzzInput& input, int flavor, int concealment)
      : input_(input),
        flavor_(flavor),
        concealment_(concealment),
        frames_(quel_frames_per_unit(flavor)),
        frame_samples_(static_cast<std::size_t>(quel_samples_per_frame(flavor))),
        // The plug-in has one numPacketsMissing and no other memory for both of its bandwidths.
        other_flavor_(flavor == QUEL_FLAVOR_16K ? input.range(0, 2) : QUEL_FLAVOR_16K),
        unit_(static_cast<std::size_t>(quel_bytes_per_unit(flavor))),
        stream_(make_decoder(flavor, concealment)),
        fresh_(options_of(flavor, concealment)),
        reader_(make_decoder(flavor, concealment)),
        other_(make_decoder(other_flavor_, QUEL_CONCEAL_DEFERRED)) {
    const int carried_over = concealment == QUEL_CONCEAL_DEFERRED ? 5 : 0;
    require(quel_decoder_max_samples(stream_) ==
            (frames_ + carried_over) * quel_samples_per_frame(flavor));
    quel::set_mode(mode_, flavor);
    restart_beside();
  }
  ~Session() {
    for (quel_decoder* decoder : {stream_, reader_, other_}) quel_decoder_destroy(decoder);
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void step();
  bool over() const { return input_.empty() || units_ >= most_units; }

 private:
  bool deferred() const { return concealment_ == QUEL_CONCEAL_DEFERRED; }
  std::size_t samples_due(std::uint32_t received, int& missing) const;
  void restart_beside();
  Pcm decode_frames(const std::uint8_t* unit, std::uint32_t received);
  Pcm decode_beside(const Bytes* unit, std::uint32_t received, std::size_t due);
  void read_frames(const Bytes* unit, std::uint32_t received);
  void decode(const Bytes* unit, std::uint32_t received);
  void reset();
  void decode_other();
  void call_wrongly(int kind);

  FuzzInput& input_;
  int flavor_;
  int concealment_;
  int frames_;
  std::size_t frame_samples_;
  int other_flavor_;
  Bytes unit_;
  quel_decoder* stream_;
  MovingStream<quel_decoder, quel_decoder_options> fresh_;
  quel_decoder* reader_;
  quel_decoder* other_;
  quel::Mode mode_;
  quel::FrameDecoder frames_decoder_;
  quel::ComfortNoise noise_;
  quel::NarrowbandConcealment narrowband_concealment_;
  quel::WidebandConcealment wideband_concealment_;
  int units_ = 0;
  int missing_ = 0;          // lost frames that deferred concealment will make up for
  bool plugin_here_ = true;  // it has been given the same calls
};

std::size_t Session::samples_due(std::uint32_t received, int& missing) const {
  if (!deferred()) return static_cast<std::size_t>(frames_) * frame_samples_;
  std::size_t due = 0;
  for (int frame = 0; frame < frames_; ++frame) {
    if (received != QUEL_NOT_SENT && !arrived_at(received, frame)) {
      missing = std::min(missing + 1, 5);
    } else {
      due += static_cast<std::size_t>(missing) + 1;
      missing = 0;
    }
  }
  return due * frame_samples_;
}

void Session::restart_beside() {
  load_plugin();
  require(InitDecoder() == 0);
  frames_decoder_ = {};
  noise_ = {};
  narrowband_concealment_ = {};
  wideband_concealment_ = {};
  const quel::ScratchSwitch scratch(frames_decoder_.scratch);
  quel::initVXDecoder(frames_decoder_);
  quel::initVX5Decoder(frames_decoder_);
}

Pcm Session::decode_frames(const std::uint8_t* unit, std::uint32_t received) {
  Pcm pcm(static_cast<std::size_t>(frames_) * frame_samples_);
  const quel::ScratchSwitch scratch(frames_decoder_.scratch);
  quel::DecoderParts parts(frames_decoder_);
  if (flavor_ == QUEL_FLAVOR_16K) {
    parts.wideband_concealment = &wideband_concealment_;
  } else {
    parts.narrowband_concealment = &narrowband_concealment_;
  }
  for (int frame = 0; frame < frames_; ++frame) {
    const quel::Erasure kind = received == QUEL_NOT_SENT     ? quel::Erasure::not_sent
                               : arrived_at(received, frame) ? quel::Erasure::received
                                                             : quel::Erasure::lost;
    parts.noise = &noise_;
    quel::decode_frame(parts, mode_, unit, frame * mode_.prmBits, kind,
                       static_cast<std::uint32_t>(flavor_),
                       pcm.data() + static_cast<std::size_t>(frame) * frame_samples_);
  }
  require(finite_memories(frames_decoder_));
  require(finite_memories(noise_));
  require(finite_memories(narrowband_concealment_) && finite_memories(wideband_concealment_));
  return pcm;
}

// The second stream's samples, by another call in turn.
Pcm Session::decode_beside(const Bytes* unit, std::uint32_t received, std::size_t due) {
  fresh_.move();
  const std::uint8_t* const bytes = unit == nullptr ? nullptr : unit->data();
  const auto wanted = static_cast<std::int64_t>(due);
  Pcm pcm(due);
  if (units_ % 3 == 0) {
    require(quel_decode(fresh_.get(), bytes, unit == nullptr ? 0 : unit->size(), received,
                        pcm.data(), due) == wanted);
    return pcm;
  }
  Bytes flags;
  for (int frame = 0; frame < frames_; ++frame) {
    flags.push_back(received == QUEL_NOT_SENT ? std::uint8_t{QUEL_NOT_SENT}
                                              : std::uint8_t{arrived_at(received, frame)});
  }
  if (units_ % 3 == 1) {
    require(quel_decode_units(fresh_.get(), bytes, unit_.size(), flags.data(), pcm.data(), due) ==
            wanted);
    return pcm;
  }
  std::vector<float> real(due);
  require(quel_decode_units_float(fresh_.get(), bytes, unit_.size(), flags.data(), real.data(),
                                  due) == wanted);
  for (std::size_t n = 0; n < due; ++n) pcm[n] = static_cast<std::int16_t>(real[n] * 32768.0f);
  return pcm;
}

void Session::read_frames(const Bytes* unit, std::uint32_t received) {
  const quel_flavor& info = *quel_flavor_info(flavor_);
  const auto fields = static_cast<std::size_t>(info.fields_per_frame);
  std::vector<std::int32_t> indices(fields * static_cast<std::size_t>(frames_));
  if (unit != nullptr) {
    Bytes packed(unit->size());
    require(quel_unit_unpack(flavor_, unit->data(), unit->size(), indices.data(), indices.size()) ==
            static_cast<int>(indices.size()));
    require(quel_unit_pack(flavor_, indices.data(), indices.size(), packed.data(), packed.size()) ==
            info.bytes_per_unit);
    require(packed == *unit);
  }
  Pcm unheard(QUEL_MAX_SAMPLES);
  if (received == QUEL_NOT_SENT) {
    require(quel_decode(reader_, nullptr, 0, received, unheard.data(), unheard.size()) >= 0);
  }
  for (int f = 0; f < frames_ && received != QUEL_NOT_SENT; ++f) {
    const bool arrived = arrived_at(received, f);
    quel_frame frame = QUEL_FRAME;
    require(quel_frame_describe(
                reader_, arrived ? indices.data() + static_cast<std::size_t>(f) * fields : nullptr,
                arrived ? fields : 0, &frame) == QUEL_OK);
    require((frame.subframe_count > 0) == arrived && (frame.frequency_count > 0) == arrived);
    for (const float hz : frame.frequencies) require(std::isfinite(hz));
    for (const quel_subframe& subframe : frame.subframes) {
      require(std::isfinite(subframe.pitch_gain) && std::isfinite(subframe.code_gain));
      require(subframe.pulse_count >= 0 && subframe.pulse_count <= QUEL_MAX_PULSES);
    }
  }
  quel_decoder_counts counts = QUEL_DECODER_COUNTS, read = QUEL_DECODER_COUNTS;
  require(quel_decoder_statistics(stream_, &counts) == QUEL_OK);
  require(quel_decoder_statistics(reader_, &read) == QUEL_OK);
  require(counts.decoded == read.decoded && counts.concealed == read.concealed &&
          counts.cleared == read.cleared && counts.not_sent == read.not_sent);
}

void Session::decode(const Bytes* unit, std::uint32_t received) {
  ++units_;
  const std::size_t due = samples_due(received, missing_);
  const std::uint8_t* const bytes = unit == nullptr ? nullptr : unit->data();
  const std::size_t size = unit == nullptr ? 0 : unit->size();
  // No room but for what is due: the sanitizer sees what goes beyond.
  Pcm pcm(due);
  require(quel_decode(stream_, bytes, size, received, pcm.data(), due) == static_cast<int>(due));
  require(decode_beside(unit, received, due) == pcm);
  read_frames(unit, received);
  if (!deferred()) require(decode_frames(bytes, received) == pcm);
  const std::uint32_t all = (1u << frames_) - 1u;
  const bool plugin_knows = received != QUEL_NOT_SENT && (deferred() || (received & all) == all);
  if (!plugin_knows) plugin_here_ = false;
  if (!plugin_here_) return;
  require(plugin_decode(flavor_, unit == nullptr ? Bytes(unit_.size()) : *unit, received) == pcm);
}

void Session::reset() {
  require(quel_decoder_reset(stream_) == QUEL_OK);
  fresh_.restart();
  require(quel_decoder_reset(reader_) == QUEL_OK);
  // InitDecoder leaves predictor memories of flavor 3 as they are; only a new process clears them.
  quel_decoder_reset(other_);
  restart_beside();
  missing_ = 0;
  plugin_here_ = true;
}

void Session::decode_other() {
  // Lost frames would be made up in the flavor that comes next.
  if (!plugin_here_ || missing_ > 0) return;
  const Bytes unit = input_.bytes(static_cast<std::size_t>(quel_bytes_per_unit(other_flavor_)));
  Pcm pcm(static_cast<std::size_t>(quel_samples_per_unit(other_flavor_)));
  require(quel_decode(other_, unit.data(), unit.size(), QUEL_ALL_RECEIVED, pcm.data(),
                      pcm.size()) == static_cast<int>(pcm.size()));
  require(plugin_decode(other_flavor_, unit, QUEL_ALL_RECEIVED) == pcm);
  ++units_;
}

// None of these changes the stream or its outputs.
void Session::call_wrongly(int kind) {
  const auto received = input_.number<std::uint32_t>();
  int missing = missing_;
  const std::size_t due = samples_due(received, missing);
  Pcm pcm = untouched<std::int16_t>(QUEL_MAX_SAMPLES);
  const Pcm before = pcm;
  const auto decode = [&](const std::uint8_t* unit, std::size_t bytes, std::int16_t* out,
                          std::size_t capacity) {
    return quel_decode(stream_, unit, bytes, received, out, capacity);
  };
  const bool some_received = received != QUEL_NOT_SENT && (received & ((1u << frames_) - 1u)) != 0;
  switch (kind) {
    case 0: {
      const std::size_t length = input_.number<std::uint16_t>();
      if (length == unit_.size()) break;
      require(decode(unit_.data(), length, pcm.data(), pcm.size()) == QUEL_ERROR_LENGTH);
      break;
    }
    case 1:
      if (due == 0) break;
      require(decode(unit_.data(), unit_.size(), pcm.data(),
                     input_.number<std::uint16_t>() % due) == QUEL_ERROR_CAPACITY);
      break;
    case 2:
      if (due > 0) {
        require(decode(unit_.data(), unit_.size(), nullptr, due) == QUEL_ERROR_ARGUMENT);
      }
      break;
    case 3:
      if (some_received) {
        require(decode(nullptr, unit_.size(), pcm.data(), pcm.size()) == QUEL_ERROR_ARGUMENT);
      } else {
        require(decode(nullptr, unit_.size(), pcm.data(), pcm.size()) == QUEL_ERROR_LENGTH);
      }
      break;
    case 4:
      require(quel_decode(nullptr, unit_.data(), unit_.size(), received, pcm.data(), pcm.size()) ==
              QUEL_ERROR_ARGUMENT);
      require(quel_decoder_reset(nullptr) == QUEL_ERROR_ARGUMENT);
      require(quel_decoder_flavor(nullptr) == QUEL_ERROR_ARGUMENT);
      require(quel_decoder_max_samples(nullptr) == QUEL_ERROR_ARGUMENT);
      quel_decoder_destroy(nullptr);
      break;
    case 5: {
      quel_decoder_options options = QUEL_DECODER_OPTIONS(input_.number<std::int32_t>());
      options.concealment = input_.number<std::int32_t>();
      quel_decoder* made = stream_;
      const int result = quel_decoder_create(&options, &made);
      const bool flavor = options.flavor >= 0 && options.flavor <= 3;
      const bool concealment = options.concealment == 0 || options.concealment == 1;
      require((result == QUEL_OK) == (flavor && concealment) &&
              (result == QUEL_OK) == (made != stream_));
      if (result == QUEL_OK) quel_decoder_destroy(made);
      break;
    }
    default: {
      struct {
        quel_decoder_options known = QUEL_DECODER_OPTIONS(QUEL_FLAVOR_8K5);
        std::uint8_t unknown[8] = {};
      } options;
      options.known.size = static_cast<std::size_t>(input_.range(0, sizeof options));
      options.unknown[input_.range(0, 7)] = input_.byte();
      quel_decoder* made = stream_;
      const int result = quel_decoder_create(&options.known, &made);
      const std::size_t size = options.known.size, known = sizeof options.known;
      // The oldest struct had two ints; the reserved ones since are zero here.
      const std::size_t beyond = size > known ? size - known : 0;
      const bool sound = size >= sizeof(std::size_t) + 2 * sizeof(int) &&
                         std::all_of(options.unknown, options.unknown + beyond,
                                     [](std::uint8_t byte) { return byte == 0; });
      require(result == (sound ? QUEL_OK : QUEL_ERROR_OPTIONS) && sound == (made != stream_));
      if (result == QUEL_OK) quel_decoder_destroy(made);
    }
  }
  require(pcm == before);
}

void Session::step() {
  const int what = input_.step();
  const int count = what >> 3;
  switch (what & 7) {
    case 0:
    case 1:
      unit_ = input_.bytes(unit_.size());
      decode(&unit_, QUEL_ALL_RECEIVED);
      break;
    case 2:
      unit_ = input_.bytes(unit_.size());
      decode(&unit_, input_.byte());
      break;
    case 3:
      for (int i = 0; i <= count % 16; ++i) decode(nullptr, count < 16 ? ~3u : QUEL_NOT_SENT);
      break;
    case 4:
      for (int i = 0; i <= count; ++i) decode(&unit_, QUEL_ALL_RECEIVED);
      break;
    case 5:
      reset();
      break;
    case 6:
      for (int i = 0; i <= count % 4; ++i) decode_other();
      break;
    default:
      call_wrongly(count % 7);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const int kind = input.byte();
  Session session(input, kind & 3, kind >> 2 & 1);
  while (!session.over()) session.step();
  check_seed(input);
  return 0;
}
