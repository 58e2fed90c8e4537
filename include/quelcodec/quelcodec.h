/** @file
 * quelcodec: speech coding at 5, 6.5, 8.5 (8 kHz) and 16 kbit/s (16 kHz).
 *
 * Three interfaces in one library:
 *
 *  - Streams (quel_...): as many encoders and decoders as you like, on any number of threads. Use
 *    these in your own programs.
 *  - Receivers (quel_receiver_...): packets from a network in, sound for a sound card out.
 *  - The plug-in functions (SetFlavor, InitEncoder, Encode, ...): one encoder and one decoder per
 *    process, as media hosts load them. One thread at a time.
 *
 * Streams and the plug-in functions do not disturb each other, and a stream gives bit for bit what
 * the plug-in functions give.
 *
 * A program that codes and decodes one unit of silence:
 *
 *     #include <quelcodec/quelcodec.h>
 *     #include <stdio.h>
 *
 *     int main(void) {
 *       quel_encoder_options enc_options = QUEL_ENCODER_OPTIONS(QUEL_FLAVOR_8K5);
 *       quel_decoder_options dec_options = QUEL_DECODER_OPTIONS(QUEL_FLAVOR_8K5);
 *       quel_encoder* encoder = NULL;
 *       quel_decoder* decoder = NULL;
 *       int16_t pcm[QUEL_MAX_SAMPLES] = {0};
 *       uint8_t unit[QUEL_MAX_BYTES];
 *       int bytes, samples;
 *       if (quel_encoder_create(&enc_options, &encoder) != QUEL_OK) return 1;
 *       if (quel_decoder_create(&dec_options, &decoder) != QUEL_OK) return 1;
 *       bytes = quel_encode(encoder, pcm, (size_t)quel_samples_per_unit(QUEL_FLAVOR_8K5), unit,
 *                           sizeof unit);
 *       samples = quel_decode(decoder, unit, (size_t)bytes, QUEL_ALL_RECEIVED, pcm,
 *                             QUEL_MAX_SAMPLES);
 *       printf("%d bytes, %d samples\n", bytes, samples);
 *       quel_encoder_destroy(encoder);
 *       quel_decoder_destroy(decoder);
 *       return bytes == 19 && samples == 144 ? 0 : 1;
 *     }
 */
#ifndef QUELCODEC_QUELCODEC_H_
#define QUELCODEC_QUELCODEC_H_

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Three numbers --------------------------------------------------------------------------- */

#define QUEL_VERSION_MAJOR 0 /**< header's version, first number: 0 while interfaces may change */
#define QUEL_VERSION_MINOR 2 /**< header's version, second number */
#define QUEL_VERSION_PATCH 0 /**< header's version, third number */
/** The header's version as one number, 10000 * major + 100 * minor + patch. */
#define QUEL_VERSION (10000 * QUEL_VERSION_MAJOR + 100 * QUEL_VERSION_MINOR + QUEL_VERSION_PATCH)

/** The library's version, as QUEL_VERSION counts; compare it with the header's. */
int quel_version(void);
/** The bitstream number: what coded units mean. Units of one number decode, where nothing is lost,
 *  to the same samples in every version that knows the number, and from 2 on every later version
 *  does. Send or store it beside units, and refuse units of a number that is not this one. */
int quel_bitstream(void);
/** The behaviour number: which exact bits this library's encoders and decoders give, concealed
 *  samples included. For whoever compares digests; units of any behaviour decode. */
int quel_behaviour(void);

/* ---- Instruction sets ------------------------------------------------------------------------
 *
 * The library has its inner loops for several instruction sets and takes the best that the
 * processor has, or the one that the environment variable QUELCODEC_CPU names. The bits do not
 * depend on it, and no program has to care; these are for tests and reports. */

/** The name of the set in use: "baseline", or on x86-64 "avx2" or "avx512". */
const char* quel_instruction_set(void);
/** The sets that this build and this processor have, by index from 0; NULL for any other index. */
const char* quel_instruction_set_name(int index);
/** Uses the named set from now on, in all threads. Errors, after which nothing has changed:
 * ARGUMENT; OPTIONS where the build or the processor has no such set. */
int quel_use_instruction_set(const char* name);

/* ---- Flavors --------------------------------------------------------------------------------- */

/** Operating points. */
enum {
  QUEL_FLAVOR_6K5 = 0, /**< 6.5 kbit/s, 8 kHz: frames of 144 samples, 2 in a unit of 29 bytes */
  QUEL_FLAVOR_8K5 = 1, /**< 8.5 kbit/s, 8 kHz: frames of 144 samples, 1 in a unit of 19 bytes */
  QUEL_FLAVOR_5K = 2,  /**< 5 kbit/s, 8 kHz: frames of 240 samples, 2 in a unit of 37 bytes */
  QUEL_FLAVOR_16K = 3  /**< 16 kbit/s, 16 kHz: frames of 160 samples, 1 in a unit of 20 bytes */
};

