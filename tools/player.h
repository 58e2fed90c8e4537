#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "tools/loss.h"
#include "tools/ogg_decoder.h"
#include "tools/ogg_reader.h"
#include "tools/ogg_source.h"

namespace quel::tools {

struct PlaySettings {
  std::string input;   ///< coded file, in which one can go back and forth
  double start = 0.0;  ///< seconds
  OggConcealment concealment = OggConcealment::immediate;
  LossPattern losses;
};

/// What a listener does.
enum class PlayKey { none, pause, forward, back, conceal, quit };

/// Takes the first key off what a terminal sent: space, the arrows to the right and to the left (or
/// l and h), c, q and Ctrl-C; `none` for other keys and where nothing is left.
PlayKey take_key(std::string& typed);

/// Where sound goes.
class SoundSink {
 public:
  virtual ~SoundSink() = default;
  /// Returns once there is room for more. Throws where sound cannot go there.
  virtual void write(std::span<const std::int16_t> pcm) = 0;
};

/// Where keys come from.
class KeySource {
 public:
  virtual ~KeySource() = default;
  /// The next one, or none; where `wait` is set, after a tenth of a second at the latest.
  virtual PlayKey next(bool wait) = 0;
};

/// A coded file that is listened to.
class Player {
 public:
  static constexpr int step_seconds = 5;

  /// Throws FileError, as every call does; also for a pipe, in which nobody can go back.
  explicit Player(const PlaySettings& settings);

  int rate() const { return rate_; }  ///< Hz
  bool paused() const { return paused_; }
  OggConcealment concealment() const { return options_.concealment; }
  double seconds() const { return static_cast<double>(position_) / rate_; }  ///< from the start

  /// The next samples; empty only at the end. They live until the next call.
  std::span<const std::int16_t> next();

  /// Does what the key says, but for `quit`.
  void press(PlayKey key);

 private:
  void go_to(std::uint64_t sample);

  FileSource source_;
  OggReader reader_;
  LossPattern losses_;
  OggDecodeOptions options_;
  int rate_;
  std::optional<OggDecoder> decoder_;
  std::uint64_t position_ = 0;  // sample of the source that comes next
  bool paused_ = false;
};

/// Plays until the end or until somebody quits.
///
/// told  called after each piece and each key, for a display; may be empty
void play(Player& player, SoundSink& sink, KeySource& keys,
          const std::function<void(const Player&)>& told = {});

}  // namespace quel::tools
