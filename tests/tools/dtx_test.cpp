// Files with units that were not sent.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <quelcodec/quelcodec.hpp>
#include <span>
#include <stdexcept>
#include <vector>

#include "support/signals.h"
#include "tools/ogg_decoder.h"
#include "tools/ogg_info.h"
#include "tools/ogg_reader.h"
#include "tools/ogg_units.h"
#include "tools/ogg_writer.h"

namespace quel::tools {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Pcm = std::vector<std::int16_t>;
using test::Random;

constexpr std::size_t unit_bytes = 19;

TEST(OggUnits, PacketsGiveBackTheirRuns) {
  Random random(1);
  for (int trial = 0; trial < 300; ++trial) {
    std::vector<bool> sent(static_cast<std::size_t>(random.integer(1, 64)));
    const int share = random.integer(0, 10);
    for (std::size_t u = 0; u < sent.size(); ++u) sent[u] = random.integer(1, 10) <= share;
    sent[static_cast<std::size_t>(random.integer(0, static_cast<int>(sent.size()) - 1))] = true;
    Bytes units;
    for (const bool one : sent) {
      for (std::size_t k = 0; one && k < unit_bytes; ++k) {
        units.push_back(static_cast<std::uint8_t>(random.bits() >> 24));
      }
    }
    const Bytes packet = pack_units(sent, units);
    ASSERT_EQ(count_units(packet, unit_bytes, true), sent.size());
    std::vector<bool> found;
    Bytes bytes;
    for (std::uint64_t at = 0;;) {
      const UnitRun run = run_at(packet, unit_bytes, at);
      if (run.units == 0) break;
      found.insert(found.end(), static_cast<std::size_t>(run.units), run.sent);
      bytes.insert(bytes.end(), run.bytes.begin(), run.bytes.end());
      at += run.units;
    }
    EXPECT_EQ(found, sent);
    EXPECT_EQ(bytes, units);
  }
}

TEST(OggUnits, PacketsOfUnitsAloneHaveNoMap) {
  const Bytes units(3 * unit_bytes, 7);
  EXPECT_EQ(pack_units({true, true, true}, units), units);
  EXPECT_EQ(count_units(units, unit_bytes, false), 3u);
}

TEST(OggUnits, WhatIsNoPacketIsRefused) {
  const Bytes sound = pack_units({true, false, true}, Bytes(2 * unit_bytes, 7));
  EXPECT_EQ(count_units(sound, unit_bytes, true), 3u);
  EXPECT_FALSE(count_units(sound, unit_bytes, false));
  EXPECT_FALSE(count_units(Bytes{}, unit_bytes, true));
  for (const int units : {0, 2, 4, 65, 255}) {  // another number than there are
    Bytes packet = sound;
    packet[0] = static_cast<std::uint8_t>(units);
    EXPECT_EQ(count_units(packet, unit_bytes, true).has_value(), units == 4) << units;
  }
  Bytes packet = sound;
  packet[1] |= 8;  // a fourth unit, behind the last
  EXPECT_FALSE(count_units(packet, unit_bytes, true));
  packet = sound;
  packet.pop_back();
  EXPECT_FALSE(count_units(packet, unit_bytes, true));
  EXPECT_FALSE(count_units(Bytes{8, 0}, unit_bytes, true));  // nothing was sent
  EXPECT_FALSE(count_units(Bytes{1}, unit_bytes, true));     // cut within the map
  EXPECT_THROW(pack_units(std::vector<bool>(65), Bytes(unit_bytes)), std::invalid_argument);
  EXPECT_THROW(pack_units({false, false}, {}), std::invalid_argument);
}

class Dtx : public ::testing::TestWithParam<int> {
 protected:
  int flavor() const { return GetParam(); }
  std::size_t bytes() const { return static_cast<std::size_t>(quel_bytes_per_unit(flavor())); }
  std::size_t samples() const { return static_cast<std::size_t>(quel_samples_per_unit(flavor())); }
  // A second of noise, of speech, of noise, of speech: whole units, the last one sent.
  void code() {
    const int rate = quel_sampling_rate(flavor());
    Pcm pcm;
    for (std::uint64_t part = 0; part < 4; ++part) {
      if (part % 2 == 0) {
        for (const float x : test::noise(2 * rate, part, 50.0)) {
          pcm.push_back(static_cast<std::int16_t>(x));
        }
      } else {
        const Pcm speech = test::speech_like_pcm(rate, part, rate);
        pcm.insert(pcm.end(), speech.begin(), speech.end());
      }
    }
    Encoder encoder(flavor());
    for (std::size_t at = 0; at + samples() <= pcm.size(); at += samples()) {
      units.push_back(encoder.encode(std::span(pcm).subspan(at, samples())));
      sent.push_back(encoder.unit_needed());
    }
    sent.back() = true;
  }
  Bytes file(bool sparse, int page_ms = 500) const {
    Bytes out;
    OggHead head = make_head(flavor(), 0);
    head.unsent = sparse;
    OggWriterOptions options;
    options.page_ms = page_ms;
    OggWriter writer([&out](auto page) { out.insert(out.end(), page.begin(), page.end()); }, head,
                     make_tags(), options);
    for (std::size_t u = 0; u < units.size(); ++u) {
      if (sent[u] || !sparse) {
        writer.write(units[u]);
      } else {
        writer.write_unsent();
      }
    }
    writer.finish(units.size() * samples() - head.pre_skip);
    return out;
  }
  // What a stream gives that is told the same.
  Pcm expected(Concealment concealment = Concealment::immediate) const {
    Decoder decoder(flavor(), concealment);
    Pcm pcm;
    for (std::size_t u = 0; u < units.size(); ++u) {
      const Pcm part = decoder.decode(units[u], sent[u] ? QUEL_ALL_RECEIVED : QUEL_NOT_SENT);
      pcm.insert(pcm.end(), part.begin(), part.end());
    }
    pcm.erase(pcm.begin(), pcm.begin() + quel_delay(flavor()));
    return pcm;
  }
  static Pcm heard(const Bytes& file, OggConcealment concealment = OggConcealment::immediate) {
    MemorySource source(file);
    OggReader reader(source, "file");
    OggDecodeOptions options;
    options.concealment = concealment;
    OggDecoder decoder(reader, options);
    Pcm pcm;
    for (auto part = decoder.next(); !part.empty(); part = decoder.next()) {
      pcm.insert(pcm.end(), part.begin(), part.end());
    }
    EXPECT_FALSE(reader.report().damaged());
    EXPECT_EQ(decoder.lost_frames(), 0u);
    return pcm;
  }