/* Buffer sizes that serve every flavor and every call of a stream. */
#define QUEL_MAX_BYTES 37     /**< bytes of a coded unit */
#define QUEL_MAX_SAMPLES 1680 /**< samples that one quel_decode gives: 7 frames of 240 */

/** What a flavor is. The struct may grow at its end; `size` tells how much of it the library knows,
 *  so that a program built against a newer header can see what an older library lacks. */
typedef struct quel_flavor {
  size_t size;           /**< bytes of this struct that the library fills */
  int flavor;            /**< QUEL_FLAVOR_... */
  int sampling_rate;     /**< Hz: 8000 or 16000 */
  int samples_per_frame; /**< 144, 144, 240, 160 */
  int frames_per_unit;   /**< 2, 1, 2, 1 */
  int samples_per_unit;  /**< 288, 144, 480, 160 */
  int bits_per_frame;    /**< 116, 152, 148, 160 */
  int bytes_per_unit;    /**< 29, 19, 37, 20 */
  int delay;             /**< samples, as quel_delay */
  int nominal_rate;      /**< bit/s, as the flavor is called: 6500, 8500, 5000, 16000 */
  int fields_per_frame;  /**< indices of a coded frame: 20, 20, 20, 22 */
  double bit_rate;       /**< bit/s, exactly: bits_per_frame * sampling_rate / samples_per_frame */
  const char* name;      /**< kbit/s: "6.5", "8.5", "5", "16" */
  const char* title;     /**< "6.5 Kbps Voice" and so on, as media hosts show it */
  const int32_t* field_bits; /**< [0..fields_per_frame-1] bits of each index, in stream order */
} quel_flavor;

/** What a flavor is, in static storage; null where there is no such flavor. Flavors are numbered
 *  from 0 without a gap, so the first null ends a loop over them. */
const quel_flavor* quel_flavor_info(int flavor);

/* Each returns a positive count, or QUEL_ERROR_FLAVOR for a flavor outside 0..3. */
int quel_sampling_rate(int flavor);     /**< Hz: 8000 or 16000 */
int quel_samples_per_frame(int flavor); /**< 144, 144, 240, 160 */
int quel_frames_per_unit(int flavor);   /**< 2, 1, 2, 1 */
int quel_samples_per_unit(int flavor);  /**< 288, 144, 480, 160 */
int quel_bytes_per_unit(int flavor);    /**< 29, 19, 37, 20 */
/** Samples by which a decoder's output lies behind the encoder's input, beyond the unit that a call
 *  takes: 120, 120, 360, 80. Sample n of the input comes out as sample n + delay. */
int quel_delay(int flavor);

/* ---- Errors ---------------------------------------------------------------------------------- */

/** Negative results. A call that returns one has changed neither its stream nor its outputs. */
enum {
  QUEL_OK = 0,              /**< nothing failed */
  QUEL_ERROR_ARGUMENT = -1, /**< a pointer is null that must not be */
  QUEL_ERROR_FLAVOR = -2,   /**< the flavor is outside 0..3 */
  QUEL_ERROR_OPTIONS = -3, /**< an option has a value, or a size, that this library does not know */
  QUEL_ERROR_MEMORY = -4,  /**< no memory for the stream, or less than it needs */
  QUEL_ERROR_LENGTH = -5,  /**< the input is not one unit, or whole ones where a call takes many */
  QUEL_ERROR_CAPACITY = -6,  /**< the output buffer is too small for what the call would give */
  QUEL_ERROR_ALIGNMENT = -7, /**< the memory for the stream is not aligned as max_align_t */
  QUEL_ERROR_RANGE = -8      /**< an index is more than its field holds, or negative */
};

/** One English sentence for a result code, never null; static storage. */
const char* quel_error_text(int code);

/* ---- Streams ---------------------------------------------------------------------------------
 *
 * A stream belongs to its creator until it is destroyed. Any number may live at once; each may move
 * from thread to thread but is used by one thread at a time. No call allocates but create.
 *
 * A stream lives in memory that create takes from the heap, or in the caller's own: ask
 * quel_encoder_size for its length, give init memory of that length, aligned as malloc aligns it
 * (max_align_t), and give the memory back when the stream is done. There is nothing to destroy, and
 * a program that never calls create and destroy has no need of an allocator.
 *
 * A stream in the caller's memory holds no address: its bytes, copied to other memory aligned
 * likewise, are a second stream in the same state, to be used through a cast of its address. So a
 * stream can be forked, or put aside and taken up again later; by the same build of the library
 * only, since another may lay its state out otherwise. A created stream is not to be copied: it
 * remembers that its memory is the heap's, and so would the copy.
 */

