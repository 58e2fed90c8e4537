#include <quelcodec/quelcodec.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

void encode(std::FILE* input, std::FILE* output, int flavor) {
  std::uint32_t samples_per_call = 0, bytes_per_call = 0;
  SetFlavor(static_cast<std::uint16_t>(flavor));
  InitEncoder(static_cast<std::uint32_t>(quel_sampling_rate(flavor)), 2, &samples_per_call,
              &bytes_per_call);
  std::vector<std::int16_t> samples(samples_per_call);
  std::vector<std::uint8_t> bytes(bytes_per_call);
  while (std::fread(samples.data(), 2, samples.size(), input) == samples.size()) {
    Encode(samples.data(), bytes.data());
    std::fwrite(bytes.data(), 1, bytes.size(), output);
  }
  FreeEncoder();
}

// Blocks of 20 bytes whatever the flavor, of which only the first frame counts as received: this
// fits flavor 3; of the others it decodes a block's first frame and drops the bits after it.
void decode(std::FILE* input, std::FILE* output, int flavor) {
  // This order is required: the first Decode then finds another flavor than InitDecoder saw and
  // takes over its frame sizes.
  InitDecoder();
  SetFlavor(static_cast<std::uint16_t>(flavor));
  std::array<std::uint8_t, 20> block{};
  std::array<std::int16_t, 2048> samples{};
  while (std::fread(block.data(), 1, block.size(), input) == block.size()) {
    std::uint16_t output_bytes = 0;
    Decode(block.data(), static_cast<std::uint16_t>(block.size()), samples.data(), &output_bytes,
           1);
    std::fwrite(samples.data(), 1, output_bytes, output);
  }
  FreeDecoder();
}

/// 0..3, or -1 where `text` is not exactly one of these digits.
int parse_flavor(const char* text) {
  return std::strlen(text) == 1 && text[0] >= '0' && text[0] <= '3' ? text[0] - '0' : -1;
}

int run(const char* input_name, const char* output_name, const char* flavor_text,
        const char* flag) {
  std::FILE* input = std::fopen(input_name, "rb");
  if (input == nullptr) {
    std::printf("Error opening input file  %s !!\n", input_name);
    return 0;
  }
  std::printf(" Input file:      %s\n", input_name);
  std::FILE* output = std::fopen(output_name, "wb");
  if (output == nullptr) {
    std::printf("Error opening output bitstream file %s !!\n", output_name);
    std::fclose(input);
    return 0;
  }
  std::printf(" Output file:  %s\n", output_name);
  const int flavor = parse_flavor(flavor_text);
  if (flavor < 0) {
    std::printf("invalid flavor\n");
  } else if (std::strcmp(flag, "0") == 0) {
    encode(input, output, flavor);
  } else {
    decode(input, output, flavor);
  }
  std::fclose(input);
  return std::fclose(output);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::printf("Usage : quelo input output flavor flag (encode/decode)\n");
    return 1;
  }
  return run(argv[1], argv[2], argv[3], argv[4]);
}