  std::vector<Bytes> units;
  std::vector<bool> sent;
};
INSTANTIATE_TEST_SUITE_P(Flavors, Dtx, ::testing::Range(0, 4));

TEST_P(Dtx, AFileSoundsAsAStreamThatIsToldTheSame) {
  code();
  ASSERT_GT(std::count(sent.begin(), sent.end(), false), 10);
  EXPECT_EQ(heard(file(true)), expected());
  EXPECT_EQ(heard(file(true, 60)), expected());
  EXPECT_EQ(heard(file(true), OggConcealment::none), expected());
  EXPECT_EQ(heard(file(true), OggConcealment::deferred), expected(Concealment::deferred));
}

TEST_P(Dtx, HeaderSaysSoAndOtherFilesStayAsTheyWere) {
  code();
  const Bytes sparse = file(true), plain = file(false);
  EXPECT_LT(sparse.size(), plain.size());
  MemorySource one(sparse), other(plain);
  const OggInfo with = [&] {
    OggReader reader(one, "");
    return read_info(reader);
  }();
  const OggInfo without = [&] {
    OggReader reader(other, "");
    return read_info(reader);
  }();
  EXPECT_EQ(with.head.version, 0x11);
  EXPECT_TRUE(with.head.unsent);
  EXPECT_EQ(pack_head(with.head).size(), 22u);
  const auto unsent = static_cast<std::uint64_t>(std::count(sent.begin(), sent.end(), false));
  EXPECT_EQ(with.report.unsent_units, unsent);
  EXPECT_EQ(with.report.units + unsent, units.size());
  EXPECT_EQ(with.samples, without.samples);
  EXPECT_EQ(without.head.version, 0x10);
  EXPECT_FALSE(without.head.unsent);
  EXPECT_EQ(pack_head(without.head).size(), 21u);
  EXPECT_EQ(without.report.unsent_units, 0u);
}

// A page that is lost is a loss, whatever it held.
TEST_P(Dtx, LostPagesAreToldFromUnitsThatWereNotSent) {
  code();
  Bytes broken = file(true);
  std::vector<std::size_t> pages;
  for (std::size_t at = 0; at + 4 <= broken.size(); ++at) {
    if (std::equal(broken.begin() + static_cast<std::ptrdiff_t>(at),
                   broken.begin() + static_cast<std::ptrdiff_t>(at) + 4, "OggS")) {
      pages.push_back(at);
    }
  }
  ASSERT_GT(pages.size(), 6u);
  broken.erase(broken.begin() + static_cast<std::ptrdiff_t>(pages[4]),
               broken.begin() + static_cast<std::ptrdiff_t>(pages[5]));
  MemorySource source(broken);
  OggReader reader(source, "");
  std::uint64_t counts[4] = {};
  for (OggEvent event = reader.next(); event.kind != OggEvent::Kind::end; event = reader.next()) {
    counts[static_cast<int>(event.kind)] += event.units;
  }
  EXPECT_GT(counts[static_cast<int>(OggEvent::Kind::lost)], 0u);
  EXPECT_GT(counts[static_cast<int>(OggEvent::Kind::unsent)], 0u);
  EXPECT_EQ(counts[0] + counts[1] + counts[2], units.size());
  EXPECT_EQ(reader.report().holes, 1u);
}

TEST_P(Dtx, SeekingFindsThePlace) {
  code();
  const Bytes bytes = file(true);
  MemorySource source(bytes);
  OggReader reader(source, "");
  const Pcm whole = heard(bytes);
  OggDecoder decoder(reader);
  for (const std::size_t from : {whole.size() / 7, whole.size() / 2, whole.size() - 100}) {
    decoder.seek(from);
    std::size_t count = 0;
    for (auto part = decoder.next(); !part.empty(); part = decoder.next()) count += part.size();
    EXPECT_EQ(count, whole.size() - from);
  }
}

TEST_P(Dtx, WriterRefusesWhatNoReaderWouldTake) {
  code();
  OggHead head = make_head(flavor(), 0);
  OggWriter plain([](auto) {}, head, make_tags());
  EXPECT_THROW(plain.write_unsent(), std::invalid_argument);
  head.unsent = true;
  OggWriter sparse([](auto) {}, head, make_tags());
  sparse.write(units[0]);
  EXPECT_THROW(
      {
        for (int u = 0; u < 200; ++u) sparse.write_unsent();
        sparse.write(units[0]);
        sparse.finish(201 * samples() - head.pre_skip);
      },
      std::invalid_argument);
}

}  // namespace
}  // namespace quel::tools