typedef struct quel_encoder quel_encoder; /**< made by quel_encoder_create or quel_encoder_init */
typedef struct quel_decoder quel_decoder; /**< made by quel_decoder_create or quel_decoder_init */

/* How options grow: a new option takes a reserved place, or else the struct grows at its end by two
 * ints, one of them reserved until it has a use. `size` is followed by an even number of ints in
 * every version, so no struct has padding, in which a value that one side does not know could hide.
 * Reserved places and whatever lies beyond what the library knows must be zero, which is every
 * option's default. `size` tells the library how much of the struct the caller knows: an older,
 * shorter one is taken with defaults for the rest. None will ever be longer than 4096 bytes. */

#define QUEL_MAX_EFFORT 3 /**< the most that an encoder can be asked for */

/** Set by QUEL_ENCODER_OPTIONS. */
typedef struct quel_encoder_options {
  size_t size; /**< sizeof(quel_encoder_options) */
  int flavor;  /**< QUEL_FLAVOR_...; kept for the stream's life */
  /** 0..QUEL_MAX_EFFORT; kept for the stream's life. How long the encoder searches for speech that
   *  sounds closer to its input: at 1 to 3 up to 2, 4.5 and 12 times as long as at 0. The units
   *  are as long as those of 0, come as late, and every decoder of the flavor decodes them. At 0
   *  they are bit for bit those of the plug-in. */
  int effort;
  int reserved[2]; /**< 0 */
} quel_encoder_options;

/** Initialises a quel_encoder_options: effort 0. */
#define QUEL_ENCODER_OPTIONS(flavor)             \
  {                                              \
    sizeof(quel_encoder_options), (flavor), 0, { \
      0, 0                                       \
    }                                            \
  }

/** How a decoder stream makes up for lost frames. */
enum {
  /** One frame of samples for each lost frame, at once: the host's clock never stops. Pitch, level
   *  and color go on from what was heard before, and 160 ms after its start a loss is silent.
   *  Flavor 2 runs a frame behind its input; so where the frame after a lost one has come, the
   *  sound is led to it. The first frames behind a loss are decoded with estimates of what the lost
   *  ones left behind. Without losses the samples are those of QUEL_CONCEAL_DEFERRED. */
  QUEL_CONCEAL_IMMEDIATE = 0,
  /** Exactly as the plug-in's Decode: nothing comes out for a lost frame until a frame is received
   *  again, then at most five are made up, with that frame's parameters at hand. */
  QUEL_CONCEAL_DEFERRED = 1
};

/** Set by QUEL_DECODER_OPTIONS. */
typedef struct quel_decoder_options {
  size_t size;     /**< sizeof(quel_decoder_options) */
  int flavor;      /**< QUEL_FLAVOR_...; kept for the stream's life */
  int concealment; /**< QUEL_CONCEAL_... */
  /** 0 or 1. With 1 a postfilter makes voiced speech sound cleaner, in flavors 2 and 3: their sound
   *  is then not bit for bit the plug-in's. In flavors 0 and 1, where none helps, nothing changes.
   */
  int enhance;
  int reserved[1]; /**< 0 */
} quel_decoder_options;

/** Initialises a quel_decoder_options: immediate concealment, no enhancement. */
#define QUEL_DECODER_OPTIONS(flavor)                                     \
  {                                                                      \
    sizeof(quel_decoder_options), (flavor), QUEL_CONCEAL_IMMEDIATE, 0, { \
      0                                                                  \
    }                                                                    \
  }

/** Bytes that an encoder with these options takes, at most 28 KiB, or 16 KiB at 8 kHz; with effort
 *  above 0 at most 96 KiB. Errors: ARGUMENT, OPTIONS, FLAVOR. */
int quel_encoder_size(const quel_encoder_options* options);
/** Makes an encoder in the caller's memory.
 *
 *  memory   [0..bytes-1] aligned as max_align_t; the stream's, until the caller takes it back
 *  bytes    quel_encoder_size(options) or more
 *
 *  QUEL_OK and a stream, whose address is `memory`, in *encoder; else both are left as they were.
 *  Errors: ARGUMENT, OPTIONS, FLAVOR, ALIGNMENT, MEMORY. */
int quel_encoder_init(void* memory, size_t bytes, const quel_encoder_options* options,
                      quel_encoder** encoder);
/** Creates an encoder. QUEL_OK and a stream in *encoder; else *encoder is left as it was.
 *  Errors: ARGUMENT, OPTIONS, FLAVOR, MEMORY. */
int quel_encoder_create(const quel_encoder_options* options, quel_encoder** encoder);
/** Destroys an encoder that create made. Of one in the caller's memory it frees nothing. Null is
 *  allowed. */
