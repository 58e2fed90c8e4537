/* A call to oneself over UDP, to see what a receiver does: a sender codes a voice-like sound and sends
 * it to 127.0.0.1 through a bad network that this program makes up, with losses in bursts, jitter,
 * packets that overtake each other and packets that come twice; the receiver's sound card runs 200
 * ppm faster than the sender's. Time is counted, not waited for: ten minutes take a second, and the
 * same seed gives the same call.
 *
 *   loopback_call [SECONDS [SEED]] >sound.raw      16-bit samples, 8 kHz, mono
 */
#define _POSIX_C_SOURCE 200112L
#include <arpa/inet.h>
#include <quelcodec/quelcodec.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>

enum { flavor = QUEL_FLAVOR_8K5, rate = 8000, units = 2, most_under_way = 64, block = 160 };
enum { samples = 144 * units, bytes = 19 * units, head = 6, packet_bytes = head + bytes };

/* A packet on its way: sequence number (2 bytes) and timestamp (4), high bytes first, then units. */
struct packet {
  double comes; /* microseconds; 0: this place is free */
  uint8_t data[packet_bytes];
};

static uint32_t seed = 1;
static double chance(void) { /* 0..1 */
  seed = seed * 1664525u + 1013904223u;
  return (seed >> 8) / 16777216.0;
}

/* A buzz whose pitch glides, in syllables with pauses between. */
static void speak(int16_t* pcm, int n) {
  static long time;
  static double phase, level;
  for (int k = 0; k < n; ++k, ++time) {
    phase += (110 + 30.0 * (double)(time % 11000) / 11000) / rate;
    if (phase >= 1) {
      phase -= 1;
      if (time % 4000 < 2800) level = 9000; /* a third of each syllable is silent */
    }
    level *= 0.93;
    pcm[k] = (int16_t)(level + 40 * chance());
  }
}

/* Hands a packet to the network: lost, or put where it waits for its time. */
static void send_into_network(struct packet* way, const uint8_t* data, double now) {
  static int losing;
  static double last; /* packets keep their order, but for those that are overtaken */
  double comes = now + 30000 + 40000 * chance() * chance();
  losing = chance() < (losing ? 0.5 : 0.025); /* one in twenty, two in a row on average */
  if (losing) return;
  last = comes = comes > last ? comes : last;
  if (chance() < 0.02) comes += 60000; /* overtaken by the next */
  for (int copies = chance() < 0.01 ? 2 : 1; copies > 0; --copies) {
    int k = 0;
    while (k < most_under_way - 1 && way[k].comes > 0) ++k;
    way[k].comes = comes;
    memcpy(way[k].data, data, packet_bytes);
    comes += 5000;
  }
}

/* The packet that comes next, if it has come by now. */
static struct packet* next_of_network(struct packet* way, double now) {
  struct packet* first = NULL;
  for (struct packet* p = way; p < way + most_under_way; ++p) {
    if (p->comes > 0 && p->comes <= now && (!first || p->comes < first->comes)) first = p;
  }
  return first;
}

static int fail(const char* what) {
  perror(what);
  return 1;
}
static unsigned long ms(uint64_t n) { return (unsigned long)(n * 1000 / rate); }

int main(int argc, char** argv) {
  const double seconds = argc > 1 ? strtod(argv[1], NULL) : 60;
  const double card_block = 1e6 * block / (rate * 1.0002); /* microseconds */
  const quel_encoder_options encoder_options = QUEL_ENCODER_OPTIONS(flavor);
  const quel_receiver_options receiver_options = QUEL_RECEIVER_OPTIONS(flavor);
  static struct packet way[most_under_way];
  quel_encoder* encoder = NULL;
  quel_receiver* receiver = NULL;
  quel_receiver_counts counts = QUEL_RECEIVER_COUNTS;
  struct sockaddr_in address = {.sin_family = AF_INET};
  socklen_t length = sizeof address;
  uint16_t sequence = 65500; /* soon wraps, as numbers do */
  uint32_t timestamp = 4294960000u;
  double next_send = 0;
  const struct timeval patience = {1, 0};
  const int sender = socket(AF_INET, SOCK_DGRAM, 0), ear = socket(AF_INET, SOCK_DGRAM, 0);
  if (argc > 2) seed = (uint32_t)strtoul(argv[2], NULL, 10);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (sender < 0 || ear < 0 ||
      setsockopt(ear, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience) != 0 ||
      bind(ear, (struct sockaddr*)&address, sizeof address) != 0 ||
      getsockname(ear, (struct sockaddr*)&address, &length) != 0 ||
      connect(sender, (struct sockaddr*)&address, length) != 0) {
    return fail("socket");
  }
  if (quel_encoder_create(&encoder_options, &encoder) != QUEL_OK ||
      quel_receiver_create(&receiver_options, &receiver) != QUEL_OK) {
    return fail("memory");
  }

  for (double now = 0; now < 1e6 * seconds; now += card_block) {
    struct packet* packet;
    int16_t pcm[samples];
    /* The sender: everything that it has sent by now. */
    for (; next_send <= now; next_send += 1e6 * samples / rate) {
      uint8_t data[packet_bytes] = {(uint8_t)(sequence >> 8),   (uint8_t)sequence,
                                    (uint8_t)(timestamp >> 24), (uint8_t)(timestamp >> 16),
                                    (uint8_t)(timestamp >> 8),  (uint8_t)timestamp};
      speak(pcm, samples);
      quel_encode_units(encoder, pcm, samples, data + head, bytes);
      send_into_network(way, data, next_send);
      ++sequence;
      timestamp += samples;
    }
    /* The receiver's network: push what has come. */
    while ((packet = next_of_network(way, now)) != NULL) {
      uint8_t data[packet_bytes];
      if (send(sender, packet->data, packet_bytes, 0) != packet_bytes) return fail("send");
      if (recv(ear, data, sizeof data, 0) != packet_bytes) return fail("recv");
      quel_receiver_push(receiver, (uint32_t)data[0] << 8 | data[1],
                         (uint32_t)data[2] << 24 | (uint32_t)data[3] << 16 |
                             (uint32_t)data[4] << 8 | data[5],
                         (uint64_t)packet->comes, data + head, bytes);
      packet->comes = 0;
    }
    /* The receiver's sound card: pull what it asks for. */
    quel_receiver_pull(receiver, pcm, block);
    if (fwrite(pcm, sizeof *pcm, block, stdout) != block) return fail("write");
  }

  quel_receiver_statistics(receiver, &counts);
  fprintf(stderr, "%lu packets received, %lu lost, %lu late, %lu doubled; ",
          (unsigned long)counts.received, (unsigned long)counts.lost, (unsigned long)counts.late,
          (unsigned long)counts.duplicated);
  fprintf(stderr, "%lu units heard, %lu made up; now %lu ms of delay, %lu ms of jitter\n",
          (unsigned long)counts.decoded, (unsigned long)counts.concealed, ms(counts.delay),
          ms(counts.jitter));
  quel_receiver_destroy(receiver);
  quel_encoder_destroy(encoder);
  return 0;
}
