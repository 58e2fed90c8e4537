#include "tools/jobs.h"

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <quelcodec/quelcodec.hpp>
#include <span>
#include <vector>

#include "tools/audio_file.h"
#include "tools/file_error.h"
#include "tools/output_file.h"
#include "tools/quel_file.h"

namespace quel::tools {
namespace {

void write_silence(WavWriter& writer, std::uint32_t samples) {
  const std::vector<std::int16_t> silence(4096);
  while (samples > 0) {
    const auto count = std::min<std::uint32_t>(samples, 4096);
    writer.write(std::span(silence).first(count));
    samples -= count;
  }
}

}  // namespace

void run_encode(const EncodeJob& job) {
  Encoder encoder(job.flavor);
  AudioReader reader(job.input, check(quel_sampling_rate(job.flavor)));
  OutputFile file(job.output, job.force, job.input);
  QuelWriter writer(file, job.flavor);
  std::vector<std::int16_t> pcm(encoder.samples_per_unit());
  QuelHeader header{job.flavor, 0};
  for (std::uint32_t units = 0;; ++units) {
    const auto count = static_cast<std::uint32_t>(reader.read(pcm));
    if (count > wav_max_samples - header.samples) {
      throw FileError(job.input, "longer than a WAV file holds");
    }
    header.samples += count;
    // Past the end, silence pushes the last samples through the delay.
    if (count < pcm.size() && units >= unit_count(header)) break;
    std::fill(pcm.begin() + count, pcm.end(), std::int16_t{0});
    writer.write(encoder.encode(pcm));
  }
  writer.finish(header.samples);
}

bool run_decode(const DecodeJob& job, std::ostream& log) {
  QuelReader reader(job.input);
  const QuelHeader& header = reader.header();
  OutputFile file(job.output, job.force, job.input);
  WavWriter writer(file, check(quel_sampling_rate(header.flavor)));
  AlignedDecoder decoder(header, job.options);
  std::vector<std::uint8_t> unit(static_cast<std::size_t>(quel_bytes_per_unit(header.flavor)));
  const std::uint32_t units = unit_count(header);
  std::uint32_t done = 0;
  while (done < units && reader.read(unit)) {
    writer.write(decoder.decode(unit));
    ++done;
  }
  if (job.report) {
    log << "quel: " << job.input << ": " << decoder.lost() << " of " << decoder.frames()
        << " frames lost\n";
  }
  if (done < units) {
    log << "quel: " << job.input << ": cut short: " << done << " of " << units << " units, decoded "
        << header.samples - decoder.missing() << " of " << header.samples << " samples\n";
  } else {
    write_silence(writer, decoder.missing());
    if (std::uint8_t extra = 0; reader.read(std::span(&extra, 1))) {
      log << "quel: " << job.input << ": bytes after the last unit are ignored\n";
    }
  }
  writer.finish();
  return done == units;
}

}  // namespace quel::tools