void quel_encoder_destroy(quel_encoder* encoder);
/** Back to the state after create. Error: ARGUMENT. */
int quel_encoder_reset(quel_encoder* encoder);
/** The flavor given at creation. Error: ARGUMENT. */
int quel_encoder_flavor(const quel_encoder* encoder);
/** The effort given at creation. Error: ARGUMENT. */
int quel_encoder_effort(const quel_encoder* encoder);

/** Codes one unit.
 *
 *  pcm       [0..samples-1] 16-bit samples at the flavor's rate
 *  samples   quel_samples_per_unit(flavor), no other count
 *  unit      [0..bytes_per_unit-1] written
 *  capacity  bytes that `unit` can hold
 *
 *  Returns the bytes written. Errors: ARGUMENT, LENGTH, CAPACITY. */
int quel_encode(quel_encoder* encoder, const int16_t* pcm, size_t samples, uint8_t* unit,
                size_t capacity);

/** Bytes that coding so many samples gives. Errors: ARGUMENT; LENGTH where these are not whole
 *  units. */
int64_t quel_encode_units_bytes(const quel_encoder* encoder, size_t samples);

/** Codes any number of units, as quel_encode called for each.
 *
 *  pcm       [0..samples-1] 16-bit samples at the flavor's rate; may be null with 0 samples
 *  samples   any number of whole units, none included
 *  units     written, one unit behind the other; may be null with 0 samples
 *  capacity  bytes that `units` can hold, at least quel_encode_units_bytes
 *
 *  Returns the bytes written. Errors: ARGUMENT, LENGTH, CAPACITY. */
int64_t quel_encode_units(quel_encoder* encoder, const int16_t* pcm, size_t samples, uint8_t* units,
                          size_t capacity);

/** The same from samples of -1..1: each becomes the 16-bit sample nearest to 32768 times it, the
 * even one of two as near; what is beyond -32768 or 32767 becomes that, and what is no number
 * becomes 0. */
int64_t quel_encode_units_float(quel_encoder* encoder, const float* pcm, size_t samples,
                                uint8_t* units, size_t capacity);

/** Whether there is speech in the unit that was coded last: 1, or 0 where it holds nothing but the
 *  background. 1 before the first unit; after a call of many units it tells of the last of them. It
 *  is found from what the coder computes anyway, adds no delay and does not change a unit. A pause
 *  counts as speech for its first fifth of a second. Error: ARGUMENT. */
int quel_encoder_voice_active(const quel_encoder* encoder);
/** Whether the unit that was coded last has to be sent: 0 where a receiver does as well without it
 *  that is told QUEL_NOT_SENT in its place. Units with speech are needed, and of those without one
 *  every 160 ms, to the nearest unit, or as soon as the background changes. The rule takes for
 *  granted that whatever is needed is sent. Error: ARGUMENT. */
int quel_encoder_unit_needed(const quel_encoder* encoder);

/** Bytes that a decoder with these options takes, at most 14 KiB.
 *  Errors: ARGUMENT, OPTIONS, FLAVOR. */
int quel_decoder_size(const quel_decoder_options* options);
/** Makes a decoder in the caller's memory, as quel_encoder_init.
 *  Errors: ARGUMENT, OPTIONS, FLAVOR, ALIGNMENT, MEMORY. */
int quel_decoder_init(void* memory, size_t bytes, const quel_decoder_options* options,
                      quel_decoder** decoder);
/** Creates a decoder, as quel_encoder_create. Errors: ARGUMENT, OPTIONS, FLAVOR, MEMORY. */
int quel_decoder_create(const quel_decoder_options* options, quel_decoder** decoder);
/** Destroys a decoder, as quel_encoder_destroy. */
void quel_decoder_destroy(quel_decoder* decoder);
/** Back to the state after create. Error: ARGUMENT. */
int quel_decoder_reset(quel_decoder* decoder);
/** The flavor given at creation. Error: ARGUMENT. */
int quel_decoder_flavor(const quel_decoder* decoder);
/** The most samples that one quel_decode of this stream can give: a unit's with immediate, five
 *  frames more with deferred concealment. Error: ARGUMENT. */
int quel_decoder_max_samples(const quel_decoder* decoder);

/** For `received`: every frame of the unit arrived. */
#define QUEL_ALL_RECEIVED 0xffffffffu

/** For `received`, alone: the sender left the unit out on purpose, since it held nothing but the
 *  background (quel_encoder_unit_needed). That is no loss: the decoder plays noise like what it
 *  heard last, as loud and of the same color, for as long as it is told so. Where it has heard
 *  nothing yet, the unit counts as lost. With either concealment such a unit gives its samples at
 *  once, after those of frames lost before it. */
#define QUEL_NOT_SENT 0x80u

