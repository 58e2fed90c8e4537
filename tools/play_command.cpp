#include "tools/play_command.h"

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <exception>
#include <ostream>

#include "tools/command.h"
#include "tools/file_arguments.h"
#include "tools/file_error.h"
#include "tools/progress.h"

namespace quel::tools {
namespace {

/// Keys as they are pressed, where standard input is a terminal of this program's; none elsewhere.
class TerminalKeys : public KeySource {
 public:
  // A program in the background that changed the terminal would be stopped.
  TerminalKeys()
      : terminal_(tcgetpgrp(STDIN_FILENO) == getpgrp() && tcgetattr(STDIN_FILENO, &before_) == 0) {
    if (!terminal_) return;
    termios now = before_;
    // Ctrl-C comes as a key, so that the terminal is as it was afterwards.
    now.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ISIG);
    tcsetattr(STDIN_FILENO, TCSANOW, &now);
  }
  ~TerminalKeys() override {
    if (terminal_) tcsetattr(STDIN_FILENO, TCSANOW, &before_);
  }
  TerminalKeys(const TerminalKeys&) = delete;
  TerminalKeys& operator=(const TerminalKeys&) = delete;

  bool terminal() const { return terminal_; }

  PlayKey next(bool wait) override {
    pollfd readable{STDIN_FILENO, POLLIN, 0};
    if (typed_.empty() && terminal_ && poll(&readable, 1, wait ? 100 : 0) > 0) {
      std::array<char, 64> bytes{};
      const ssize_t got = read(STDIN_FILENO, bytes.data(), bytes.size());
      if (got <= 0) return PlayKey::quit;  // the terminal is gone
      typed_.assign(bytes.data(), static_cast<std::size_t>(got));
    }
    return take_key(typed_);
  }

 private:
  termios before_{};
  bool terminal_;
  std::string typed_;
};

}  // namespace

CLI::App* add_play_command(CLI::App& app, PlayJob& job) {
  auto* play = app.add_subcommand("play", "coded speech to the loudspeaker");
  play->footer(
      "Keys: space pauses, the arrows right and left (or l and h) go 5 seconds on and back, c "
      "changes how lost frames are made up for, q ends.");
  play->add_option("input", job.settings.input, "coded file")->required()->option_text("FILE");
  take_seconds(play->add_option("--start", job.settings.start,
                                "leave out what comes before this time, 0 to 1e9 seconds"));
  play->add_option("--loss", job.loss, "lose so many of the frames, by chance")
      ->option_text("PERCENT");
  add_seed_option(*play, job.seed);
  add_concealment_option(*play, job.settings.concealment);
  play->final_callback([&job] {
    if (job.loss.empty()) return;
    job.settings.losses = LossPattern(parse_percentage("--loss", job.loss), job.seed);
  });
  return play;
}

int run_play_command(const PlayJob& job, const OpenSink& open, std::ostream& err) {
  try {
    Player player(job.settings);
    const std::unique_ptr<SoundSink> sink = open(player.rate());
    TerminalKeys keys;
    std::string shown_last;
    const auto show = [&](const Player& now) {
      if (!keys.terminal()) return;
      const std::string line = clock_text(now.seconds()) + "  " +
                               concealment_name(now.concealment()) +
                               (now.paused() ? "  paused" : "");
      if (line == shown_last) return;
      shown_last = line;
      err << '\r' << line << "\x1b[K" << std::flush;
    };
    play(player, *sink, keys, show);
    if (!shown_last.empty()) err << '\n';
    return exit_done;
  } catch (const std::exception& error) {
    err << "quel: " << message_of(error, job.settings.input) << '\n';
    return exit_failed;
  }
}

}  // namespace quel::tools
