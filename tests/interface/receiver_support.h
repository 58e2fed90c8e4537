#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "quelcodec/quelcodec.h"
#include "support/call.h"

namespace quel::test {

using Pcm = std::vector<std::int16_t>;

struct DestroyReceiver {
  void operator()(quel_receiver* receiver) const { quel_receiver_destroy(receiver); }
};
using ReceiverPointer = std::unique_ptr<quel_receiver, DestroyReceiver>;

/// A receiver whose wait is between these, ms.
inline ReceiverPointer make_receiver(int flavor, int least = 0, int most = 400) {
  quel_receiver_options options = QUEL_RECEIVER_OPTIONS(flavor);
  options.least_delay = least;
  options.most_delay = most;
  quel_receiver* receiver = nullptr;
  EXPECT_EQ(quel_receiver_create(&options, &receiver), QUEL_OK);
  return ReceiverPointer(receiver);
}

/// All that the card gets of a call, so many seconds of it.
inline Pcm heard(Call& call, double seconds) {
  Pcm all;
  call.run(seconds, [&](const Pcm& pcm) { all.insert(all.end(), pcm.begin(), pcm.end()); });
  return all;
}

/// Where `part` stands in `whole`, or -1.
inline std::int64_t find(const Pcm& whole, const Pcm& part, std::size_t from = 0) {
  const auto at = std::search(whole.begin() + static_cast<std::ptrdiff_t>(from), whole.end(),
                              part.begin(), part.end());
  return at == whole.end() ? -1 : at - whole.begin();
}

/// n samples of pcm from `from` on.
inline Pcm piece(const Pcm& pcm, std::size_t from, std::size_t n) {
  EXPECT_LE(from + n, pcm.size());
  const auto at = pcm.begin() + static_cast<std::ptrdiff_t>(from);
  return {at, at + static_cast<std::ptrdiff_t>(n)};
}

/// Hands a packet of `count` units over, from unit k on.
inline int push(quel_receiver* receiver, const Speech& speech, std::uint32_t sequence,
                std::size_t k, int count = 1, std::uint32_t timestamp = 0) {
  const auto bytes = speech.coded(k, count);
  const auto samples = static_cast<std::uint32_t>(k) * static_cast<std::uint32_t>(speech.unit());
  const std::uint64_t came =
      std::uint64_t{samples} * 1000000 / static_cast<unsigned>(speech.rate());
  return quel_receiver_push(receiver, sequence, timestamp + samples, came, bytes.data(),
                            bytes.size());
}

inline Pcm pull(quel_receiver* receiver, std::size_t n) {
  Pcm pcm(n, 0x5a5a);
  EXPECT_EQ(quel_receiver_pull(receiver, pcm.data(), n), QUEL_OK);
  return pcm;
}

inline void append(Pcm& to, const Pcm& pcm) {
  to.insert(to.end(), pcm.begin(), pcm.end());
}

}  // namespace quel::test