/** Decodes one unit.
 *
 *  unit      [0..bytes-1] a coded unit; may be null with bytes 0 where no frame arrived
 *  bytes     quel_bytes_per_unit(flavor), no other count
 *  received  bit n set: frame n of the unit arrived; bits past the unit's frames are not looked at.
 *            QUEL_NOT_SENT and nothing else: see there
 *  pcm       [0..result-1] written
 *  capacity  samples that `pcm` can hold; quel_decoder_max_samples is always enough
 *
 *  Returns the samples written, 0 where deferred concealment has nothing to give yet. Any bits
 *  decode to some sound; there is no such thing as a wrong unit. Errors: ARGUMENT, LENGTH,
 *  CAPACITY. */
int quel_decode(quel_decoder* decoder, const uint8_t* unit, size_t bytes, uint32_t received,
                int16_t* pcm, size_t capacity);

/** The most samples that decoding so many bytes can give: their own with immediate concealment,
 * five frames more with deferred. Errors: ARGUMENT; LENGTH where these are not whole units, or
 * where the samples would be more than 63 bits count. */
int64_t quel_decode_units_samples(const quel_decoder* decoder, size_t bytes);

/** Decodes any number of units, as quel_decode called for each.
 *
 *  units     [0..bytes-1] coded units, one behind the other; of those that did not arrive the bytes
 *            are not looked at. May be null where no frame arrived
 *  bytes     any number of whole units, none included; the lost ones count
 *  received  one byte for each frame of the units, zero where it was lost, QUEL_NOT_SENT where it
 *            was not sent, any other value where it arrived; null: all arrived
 *  pcm       [0..result-1] written
 *  capacity  samples that `pcm` can hold; quel_decode_units_samples is always enough
 *
 *  Returns the samples written. Errors: ARGUMENT, LENGTH, CAPACITY. */
int64_t quel_decode_units(quel_decoder* decoder, const uint8_t* units, size_t bytes,
                          const uint8_t* received, int16_t* pcm, size_t capacity);

/** The same to samples of -1..1: the 16-bit ones divided by 32768, which is exact. */
int64_t quel_decode_units_float(quel_decoder* decoder, const uint8_t* units, size_t bytes,
                                const uint8_t* received, float* pcm, size_t capacity);

/** What became of a decoder's frames since it was made or reset. The struct may grow at its end. */
typedef struct quel_decoder_counts {
  size_t size;        /**< sizeof(quel_decoder_counts) */
  uint64_t decoded;   /**< frames that arrived */
  uint64_t concealed; /**< frames that were lost and made up for; not those of which deferred
                           concealment gave nothing */
  uint64_t cleared;   /**< frames of any kind of which a part came out absurdly loud and was
                           silenced */
  uint64_t not_sent;  /**< frames that were not sent: noise */
} quel_decoder_counts;

/** Initialises a quel_decoder_counts. */
#define QUEL_DECODER_COUNTS \
  { sizeof(quel_decoder_counts), 0, 0, 0, 0 }

/** Fills in `counts`. Flavor 2 counts a frame when it is given, one frame before it is heard.
 *  Errors: ARGUMENT; OPTIONS for a size that no version had. */
int quel_decoder_statistics(const quel_decoder* decoder, quel_decoder_counts* counts);

/* ---- Receivers -------------------------------------------------------------------------------
 *
 * A receiver stands between a network and a sound card. Push each packet when it comes, in whatever
 * order and however late, and pull exactly as many samples as the card asks for, whenever it asks.
 * It decodes, makes up for what is missing, and keeps sound waiting for as long as the network's
 * delays vary, no longer: it shortens and lengthens the wait by a few milliseconds at a time, in
 * pauses or where speech repeats itself. Clocks of sender and card that differ are made up for in
 * the same way.
 *
 * A receiver has no clock and no thread of its own: it lives by the samples that are pulled. Calls
 * to one receiver must not run at once, so a program that pushes and pulls on two threads needs a
 * lock around both. Memory, copies and destruction are as with other streams.
 *
 * The numbers are those of RTP (RFC 3550, section 5.1), and what counts as the same stream, as lost
 * and as jitter follows its appendix A. Any transport that counts packets and samples will do.
 */

typedef struct quel_receiver quel_receiver; /**< made by quel_receiver_create or _init */

/** Set by QUEL_RECEIVER_OPTIONS. */
typedef struct quel_receiver_options {
  size_t size;     /**< sizeof(quel_receiver_options) */
  int flavor;      /**< QUEL_FLAVOR_...; kept for the receiver's life */
  int least_delay; /**< ms that sound waits at least, 0..1000 */
  int most_delay;  /**< ms that it waits at most, least_delay..1000; the same number for a wait that
                        does not follow the network */
  int reserved[1]; /**< 0 */
} quel_receiver_options;

/** Initialises a quel_receiver_options: a wait of 0 to 400 ms. */
#define QUEL_RECEIVER_OPTIONS(flavor)                  \
  {                                                    \
    sizeof(quel_receiver_options), (flavor), 0, 400, { \
      0                                                \
    }                                                  \
  }

