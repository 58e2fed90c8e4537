#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quel::bench {

/// Codes unit by unit.
class UnitEncoder {
 public:
  virtual ~UnitEncoder() = default;

  /// pcm    one unit of samples
  /// bytes  [0..most_bytes-1] of the coder
  ///
  /// Returns the bytes written.
  virtual std::size_t encode(const std::int16_t* pcm, std::uint8_t* bytes) = 0;
};

/// Decodes unit by unit.
class UnitDecoder {
 public:
  virtual ~UnitDecoder() = default;

  /// Writes one unit of samples.
  virtual void decode(const std::uint8_t* bytes, std::size_t count, std::int16_t* pcm) = 0;
};

/// A coder at one setting, this library's or a peer's.
struct Coder {
  std::string name;
  int rate;                ///< samples per second
  std::size_t samples;     ///< of a unit
  std::size_t most_bytes;  ///< of a unit
  /// Each throws std::runtime_error where it fails.
  std::function<std::unique_ptr<UnitEncoder>()> make_encoder;
  std::function<std::unique_ptr<UnitDecoder>()> make_decoder;
  int flavor = -1;  ///< of this library's coders
};

/// A flavor of this library, "flavor 0" and so on.
Coder own_coder(int flavor);

Coder amr_nb();        ///< opencore-amrnb, 7.95 kbit/s
Coder amr_wb();        ///< vo-amrwbenc and opencore-amrwb, 15.85 kbit/s
Coder g729();          ///< bcg729, 8 kbit/s
Coder speex_narrow();  ///< 8 kbit/s, complexity 3
Coder speex_wide();    ///< 16.8 kbit/s, complexity 3
Coder opus(int rate);  ///< as many bit/s as samples/s, complexity 5
Coder lc3();           ///< 16 kbit/s

struct Peers {
  std::vector<Coder> coders;
  std::vector<std::string> missing;  ///< packages that were not there when this was built
};
Peers peers();

}  // namespace quel::bench
