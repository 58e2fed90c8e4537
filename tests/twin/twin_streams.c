/* Streams on which the second decoder is compared with the library.
 *
 *   twin_streams FLAVOR clean FOLDER [PCM]   codes a made-up speech-like signal, or raw samples
 *   twin_streams FLAVOR lossy FOLDER [PCM]   the same, and loses frames
 *   twin_streams FLAVOR random FOLDER        random units, and loses frames
 *   twin_streams FLAVOR given FOLDER         units and losses that stand in FOLDER already
 *
 * Writes FOLDER/coded, FOLDER/mask (a character 0 or 1 for each frame) and what the library decodes
 * from them: FOLDER/deferred with the losses of the mask, and FOLDER/immediate, which has a
 * concealment that the twin does not know, without any; raw 16-bit samples in host order.
 */
#include <quelcodec/quelcodec.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { SECONDS = 4 };

static void fail(const char* what) {
  fprintf(stderr, "twin_streams: %s\n", what);
  exit(1);
}

static uint32_t noise_state = 12345u;

static uint32_t draw(void) {
  noise_state = noise_state * 1664525u + 1013904223u;
  return noise_state >> 8;
}

static double noise(void) {
  return (double)draw() * (2.0 / 16777216.0) - 1.0;
}

/* y = gain x + 2 r cos(w) y1 - r^2 y2 */
typedef struct resonator {
  double gain, c1, c2, y1, y2;
} resonator;

static double resonate(resonator* r, double x) {
  const double y = r->gain * x + r->c1 * r->y1 + r->c2 * r->y2;
  r->y2 = r->y1;
  r->y1 = y;
  return y;
}

/* Two vowels for each sampling rate. */
static resonator vowels[2][2][4] = {{{{0.10, 1.8200, -0.9604, 0, 0},
                                      {0.20, 0.7400, -0.9409, 0, 0},
                                      {0.30, -0.7300, -0.9216, 0, 0},
                                      {0.00, 0.0000, 0.0000, 0, 0}},
                                     {{0.10, 1.7500, -0.9604, 0, 0},
                                      {0.20, 0.1500, -0.9409, 0, 0},
                                      {0.30, -1.0500, -0.9216, 0, 0},
                                      {0.00, 0.0000, 0.0000, 0, 0}}},
                                    {{{0.05, 1.9300, -0.9702, 0, 0},
                                      {0.10, 1.6300, -0.9506, 0, 0},
                                      {0.20, 1.1000, -0.9409, 0, 0},
                                      {0.30, -1.0500, -0.8836, 0, 0}},
                                     {{0.05, 1.9050, -0.9702, 0, 0},
                                      {0.10, 1.4000, -0.9506, 0, 0},
                                      {0.20, 0.7500, -0.9409, 0, 0},
                                      {0.30, -0.5000, -0.8836, 0, 0}}}};

/* Segments of 120 ms: vowels with a gliding pitch, hissing, rests; loudness and pitch are drawn.
 * No function of the mathematics library, so that every platform makes the same samples. */
static void make_signal(int16_t* pcm, int samples, int rate) {
  resonator(*vowel)[4] = vowels[rate / 16000];
  const int segment = rate / 1000 * 120;
  const double scale = rate / 8000.0;
  double period = 60.0 * scale, glide = 0.0, until_pulse = 0.0, loudness = 0.0, target = 0.0;
  double last_hiss = 0.0;
  int kind = 0;
  for (int n = 0; n < samples; ++n) {
    if (n % segment == 0) {
      kind = (int)(draw() % 6u); /* 0..3 a vowel, 4 hissing, 5 a rest */
      period = (25.0 + (double)(draw() % 95u)) * scale;
      glide = noise() * 0.002 * scale;
      target = kind == 5 ? 0.0 : 4500.0 + 3000.0 * noise();
    }
    loudness = loudness + 0.01 * (target - loudness);
    period = period + glide;
    if (period < 22.0 * scale) period = 22.0 * scale;
    until_pulse = until_pulse - 1.0;
    double source = 0.02 * noise();
    if (kind < 4 && until_pulse <= 0.0) {
      source = source + 1.0;
      until_pulse = period;
    } else if (kind == 4) {
      const double hiss = noise();
      source = 0.5 * (hiss - 0.7 * last_hiss);
      last_hiss = hiss;
    }
    double sum = 0.0;
    for (int k = 0; k < 4; ++k) sum = sum + resonate(&vowel[kind & 1][k], source);
    sum = 2.0 * loudness * sum + 3.0 * noise();
    if (sum > 32000.0) sum = 32000.0;
    if (sum < -32000.0) sum = -32000.0;
    pcm[n] = (int16_t)sum;
  }
}

/* Single losses, bursts up to nine frames, and one of forty. */
static void make_losses(char* mask, int frames) {
  int lost = 0;
  for (int n = 0; n < frames; ++n) {
    if (n == frames / 2) lost = 40;
    if (lost == 0 && n > 3 && draw() % 12u == 0) lost = draw() % 3u ? 1 : 1 + (int)(draw() % 9u);
    mask[n] = lost > 0 ? '0' : '1';
    if (lost > 0) --lost;
  }
}

