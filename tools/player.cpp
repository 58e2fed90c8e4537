#include "tools/player.h"

#include <algorithm>
#include <cmath>

#include "tools/file_error.h"

namespace quel::tools {

PlayKey take_key(std::string& typed) {
  if (typed.empty()) return PlayKey::none;
  // Arrows come as three characters, in one of two ways.
  const bool arrow = typed.starts_with("\x1b[") || typed.starts_with("\x1bO");
  const std::string key = typed.substr(0, arrow ? 3 : 1);
  typed.erase(0, key.size());
  if (key == " ") return PlayKey::pause;
  if (key == "l" || (arrow && key.back() == 'C')) return PlayKey::forward;
  if (key == "h" || (arrow && key.back() == 'D')) return PlayKey::back;
  if (key == "c") return PlayKey::conceal;
  if (key == "q" || key == "\x03") return PlayKey::quit;
  return PlayKey::none;
}

namespace {

/// What stands for lost frames once the key was pressed.
OggConcealment after(OggConcealment concealment) {
  switch (concealment) {
    case OggConcealment::immediate:
      return OggConcealment::deferred;
    case OggConcealment::deferred:
      return OggConcealment::none;
    case OggConcealment::none:
      break;
  }
  return OggConcealment::immediate;
}

/// Before anything is read.
FileSource& with_way_back(FileSource& source, const std::string& input) {
  if (source.seekable()) return source;
  throw FileError(input, "play needs a file, in which it can go back; quel decode takes pipes");
}

}  // namespace

Player::Player(const PlaySettings& settings)
    : source_(settings.input),
      reader_(with_way_back(source_, settings.input), shown(settings.input)),
      losses_(settings.losses),
      rate_(check(quel_sampling_rate(reader_.head().flavor))) {
  options_.concealment = settings.concealment;
  options_.lose = [this] { return losses_.lost(); };
  decoder_.emplace(reader_, options_);
  if (settings.start > 0.0) {
    go_to(static_cast<std::uint64_t>(std::llround(settings.start * rate_)));
  }
}

std::span<const std::int16_t> Player::next() {
  const auto pcm = decoder_->next();
  position_ += pcm.size();
  return pcm;
}

void Player::press(PlayKey key) {
  const auto step = static_cast<std::uint64_t>(step_seconds) * static_cast<std::uint64_t>(rate_);
  switch (key) {
    case PlayKey::pause:
      paused_ = !paused_;
      break;
    case PlayKey::forward:
      go_to(position_ + step);
      break;
    case PlayKey::back:
      go_to(position_ - std::min(position_, step));
      break;
    case PlayKey::conceal:
      options_.concealment = after(options_.concealment);
      decoder_.emplace(reader_, options_);
      go_to(position_);
      break;
    case PlayKey::none:
    case PlayKey::quit:
      break;
  }
}

void Player::go_to(std::uint64_t sample) {
  decoder_->seek(sample);
  // Who goes on beyond the end and then back starts from the end. Seeking has told where that is.
  const std::uint64_t end = reader_.end().value_or(sample + reader_.head().pre_skip);
  position_ = std::min(sample, end - std::min<std::uint64_t>(end, reader_.head().pre_skip));
}

void play(Player& player, SoundSink& sink, KeySource& keys,
          const std::function<void(const Player&)>& told) {
  for (;;) {
    const PlayKey key = keys.next(player.paused());
    if (key == PlayKey::quit) return;
    player.press(key);
    if (!player.paused()) {
      const auto pcm = player.next();
      if (pcm.empty()) return;
      sink.write(pcm);
    }
    if (told) told(player);
  }
}

}  // namespace quel::tools
