// A user's program over the C++ classes.
#include <cstdint>
#include <cstdio>
#include <quelcodec/quelcodec.hpp>
#include <vector>

int main() {
  if (quel::version() != QUEL_VERSION || quel::bitstream() != 2) return 1;
  quel::Encoder encoder(QUEL_FLAVOR_16K);
  quel::Decoder decoder(QUEL_FLAVOR_16K);
  const std::vector<std::uint8_t> unit = encoder.encode(std::vector<std::int16_t>(160));
  std::printf("%zu bytes, %zu samples\n", unit.size(), decoder.decode(unit).size());
}