static FILE* open_file(const char* folder, const char* name, const char* mode) {
  char path[4096];
  FILE* file = NULL;
  if (snprintf(path, sizeof path, "%s/%s", folder, name) < (int)sizeof path)
    file = fopen(path, mode);
  if (file == NULL) fail(name);
  return file;
}

/* A whole file; the caller frees it. */
static void* read_file(const char* folder, const char* name, size_t* bytes) {
  FILE* file = open_file(folder, name, "rb");
  long end = -1;
  void* data = NULL;
  if (fseek(file, 0, SEEK_END) == 0) end = ftell(file);
  if (end < 0) fail(name);
  rewind(file);
  *bytes = (size_t)end;
  data = malloc(*bytes + 1);
  if (data == NULL || fread(data, 1, *bytes, file) != *bytes) fail(name);
  fclose(file);
  return data;
}

static void write_file(const char* folder, const char* name, const void* data, size_t bytes) {
  FILE* file = open_file(folder, name, "wb");
  if (fwrite(data, 1, bytes, file) != bytes || fclose(file) != 0) fail(name);
}

static void encode(int flavor, const int16_t* pcm, int units, uint8_t* coded) {
  const quel_encoder_options options = QUEL_ENCODER_OPTIONS(flavor);
  const int samples = quel_samples_per_unit(flavor);
  const int bytes = quel_bytes_per_unit(flavor);
  quel_encoder* encoder = NULL;
  if (quel_encoder_create(&options, &encoder) != QUEL_OK) fail("no encoder");
  for (int u = 0; u < units; ++u, pcm += samples, coded += bytes)
    if (quel_encode(encoder, pcm, (size_t)samples, coded, (size_t)bytes) != bytes) fail("encoding");
  quel_encoder_destroy(encoder);
}

static void decode(const char* folder, const char* name, int flavor, int concealment,
                   const uint8_t* coded, int units, const char* mask) {
  quel_decoder_options options = QUEL_DECODER_OPTIONS(flavor);
  const size_t bytes = (size_t)quel_bytes_per_unit(flavor);
  quel_decoder* decoder = NULL;
  FILE* file = open_file(folder, name, "wb");
  options.concealment = concealment;
  if (quel_decoder_create(&options, &decoder) != QUEL_OK) fail("no decoder");
  for (int u = 0; u < units; ++u, coded += bytes) {
    int16_t pcm[QUEL_MAX_SAMPLES];
    uint32_t received = 0;
    for (int f = 0; f < quel_frames_per_unit(flavor); ++f)
      if (*mask++ == '1') received |= 1u << f;
    const int samples = quel_decode(decoder, coded, bytes, received, pcm, QUEL_MAX_SAMPLES);
    if (samples < 0 || fwrite(pcm, 2, (size_t)samples, file) != (size_t)samples) fail(name);
  }
  if (fclose(file) != 0) fail(name);
  quel_decoder_destroy(decoder);
}

int main(int argc, char** argv) {
  if (argc < 4 || quel_sampling_rate(atoi(argv[1])) < 0) fail("FLAVOR CASE FOLDER [PCM]");
  const int flavor = atoi(argv[1]);
  const char* kind = argv[2];
  const char* folder = argv[3];
  const size_t unit_bytes = (size_t)quel_bytes_per_unit(flavor);
  const size_t unit_samples = (size_t)quel_samples_per_unit(flavor);
  const size_t unit_frames = (size_t)quel_frames_per_unit(flavor);

  size_t samples = (size_t)(SECONDS * quel_sampling_rate(flavor));
  int16_t* pcm = NULL;
  if (argc > 4) {
    pcm = read_file(".", argv[4], &samples);
    samples /= 2;
  } else {
    pcm = malloc(samples * sizeof *pcm);
    if (pcm == NULL) fail("no memory");
    make_signal(pcm, (int)samples, quel_sampling_rate(flavor));
  }

  size_t units = samples / unit_samples;
  uint8_t* coded = NULL;
  char* mask = NULL;
  if (strcmp(kind, "given") == 0) {
    size_t bytes = 0, frames = 0;
    coded = read_file(folder, "coded", &bytes);
    mask = read_file(folder, "mask", &frames);
    units = bytes / unit_bytes;
    if (bytes != units * unit_bytes || frames != units * unit_frames) fail("no whole units");
  } else {
    coded = malloc(units * unit_bytes + 1);
    mask = malloc(units * unit_frames + 1);
    if (coded == NULL || mask == NULL) fail("no memory");
    if (strcmp(kind, "random") == 0)
      for (size_t i = 0; i < units * unit_bytes; ++i) coded[i] = (uint8_t)(draw() >> 8);
    else
      encode(flavor, pcm, (int)units, coded);
    if (strcmp(kind, "clean") == 0)
      memset(mask, '1', units * unit_frames);
    else
      make_losses(mask, (int)(units * unit_frames));
    write_file(folder, "coded", coded, units * unit_bytes);
    write_file(folder, "mask", mask, units * unit_frames);
  }
  decode(folder, "deferred", flavor, QUEL_CONCEAL_DEFERRED, coded, (int)units, mask);
  memset(mask, '1', units * unit_frames);
  decode(folder, "immediate", flavor, QUEL_CONCEAL_IMMEDIATE, coded, (int)units, mask);
  free(coded);
  free(mask);
  free(pcm);
  return 0;
}
