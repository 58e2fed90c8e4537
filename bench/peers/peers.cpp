#include "peers/coder.h"

namespace quel::bench {

// Of a peer whose package is missing only the declaration is there.
Peers peers() {
  Peers result;
  auto& [coders, missing] = result;
  if constexpr (QUEL_PEER_AMR_NB) {
    coders.push_back(amr_nb());
  } else {
    missing.push_back("libopencore-amrnb-dev");
  }
  if constexpr (QUEL_PEER_G729) {
    coders.push_back(g729());
  } else {
    missing.push_back("libbcg729-dev");
  }
  if constexpr (QUEL_PEER_AMR_WB) {
    coders.push_back(amr_wb());
  } else {
    missing.insert(missing.end(), {"libvo-amrwbenc-dev", "libopencore-amrwb-dev"});
  }
  if constexpr (QUEL_PEER_SPEEX) {
    coders.insert(coders.end(), {speex_narrow(), speex_wide()});
  } else {
    missing.push_back("libspeex-dev");
  }
  if constexpr (QUEL_PEER_OPUS) {
    coders.insert(coders.end(), {opus(8000), opus(16000)});
  } else {
    missing.push_back("libopus-dev");
  }
  if constexpr (QUEL_PEER_LC3) {
    coders.push_back(lc3());
  } else {
    missing.push_back("liblc3-dev");
  }
  return result;
}

}  // namespace quel::bench