/** Bytes that a receiver with these options takes, at most 48 KiB with the bounds of
 *  QUEL_RECEIVER_OPTIONS. Errors: ARGUMENT, OPTIONS, FLAVOR. */
int quel_receiver_size(const quel_receiver_options* options);
/** Makes a receiver in the caller's memory, as quel_encoder_init. */
int quel_receiver_init(void* memory, size_t bytes, const quel_receiver_options* options,
                       quel_receiver** receiver);
/** Creates a receiver, as quel_encoder_create. Errors: ARGUMENT, OPTIONS, FLAVOR, MEMORY. */
int quel_receiver_create(const quel_receiver_options* options, quel_receiver** receiver);
/** Destroys a receiver, as quel_encoder_destroy. */
void quel_receiver_destroy(quel_receiver* receiver);
/** Back to the state after create, as for another call. Error: ARGUMENT. */
int quel_receiver_reset(quel_receiver* receiver);

/** Hands over a packet that has come.
 *
 *  sequence   number of the packet, one more with each that is sent; the lowest 16 bits count
 *  timestamp  of the packet's first sample: samples at the flavor's rate, from any start, going on
 *             through sound that is not sent. Wraps at 32 bits
 *  came       when it came: microseconds of a clock that does not jump, from any start. Only the
 *             jitter estimate and the judgement of leaps in `timestamp` look at it
 *  units      [0..bytes-1] coded units, one behind the other
 *  bytes      whole units, at least one and at most a second of them
 *
 *  Packets may come late, early, twice, in any order and not at all, with any numbers: a packet
 * that does not fit is counted and thrown away, and where two in a row begin another stream, as
 * after a restart of the sender, the receiver follows that one, from the second packet on. QUEL_OK
 * whatever becomes of the packet; quel_receiver_statistics tells. Errors: ARGUMENT, LENGTH. */
int quel_receiver_push(quel_receiver* receiver, uint32_t sequence, uint32_t timestamp,
                       uint64_t came, const uint8_t* units, size_t bytes);

/** Takes the samples that are to be played next: silence until the first packet has come and
 * waited.
 *
 *  pcm      [0..samples-1] written
 *  samples  any number, none included
 *
 *  QUEL_OK. Error: ARGUMENT. */
int quel_receiver_pull(quel_receiver* receiver, int16_t* pcm, size_t samples);
/** The same to samples of -1..1: the 16-bit ones divided by 32768, which is exact. */
int quel_receiver_pull_float(quel_receiver* receiver, float* pcm, size_t samples);

/** What became of packets and sound since the receiver was made or reset. The struct may grow at
 * its end. A packet counts as one of received, duplicated or stray. */
typedef struct quel_receiver_counts {
  size_t size;         /**< sizeof(quel_receiver_counts) */
  uint64_t received;   /**< packets that came, each once */
  uint64_t duplicated; /**< packets that had come before */
  uint64_t stray;      /**< packets whose numbers fit no stream */
  uint64_t late;       /**< packets of those received of which a unit came too late to be heard */
  uint64_t lost;       /**< packets that should have come by now and have not */
  uint64_t restarts;   /**< times that another stream took the place of the one before */
  uint64_t decoded;    /**< units heard */
  uint64_t concealed;  /**< units made up because nothing had come in time */
  uint64_t unsent;     /**< units made up that the sender had left out */
  uint64_t dropped;    /**< units that came in time and were left out, to catch up */
  uint64_t inserted;   /**< samples put in to lengthen the wait, those of concealed units aside */
  uint64_t removed;    /**< samples taken out to shorten it, those of dropped units aside */
  uint64_t delay;      /**< wait now, samples: what a packet that comes as fast as the fastest of
                            late waits before it is heard */
  uint64_t target;     /**< wait that the network asks for, samples */
  uint64_t jitter;     /**< interarrival jitter of RFC 3550, section 6.4.1, samples */
} quel_receiver_counts;

/** Initialises a quel_receiver_counts. */
#define QUEL_RECEIVER_COUNTS \
  { sizeof(quel_receiver_counts), 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0 }

/** Fills in `counts`. Errors: ARGUMENT; OPTIONS for a size that no version had. */
int quel_receiver_statistics(const quel_receiver* receiver, quel_receiver_counts* counts);

/* ---- Frames, to look into --------------------------------------------------------------------
 *
 * A coded frame is a row of indices into tables, each in a field of some bits; quel_flavor_info
 * tells how many there are and how wide. These functions take units apart, put them together, and
 * tell what the indices of a frame stand for.
 */

#define QUEL_MAX_FRAMES 2       /**< frames of a unit */
#define QUEL_MAX_FIELDS 22      /**< indices of a frame */
#define QUEL_MAX_FREQUENCIES 16 /**< frequencies of a frame */
#define QUEL_MAX_SUBFRAMES 5    /**< subframes of a frame */
#define QUEL_MAX_PULSES 10      /**< pulses of a subframe */

