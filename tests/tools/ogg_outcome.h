#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "tools/ogg_reader.h"
#include "tools/ogg_support.h"

namespace quel::test {

/// Events of a stream joined: each unit, or an empty one where it was lost.
struct Outcome {
  std::vector<Bytes> units;
  std::optional<std::uint64_t> end;
  tools::OggReport report;
  std::uint64_t lost() const {
    return static_cast<std::uint64_t>(std::count(units.begin(), units.end(), Bytes()));
  }
};

inline Outcome read_on(tools::OggReader& reader) {
  using Kind = tools::OggEvent::Kind;
  Outcome outcome;
  const auto size = static_cast<std::size_t>(quel_bytes_per_unit(reader.head().flavor));
  for (;;) {
    const tools::OggEvent event = reader.next();
    if (event.kind == Kind::end) break;
    EXPECT_GT(event.units, 0u);
    for (std::size_t i = 0; i < event.units; ++i) {
      if (event.kind == Kind::lost) {
        outcome.units.emplace_back();
      } else {
        const auto unit = event.bytes.subspan(i * size, size);
        outcome.units.emplace_back(unit.begin(), unit.end());
      }
    }
    EXPECT_EQ(event.bytes.size(), event.kind == Kind::lost ? 0 : event.units * size);
  }
  EXPECT_EQ(reader.next().kind, Kind::end);
  reader.drain();
  outcome.end = reader.end();
  outcome.report = reader.report();
  return outcome;
}

inline Outcome read_all(const Bytes& file) {
  tools::MemorySource source(file);
  tools::OggReader reader(source, "f");
  return read_on(reader);
}

/// Units that tell their own number.
inline std::vector<Bytes> numbered_units(int flavor, std::size_t n) {
  std::vector<Bytes> units(n, Bytes(static_cast<std::size_t>(quel_bytes_per_unit(flavor))));
  for (std::size_t i = 0; i < n; ++i) put_number(units[i], 0, i + 1, 2);
  return units;
}

/// Whether every unit is in its place or lost.
inline bool in_place(const std::vector<Bytes>& found, const std::vector<Bytes>& units) {
  if (found.size() > units.size()) return false;
  for (std::size_t i = 0; i < found.size(); ++i) {
    if (!found[i].empty() && found[i] != units[i]) return false;
  }
  return true;
}

}  // namespace quel::test
