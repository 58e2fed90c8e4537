/* A program as a small machine has it: C, no allocator, streams in memory of its own. It codes and
 * decodes a second of made-up sound by each flavor, some frames lost, and prints what came of it as
 * one number per flavor; with WITH_RECEIVER, a receiver then hears each flavor in the same way.
 * own_memory_test.sh compares these with what streams from the heap give. */
#include <quelcodec/quelcodec.h>
#include <stdint.h>
#include <stdio.h>

#ifndef FROM_THE_HEAP
static union {
  long double aligned_most;
  long long aligned_likewise;
  unsigned char bytes[28 * 1024];
} encoder_memory __attribute__((aligned));
static union {
  long double aligned_most;
  long long aligned_likewise;
  unsigned char bytes[14 * 1024];
} decoder_memory __attribute__((aligned));
#ifdef WITH_RECEIVER
static union {
  long double aligned_most;
  long long aligned_likewise;
  unsigned char bytes[48 * 1024];
} receiver_memory __attribute__((aligned));
#endif
#endif

static int make(int flavor, quel_encoder** encoder, quel_decoder** decoder) {
  const quel_encoder_options enc = QUEL_ENCODER_OPTIONS(flavor);
  const quel_decoder_options dec = QUEL_DECODER_OPTIONS(flavor);
#ifdef FROM_THE_HEAP
  return quel_encoder_create(&enc, encoder) == QUEL_OK &&
         quel_decoder_create(&dec, decoder) == QUEL_OK;
#else
  return quel_encoder_size(&enc) <= (int)sizeof encoder_memory &&
         quel_decoder_size(&dec) <= (int)sizeof decoder_memory &&
         quel_encoder_init(&encoder_memory, sizeof encoder_memory, &enc, encoder) == QUEL_OK &&
         quel_decoder_init(&decoder_memory, sizeof decoder_memory, &dec, decoder) == QUEL_OK;
#endif
}

static uint64_t hash(uint64_t sum, const void* data, size_t size) {
  const unsigned char* bytes = data;
  size_t i;
  for (i = 0; i < size; ++i) sum = (sum ^ bytes[i]) * UINT64_C(0x100000001b3);
  return sum;
}

static uint64_t hash_samples(uint64_t sum, const int16_t* pcm, int n) {
  int i;
  for (i = 0; i < n; ++i) {
    const unsigned char low = (unsigned char)(pcm[i] & 0xff);
    const unsigned char high = (unsigned char)((pcm[i] >> 8) & 0xff);
    sum = hash(hash(sum, &low, 1), &high, 1);
  }
  return sum;
}

/* A buzz whose pitch glides, with noise. */
static void next_samples(int16_t* pcm, int n, uint32_t* random, int* phase, int* level) {
  int i;
  for (i = 0; i < n; ++i) {
    *random = *random * 1664525u + 1013904223u;
    *phase += 120 + (int)(*random >> 30);
    if (*phase >= 8000) {
      *phase -= 8000;
      *level = 12000;
    }
    *level -= *level / 8;
    pcm[i] = (int16_t)(*level - 1500 + (int)(*random >> 23) - 256);
  }
}

static int run(int flavor, uint64_t* sum) {
  static int16_t pcm[QUEL_MAX_SAMPLES];
  static uint8_t unit[QUEL_MAX_BYTES];
  quel_encoder* encoder = NULL;
  quel_decoder* decoder = NULL;
  const int samples = quel_samples_per_unit(flavor), rate = quel_sampling_rate(flavor);
  uint32_t random = (uint32_t)flavor;
  int phase = 0, level = 0, k;
  if (!make(flavor, &encoder, &decoder)) return 0;
  *sum = UINT64_C(0xcbf29ce484222325);
  for (k = 0; k < rate / samples; ++k) {
    int bytes, heard;
    next_samples(pcm, samples, &random, &phase, &level);
    bytes = quel_encode(encoder, pcm, (size_t)samples, unit, sizeof unit);
    if (bytes < 0) return 0;
    *sum = hash(*sum, unit, (size_t)bytes);
    heard = quel_decode(decoder, unit, (size_t)bytes, k % 7 == 5 ? 0 : QUEL_ALL_RECEIVED, pcm,
                        QUEL_MAX_SAMPLES);
    if (heard != samples) return 0;
    *sum = hash_samples(*sum, pcm, samples);
  }
#ifdef FROM_THE_HEAP
  quel_encoder_destroy(encoder);
  quel_decoder_destroy(decoder);
#endif
  return 1;
}

#ifdef WITH_RECEIVER
static int receive(int flavor, uint64_t* sum) {
  static int16_t pcm[QUEL_MAX_SAMPLES];
  static uint8_t unit[QUEL_MAX_BYTES];
  const quel_receiver_options options = QUEL_RECEIVER_OPTIONS(flavor);
  quel_encoder* encoder = NULL;
  quel_decoder* decoder = NULL;
  quel_receiver* receiver = NULL;
  const int samples = quel_samples_per_unit(flavor), rate = quel_sampling_rate(flavor);
  uint32_t random = (uint32_t)flavor;
  int phase = 0, level = 0, k;
#ifdef FROM_THE_HEAP
  if (quel_receiver_create(&options, &receiver) != QUEL_OK) return 0;
#else
  if (quel_receiver_size(&options) > (int)sizeof receiver_memory ||
      quel_receiver_init(&receiver_memory, sizeof receiver_memory, &options, &receiver) !=
          QUEL_OK) {
    return 0;
  }
#endif
  if (!make(flavor, &encoder, &decoder)) return 0;
  *sum = UINT64_C(0xcbf29ce484222325);
  for (k = 0; k < 2 * rate / samples; ++k) {
    /* Here a little slower, there a little faster than the sender. */
    const int wanted = samples - 8 + 16 * k * samples / (2 * rate);
    int bytes;
    next_samples(pcm, samples, &random, &phase, &level);
    bytes = quel_encode(encoder, pcm, (size_t)samples, unit, sizeof unit);
    if (k % 9 != 4 && quel_receiver_push(receiver, (uint32_t)k, (uint32_t)(k * samples), 0, unit,
                                         (size_t)bytes) != QUEL_OK) {
      return 0;
    }
    if (quel_receiver_pull(receiver, pcm, (size_t)wanted) != QUEL_OK) return 0;
    *sum = hash_samples(*sum, pcm, wanted);
  }
#ifdef FROM_THE_HEAP
  quel_encoder_destroy(encoder);
  quel_decoder_destroy(decoder);
  quel_receiver_destroy(receiver);
#endif
  return 1;
}
#endif

static void print(uint64_t sum) {
  int digit;
  for (digit = 60; digit >= 0; digit -= 4) putchar("0123456789abcdef"[(sum >> digit) & 15]);
  putchar('\n');
}

int main(void) {
  int flavor;
  for (flavor = 0; quel_flavor_info(flavor) != NULL; ++flavor) {
    uint64_t sum = 0;
    if (!run(flavor, &sum)) return 1;
    print(sum);
  }
#ifdef WITH_RECEIVER
  for (flavor = 0; quel_flavor_info(flavor) != NULL; ++flavor) {
    uint64_t sum = 0;
    if (!receive(flavor, &sum)) return 1;
    print(sum);
  }
#endif
  return 0;
}
