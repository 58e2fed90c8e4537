// Packing of parameters, against packing bit by bit: fields come back cut to their widths, nothing
// outside them changes, no byte out of range is touched.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <vector>

#include "bitstream/bitno.h"
#include "bitstream/bits2prm.h"
#include "bitstream/mode.h"
#include "bitstream/prm2bits.h"
#include "bitstream/serial.h"
#include "fuzz/fuzz_input.h"

namespace {

using namespace quel;
using fuzz::FuzzInput;
using fuzz::require;
using Bytes = std::vector<std::uint8_t>;
using Words = std::vector<std::int32_t>;
using Serial = std::vector<std::int16_t>;

bool bit(const Bytes& bytes, std::int32_t i) {
  return (bytes[static_cast<std::size_t>(i / 8)] >> (i % 8) & 1) != 0;
}

std::uint32_t cut(std::int32_t value, std::int32_t bits) {
  return bits == 32 ? static_cast<std::uint32_t>(value)
                    : static_cast<std::uint32_t>(value) & ((1u << bits) - 1u);
}

Words words(FuzzInput& input, std::size_t n) {
  Words out(n);
  for (std::int32_t& word : out) word = input.number<std::int32_t>();
  return out;
}

void copy_bits(FuzzInput& input) {
  const int to = input.range(0, 40), from = input.range(0, 40), count = input.range(-1, 320);
  const auto end = [count](int start) {
    return static_cast<std::size_t>((start + std::max(count, 0) + 7) / 8);
  };
  const Bytes src = input.bytes(end(from));
  const Bytes before = input.bytes(end(to));
  Bytes dst = before;
  bitcopy(dst.data(), src.data(), to, from, count);
  for (std::int32_t i = 0; i < static_cast<std::int32_t>(8 * dst.size()); ++i) {
    const bool inside = i >= to && i < to + count;
    require(bit(dst, i) == (inside ? bit(src, i - to + from) : bit(before, i)));
  }
}

constexpr std::int32_t frame_bits[] = {116, 152, 148, 160};

// Written apart from the packing's own tables.
std::vector<std::int32_t> field_widths(int flavor) {
  if (flavor == 3) {
    return {1, 7, 8, 7, 7, 7, 9, 4, 9, 9, 9, 9, 9, 5, 6, 4, 9, 9, 9, 9, 9, 5};
  }
  std::vector<std::int32_t> widths = {6, 7, 7, 7, 5};
  const int subframes = flavor == 2 ? 5 : 3;
  for (int subframe = 0; subframe < subframes; ++subframe) {
    const bool whole_lag = subframe == 0 || (flavor == 2 && subframe == 2);
    widths.push_back(whole_lag ? 8 : 5);
    if (flavor == 2) {
      widths.push_back(10);
    } else {
      widths.insert(widths.end(), 3, flavor == 0 ? 5 : 9);
    }
    widths.push_back(7);
  }
  return widths;
}

// Bits to words and back.
void unpack_frame(FuzzInput& input, int flavor) {
  const std::int32_t used = frame_bits[flavor];
  Bytes bits = input.bytes(static_cast<std::size_t>((used + 7) / 8));
  const std::size_t count = flavor == 3 ? 23 : 21;
  Words prm(count, -1);
  binary2prm(prm.data(), bits.data(), flavor);
  require(prm[0] == (flavor == 3 ? 0 : flavor));
  require(std::all_of(prm.begin(), prm.end(), [](int word) { return word >= 0 && word < 1024; }));
  const Bytes fill = input.bytes(bits.size());
  Bytes again = fill;
  prm2binary(prm.data() + (flavor == 3 ? 1 : 0), again.data(), flavor);
  for (std::int32_t i = 0; i < static_cast<std::int32_t>(8 * bits.size()); ++i) {
    require(bit(again, i) == bit(i < used ? bits : fill, i));
  }
}

// Any words to bits and back: each cut to its field.
void pack_frame(FuzzInput& input, int flavor) {
  const std::size_t size = static_cast<std::size_t>((frame_bits[flavor] + 7) / 8);
  const std::size_t unsent = flavor == 3 ? 0 : 1;
  const std::vector<std::int32_t> widths = field_widths(flavor);
  const Words prm = words(input, widths.size() + unsent);
  Bytes bits(size);
  prm2binary(prm.data(), bits.data(), flavor);
  Words out(widths.size() + 1, -1);
  binary2prm(out.data(), bits.data(), flavor);
  std::int32_t position = 0;
  for (std::size_t k = 0; k < widths.size(); ++k) {
    const std::uint32_t field = cut(prm[k + unsent], widths[k]);
    require(static_cast<std::uint32_t>(out[k + 1]) == field);
    for (std::int32_t i = 0; i < widths[k]; ++i, ++position) {
      require(bit(bits, position) == ((field >> i & 1u) != 0));
    }
  }
  require(position == frame_bits[flavor]);
}

void wideband_words(FuzzInput& input) {
  const std::int32_t mode = input.range(-2, 4);
  const auto fields = serial_fields(mode);
  const auto size = static_cast<std::size_t>(serial_bits(mode)) + 1;
  const Words prm = words(input, fields.size());
  Serial bits(size, 2);
  prm2bits_wb(prm.data(), bits.data(), mode);
  require(bits[0] == 0);
  require(std::all_of(bits.begin(), bits.end(), [](int word) { return word == 0 || word == 1; }));
  Words out(fields.size() + 1, -1);
  bits[0] = input.number<std::int16_t>();
  bits2prm_wb(bits.data(), out.data(), mode);
  require(out[0] == bits[0]);
  for (std::size_t k = 0; k < fields.size(); ++k) {
    require(static_cast<std::uint32_t>(out[k + 1]) == cut(prm[k], fields[k]));
  }
}

void one_number(FuzzInput& input) {
  const auto value = input.number<std::int32_t>();
  const std::int32_t count = input.range(0, 32);
  Serial bits(static_cast<std::size_t>(count), 7);
  int2bin(value, count, bits.data());
  require(static_cast<std::uint32_t>(bin2int(count, bits.data())) == cut(value, count));
  // Only a 1 is a set bit.
  std::uint32_t model = 0;
  for (std::int16_t& word : bits) {
    word = input.number<std::int16_t>();
    model = model << 1 | (word == 1 ? 1u : 0u);
  }
  require(static_cast<std::uint32_t>(bin2int(count, bits.data())) == model);
}

void swap_words(FuzzInput& input) {
  const int count = input.range(-2, 24), offset = input.range(0, 3);
  const auto swapped = static_cast<std::size_t>(4 * std::max(count, 0));
  const Bytes before = input.bytes(static_cast<std::size_t>(offset) + swapped);
  Bytes bytes = before;
  SwapIntBytes(bytes.data() + offset, count);
  for (std::size_t i = 0; i < swapped; ++i) {
    const auto at = static_cast<std::size_t>(offset) + i;
    require(bytes[at] == before[static_cast<std::size_t>(offset) + (i ^ 3u)]);
  }
  SwapIntBytes(bytes.data() + offset, count);
  require(bytes == before);
}

void set_any_mode(FuzzInput& input) {
  Mode mode;
  for (int i = 0; i < 4; ++i) {
    const Mode before = mode;
    const auto flavor = input.number<std::int32_t>() >> input.range(0, 31);
    set_mode(mode, flavor);
    require(mode.initFlavor == flavor);
    if (flavor >= 0 && flavor <= 3) {
      require(mode.prmBits == frame_bits[flavor]);
      require(mode.outputBytes * 8 == mode.prmBits * mode.framesPerCycle);
    } else {
      require(mode.len_frame == before.len_frame && mode.prmBits == before.prmBits);
    }
  }
}

// No flavor: nothing is written.
void no_flavor(FuzzInput& input) {
  const auto flavor = input.number<std::int32_t>();
  if (flavor >= 0 && flavor <= 3) return;
  Words prm = words(input, 23);
  Bytes bits = input.bytes(20);
  const Words words_before = prm;
  const Bytes bits_before = bits;
  prm2binary(prm.data(), bits.data(), flavor);
  binary2prm(prm.data(), bits.data(), flavor);
  require(prm == words_before && bits == bits_before);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  while (!input.empty()) {
    const int what = input.step();
    switch (what & 7) {
      case 0:
        copy_bits(input);
        break;
      case 1:
        unpack_frame(input, what >> 3 & 3);
        break;
      case 2:
        pack_frame(input, what >> 3 & 3);
        break;
      case 3:
        wideband_words(input);
        break;
      case 4:
        one_number(input);
        break;
      case 5:
        swap_words(input);
        break;
      case 6:
        set_any_mode(input);
        break;
      default:
        no_flavor(input);
    }
  }
  fuzz::check_seed(input);
  return 0;
}
