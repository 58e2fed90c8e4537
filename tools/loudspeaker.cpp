#include "tools/loudspeaker.h"

#include <fcntl.h>
#include <portaudio.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

namespace quel::tools {
namespace {

void check_portaudio(PaError error) {
  if (error >= 0) return;
  throw std::runtime_error(std::string("no sound output: ") + Pa_GetErrorText(error));
}

/// Sends standard error nowhere: sound systems write there what they tried in vain.
class Quiet {
 public:
  Quiet() : kept_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)) {
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (kept_ >= 0 && nowhere >= 0) dup2(nowhere, STDERR_FILENO);
    if (nowhere >= 0) close(nowhere);
  }
  ~Quiet() {
    if (kept_ < 0) return;
    dup2(kept_, STDERR_FILENO);
    close(kept_);
  }
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;

 private:
  int kept_;
};

struct Library {
  Library() { check_portaudio(Pa_Initialize()); }
  ~Library() { Pa_Terminate(); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
};

class Loudspeaker : public SoundSink {
 public:
  explicit Loudspeaker(int rate) {
    constexpr int no_input = 0, mono = 1;
    check_portaudio(Pa_OpenDefaultStream(&stream_, no_input, mono, paInt16, rate,
                                         paFramesPerBufferUnspecified, nullptr, nullptr));
    const PaError error = Pa_StartStream(stream_);
    if (error < 0) Pa_CloseStream(stream_);
    check_portaudio(error);
  }
  ~Loudspeaker() override {
    Pa_StopStream(stream_);  // once all of it was heard
    Pa_CloseStream(stream_);
  }
  Loudspeaker(const Loudspeaker&) = delete;
  Loudspeaker& operator=(const Loudspeaker&) = delete;

  void write(std::span<const std::int16_t> pcm) override {
    const PaError error = Pa_WriteStream(stream_, pcm.data(), pcm.size());
    // After a pause there was nothing to play for a while, as was meant.
    if (error != paOutputUnderflowed) check_portaudio(error);
  }

 private:
  Library library_;
  PaStream* stream_ = nullptr;
};

}  // namespace

std::unique_ptr<SoundSink> loudspeaker(int rate) {
  const Quiet quiet;
  return std::make_unique<Loudspeaker>(rate);
}

}  // namespace quel::tools
