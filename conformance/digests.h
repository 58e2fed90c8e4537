#pragma once

#include <cstdint>

namespace quel::conformance {

struct PinnedDigest {
  const char* name;
  std::uint64_t value;
};

/// Whenever one of these moves, the library's behaviour number rises, and a line of its history in
/// src/interface/numbers.cpp says why.
inline constexpr PinnedDigest pinned_digests[] = {
    {"flavor 0, coded units", 0xf5ef4bb19342514f},
    {"flavor 0, decoded", 0x8d5eb49ebc3daf83},
    {"flavor 0, losses concealed at once", 0xf88eecfc1d32ec6a},
    {"flavor 0, losses concealed later", 0x70cef51cf8235580},
    {"flavor 0, random bits", 0x1e262b7e2cc74ea2},
    {"flavor 0, random bits and losses, concealed at once", 0x5066d00496f53a8d},
    {"flavor 0, random bits and losses, concealed later", 0x21baa5df19e5ddab},
    {"flavor 0, excitation that grows", 0xbcc69b8218b9aeef},
    {"flavor 0, a long loss", 0xff79d49010df84da},
    {"flavor 0, a long loss, concealed later", 0x70278b0d987a8c8e},
    {"flavor 0, extreme signals, coded units", 0x4dbc4abb28b8e6be},
    {"flavor 0, extreme signals, decoded", 0x2d8f4109ca401f03},
    {"flavor 1, coded units", 0x5501d7156c10f8ba},
    {"flavor 1, decoded", 0xfd094eac96b29fac},
    {"flavor 1, losses concealed at once", 0xda21c2592da3ec8f},
    {"flavor 1, losses concealed later", 0x6878dc14250f69d6},
    {"flavor 1, random bits", 0x6e74e90b9e15cfcb},
    {"flavor 1, random bits and losses, concealed at once", 0xce7466a93556a660},
    {"flavor 1, random bits and losses, concealed later", 0xebb15fa23b829f44},
    {"flavor 1, excitation that grows", 0x9ad5a7be029ddb64},
    {"flavor 1, a long loss", 0xd5f5cefd0a82d3a3},
    {"flavor 1, a long loss, concealed later", 0x280937145d1a5de0},
    {"flavor 1, extreme signals, coded units", 0x39e6b59dffa4b7d8},
    {"flavor 1, extreme signals, decoded", 0x7ed7eeee81e2c296},
    {"flavor 2, coded units", 0xcaa5cd31c4670745},
    {"flavor 2, decoded", 0x323dfb7c0824788b},
    {"flavor 2, losses concealed at once", 0xda35468972fe43f5},
    {"flavor 2, losses concealed later", 0xf0439a18ac6d2702},
    {"flavor 2, random bits", 0xd2e0cb3db5f0e1ed},
    {"flavor 2, random bits and losses, concealed at once", 0x28f7952fa20a9aa4},
    {"flavor 2, random bits and losses, concealed later", 0x2946ac8bd3af366f},
    {"flavor 2, excitation that grows", 0xa8d47fe68a9a700a},
    {"flavor 2, a long loss", 0x7dbf0768a40427df},
    {"flavor 2, a long loss, concealed later", 0x92edc0a08ae657fa},
    {"flavor 2, extreme signals, coded units", 0x2246439c06167a9f},
    {"flavor 2, extreme signals, decoded", 0xbab361d83b12aa62},
    {"flavor 3, coded units", 0x0bb8fc5b269aba14},
    {"flavor 3, decoded", 0xbfb193d746798afb},
    {"flavor 3, losses concealed at once", 0x09b7b3e88024b000},
    {"flavor 3, losses concealed later", 0x054b29014bb48507},
    {"flavor 3, random bits", 0xa90dd8ea6109d795},
    {"flavor 3, random bits and losses, concealed at once", 0x1dd0dce9598a9b21},
    {"flavor 3, random bits and losses, concealed later", 0x4ed84b1897743777},
    {"flavor 3, excitation that grows", 0xcd99c587fb100ee9},
    {"flavor 3, a long loss", 0xb6fd466c44a1355f},
    {"flavor 3, a long loss, concealed later", 0xb95a52c72191afa8},
    {"flavor 3, extreme signals, coded units", 0x5c93f01a66960dec},
    {"flavor 3, extreme signals, decoded", 0x4ec754ddff412f8e},
    {"flavor 3, effort 1, coded units", 0xb3afebeb362cc65a},
    {"flavor 3, effort 1, extreme signals, coded units", 0xf3ad11041d56de64},
    {"flavor 3, effort 2, coded units", 0x178240dc637d5f5c},
    {"flavor 3, effort 2, extreme signals, coded units", 0x4bc56072b5f1274c},
    {"flavor 3, effort 3, coded units", 0x7e1505b5590edfab},
    {"flavor 3, effort 3, extreme signals, coded units", 0x17dfdd340cfbeb0a},
    {"flavor 2, enhanced", 0x6f14e28c55fbf798},
    {"flavor 2, enhanced, losses concealed at once", 0x98ce5f1df77b17f2},
    {"flavor 2, enhanced, random bits", 0x678e411327a912b8},
    {"flavor 2, enhanced, excitation that grows", 0xe227ba8e41015654},
    {"flavor 3, enhanced", 0x1f9c5fd8b67f1efc},
    {"flavor 3, enhanced, losses concealed at once", 0x74c364d3961c2f37},
    {"flavor 3, enhanced, random bits", 0xd507bafd92a0693e},
    {"flavor 3, enhanced, excitation that grows", 0xe3692a8df7ba14e0},
};

}  // namespace quel::conformance
