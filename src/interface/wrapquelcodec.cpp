#include "bitstream/flavor.h"
#include "interface/process_codec.h"
#include "interface/property.h"
#include "quelcodec/quelcodec.h"

namespace quel {
namespace {

// Flavor that InitEncoder last prepared; flavor_count for none.
std::uint16_t prepared_flavor = flavor_count;

// Never destroyed: a host may still ask while the process exits.
CProp* pPropertiesObject = nullptr;

}  // namespace
}  // namespace quel

using namespace quel;

uint32_t GetNumberOfFlavors() {
  return flavor_count;
}

uint32_t GetNumberOfQNFlavors() {
  return GetNumberOfFlavors();
}

uint32_t SetFlavor(uint16_t flavor) {
  if (flavor >= flavor_count) return 8;
  CurFlavor = flavor;
  return 0;
}

const void* GetFlavorProperty(uint16_t flavor, uint16_t id, uint16_t* length) {
  if (pPropertiesObject == nullptr) pPropertiesObject = CProp::Create().release();
  if (pPropertiesObject == nullptr) {
    *length = 0;
    return nullptr;
  }
  return pPropertiesObject->GetProperty(flavor, id, length);
}

uint32_t InitEncoder(uint32_t, uint32_t, uint32_t* samples_per_call, uint32_t* bytes_per_call) {
  set_mode(CurFlavor);
  prepared_flavor = CurFlavor;
  framesPerCall = units_per_call(framesPerCycle);
  *samples_per_call = static_cast<uint32_t>(framesPerCall * len_frame * framesPerCycle);
  *bytes_per_call = static_cast<uint32_t>(framesPerCall * outputBytes);
  return static_cast<uint32_t>(initVXEncoder());
}

void Encode(const int16_t* samples, uint8_t* bytes) {
  // Coding another flavor than the one whose sizes the host was told would overrun its buffers.
  if (CurFlavor != prepared_flavor || CurFlavor >= flavor_count) return;
  set_mode(CurFlavor);  // a decoder may have changed the record since
  for (std::int32_t k = 0; k < framesPerCall; ++k) {
    VXEncode(samples + k * len_frame * framesPerCycle, bytes + k * outputBytes, CurFlavor);
  }
}

void FreeEncoder() {
  freeVXDecoder();
}

int32_t InitDecoder() {
  initFlavor = CurFlavor;
  const std::int32_t first = initVXDecoder();
  const std::int32_t second = initVX5Decoder();
  return first == 0 && second == 0 ? 0 : -1;
}

int32_t Decode(const uint8_t* bytes, uint16_t length, int16_t* samples, uint16_t* output_length,
               uint32_t received) {
  if (initFlavor != CurFlavor) set_mode(CurFlavor);
  std::int32_t produced = 0;
  const Flavor* facts = find_flavor(CurFlavor);
  if (facts == nullptr) return -1;
  switch (facts->coder) {
    case Coder::swt:
      VXDecode(bytes, samples, length, &received, CurFlavor, &produced);
      break;
    case Coder::five_k:
      VX5Decode(bytes, samples, length, &received, CurFlavor, &produced);
      break;
    case Coder::wideband:
      VX16Decode(bytes, samples, length, &received, CurFlavor, &produced);
      break;
  }
  *output_length = static_cast<uint16_t>(produced * 2);
  return 0;
}

void FreeDecoder() {
  freeVXDecoder();
}
