/* A user's program: one unit there and back. */
#include <quelcodec/quelcodec.h>
#include <stdio.h>

int main(void) {
  quel_encoder_options enc_options = QUEL_ENCODER_OPTIONS(QUEL_FLAVOR_8K5);
  quel_decoder_options dec_options = QUEL_DECODER_OPTIONS(QUEL_FLAVOR_8K5);
  quel_encoder* encoder = NULL;
  quel_decoder* decoder = NULL;
  int16_t pcm[QUEL_MAX_SAMPLES] = {0};
  uint8_t unit[QUEL_MAX_BYTES];
  int bytes, samples;
  if (quel_version() != QUEL_VERSION) return 1;
  if (quel_bitstream() != 2 || quel_behaviour() < 2) return 1;
  if (quel_encoder_create(&enc_options, &encoder) != QUEL_OK) return 1;
  if (quel_decoder_create(&dec_options, &decoder) != QUEL_OK) return 1;
  bytes = quel_encode(encoder, pcm, 144, unit, sizeof unit);
  samples =
      quel_decode(decoder, unit, (size_t)bytes, QUEL_ALL_RECEIVED, pcm, QUEL_MAX_SAMPLES);
  quel_encoder_destroy(encoder);
  quel_decoder_destroy(decoder);
  printf("%d bytes, %d samples\n", bytes, samples);
  return 0;
}