/** Takes a unit apart into the indices of its frames.
 *
 *  unit      [0..bytes-1] a coded unit
 *  bytes     quel_bytes_per_unit(flavor), no other count
 *  indices   [0..result-1] written, frame by frame, fields in stream order
 *  capacity  indices that `indices` can hold; QUEL_MAX_FRAMES * QUEL_MAX_FIELDS is always enough
 *
 *  Returns the indices written: frames_per_unit * fields_per_frame. Errors: FLAVOR, ARGUMENT,
 *  LENGTH, CAPACITY. */
int quel_unit_unpack(int flavor, const uint8_t* unit, size_t bytes, int32_t* indices,
                     size_t capacity);

/** Puts a unit together, the inverse of quel_unit_unpack.
 *
 *  indices   [0..count-1] of every frame of the unit
 *  count     frames_per_unit * fields_per_frame, no other count
 *  unit      written
 *  capacity  bytes that `unit` can hold
 *
 *  Returns the bytes written. Errors: FLAVOR, ARGUMENT, LENGTH, CAPACITY, RANGE. */
int quel_unit_pack(int flavor, const int32_t* indices, size_t count, uint8_t* unit,
                   size_t capacity);

/** One pulse of an algebraic codebook. */
typedef struct quel_pulse {
  int position;  /**< sample of the subframe, from 0 */
  int amplitude; /**< signed; 2 or -2 where two pulses of a track coincide */
} quel_pulse;

/** What a subframe's indices stand for. */
typedef struct quel_subframe {
  int lag;          /**< of the past excitation: whole part, samples at the flavor's rate */
  int lag_thirds;   /**< to be added to it: -1, 0 or 1 third of a sample */
  float pitch_gain; /**< of the past excitation */
  float code_gain;  /**< of the code, 16-bit scale */
  int pulse_count;  /**< of `pulses`; pulses that cancel each other do not count */
  quel_pulse pulses[QUEL_MAX_PULSES]; /**< the code, by rising position */
} quel_subframe;

/** What a frame's indices stand for. The struct may grow at its end. */
typedef struct quel_frame {
  size_t size;         /**< sizeof(quel_frame) */
  int frequency_count; /**< of `frequencies`: 10, or 16 of flavor 3; 0 of a lost frame */
  int subframe_count;  /**< of `subframes`: 3, 3, 5, 2; 0 of a lost frame */
  /** Hz. The first nine immittance spectral frequencies of flavors 0 to 2 and, tenth, 650 times the
   *  last coefficient of the prediction filter; the line spectral frequencies of flavor 3. */
  float frequencies[QUEL_MAX_FREQUENCIES];
  quel_subframe subframes[QUEL_MAX_SUBFRAMES]; /**< in the order of time */
} quel_frame;

/** Initialises a quel_frame. */
#define QUEL_FRAME                   \
  {                                  \
    sizeof(quel_frame), 0, 0, {0}, { \
      {                              \
        0, 0, 0, 0, 0, {             \
          { 0, 0 }                   \
        }                            \
      }                              \
    }                                \
  }

/** Tells what a frame's indices stand for, and moves the decoder on behind that frame, as if it had
 *  been decoded and nobody listened. Most values are coded relative to what came before, losses
 *  included, so the decoder has to be given every frame of a stream in its turn; to listen too,
 * take a second decoder.
 *
 *  decoder  of the frame's flavor
 *  indices  [0..count-1] as quel_unit_unpack gives them; null: the frame is lost
 *  count    the flavor's fields_per_frame, no other count; 0 with null
 *  frame    written
 *
 *  Errors: ARGUMENT; OPTIONS for a size that no version had; LENGTH, RANGE. */
int quel_frame_describe(quel_decoder* decoder, const int32_t* indices, size_t count,
                        quel_frame* frame);

/* ---- Plug-in functions -----------------------------------------------------------------------
 *
 * One encoder and one decoder per process; one thread at a time.
 *
 * To encode: SetFlavor, InitEncoder, any number of Encode, FreeEncoder.
 *
 * To decode: InitDecoder while another flavor than the one to decode is selected, or none, as in a
 * fresh process; then SetFlavor, any number of Decode, FreeDecoder. So SetFlavor(another),
 * InitDecoder, SetFlavor(flavor), Decode works whatever was called before.
 *
 * The reason: a process has the frame sizes of one flavor at a time. InitEncoder, Encode and Decode
 * prepare those of the selected flavor. InitDecoder does not: it only notes which flavor is
 * selected, and until one is prepared again, Decode takes the noted flavor's sizes for prepared.
 * InitDecoder with the flavor to decode already selected therefore works only where that flavor was
 * the last to be prepared. Otherwise Decode gives frames of the length that was prepared last, or
 * 0 samples where none was. At load, flavor 0 is noted; InitEncoder, InitDecoder and Decode without
 * any flavor selected note none.
 */

/** Samples that one Decode gives at most, whatever the flavor: 37 frames of 240. */
#define QUEL_PLUGIN_MAX_SAMPLES 8880

uint32_t GetNumberOfFlavors(void);   /**< 4 */
uint32_t GetNumberOfQNFlavors(void); /**< 4 */

/** Selects a flavor. 0, or 8 for a flavor above 3, which changes nothing. */
uint32_t SetFlavor(uint16_t flavor);

/** A property of a flavor as raw bytes in host order; null and *length 0 where there is none.
 *
 *  id 1: bit rate, uint32, bit/s; 2 and 3: input and output format (uint16 code 1, two zero bytes,
 *  uint32 sampling rate in Hz, uint16 bits per sample, uint16 channels); 5: uint16 3; 6: bytes per
 *  Encode, uint32; texts with their terminating zero: 0 long name, 8 and 10 short name, 4 and 9
 *  description.
 *
 *  The bytes belong to the plug-in and live until the next call, which may come at any time, from
 * an atexit handler too. */
const void* GetFlavorProperty(uint16_t flavor, uint16_t id, uint16_t* length);

/** Prepares the encoder for the selected flavor and tells the sizes of one Encode: samples
 *  (2304, 2304, 3840, 2560) and bytes (232, 304, 296, 320). The first two arguments (sampling rate
 *  and bytes per sample, by custom) are not used. Returns 0.
 *
 *  The encoders start again, but for three memories of flavor 3, which go on from the sound before:
 *  the predictors of the spectrum and of the code gain, and two samples of the pitch search's
 *  filter. A second run of flavor 3 in a process therefore codes the same sound to other bytes. */
uint32_t InitEncoder(uint32_t rate, uint32_t sample_bytes, uint32_t* samples_per_call,
                     uint32_t* bytes_per_call);

/** Codes one call's samples. Writes nothing unless the selected flavor is the one that InitEncoder
 *  last prepared. */
void Encode(const int16_t* samples, uint8_t* bytes);
void FreeEncoder(void); /**< Frees nothing: there is nothing to free. */

/** Resets the decoders and forgets lost frames that are still to be made up. 0. Call it while
 *  another flavor than the one to decode is selected (see above).
 *
 *  Of flavor 3 these go on from the sound before: the predictors of the spectrum and of the code
 *  gain, the last spectrum, lag and gains, and the random pulses of lost frames. */
int32_t InitDecoder(void);

/** Decodes `length` bytes of coded frames.
 *
 *  bytes          [0..length-1] frames back to back; leftover bits are ignored
 *  samples        [0..*output_length/2-1] written; QUEL_PLUGIN_MAX_SAMPLES serve any call of any
 *                 flavor: 32 frames of the mask and five carried over from earlier losses, each as
 *                 long as flavor 2's where InitDecoder left the frame sizes of that flavor
 *                 (for fewer bytes, 240 samples for each whole 148 bits, and 1200 more)
 *  output_length  bytes of samples written. 16 bits; the largest call's are 17,760
 *  received       bit n set: frame n of the call arrived; frames past the 32nd count as lost. A
 *                 lost frame gives nothing until one is received; then at most five are made up
 *
 *  0, or -1 where no flavor was ever selected (*output_length is left as it was). */
int32_t Decode(const uint8_t* bytes, uint16_t length, int16_t* samples, uint16_t* output_length,
               uint32_t received);
void FreeDecoder(void); /**< Frees nothing. */

/** Two scratch areas of 8192 bytes, never freed, for clients that want them on the heap: the first
 *  becomes this thread's working stack, the second's top is returned (null without memory, and the
 *  stack stays where it was). */
void* init_malloc(void);

/** "6500,8500,5000,16000": nominal bit rates of flavors 0 to 3. */
extern const char Bandwidth[22];

/* Switches of the process-wide wideband codec; streams do not look at them. */

/** Nonzero: the decoder treats every frame's line spectral frequencies as lost. 0 at load. */
extern int32_t bad_lsf_ind;
/** Nonzero: the decoder treats every pitch lag as lost. 0 at load. */
extern int32_t bad_pitch_ind;
/** Track rotations that the 45-bit codebook search tries, 1..5 (other values act as the nearest of
 *  these). 2 at load; more finds better pulses and takes longer. */
extern int32_t nb_iter_selected;
/** Nonzero: the 45-bit codebook search starts its running vector from the negated signs instead of
 *  zero. 0 at load; it costs 5 to 7 dB and is here for comparison only. */
extern int32_t running_vector_from_signs;

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* QUELCODEC_QUELCODEC_H_ */
