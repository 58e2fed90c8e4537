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
    {"flavor 0, coded units", 0x60e4a01a43f71972},
    {"flavor 0, decoded", 0x5077ac61244680d0},
    {"flavor 0, losses concealed at once", 0xfc242408bf665b4e},
    {"flavor 0, losses concealed later", 0x06dea02760fa38e6},
    {"flavor 0, random bits", 0x26dc6b73cc5bb73d},
    {"flavor 0, random bits and losses, concealed at once", 0x7d204a62b43aa17e},
    {"flavor 0, random bits and losses, concealed later", 0x94796c871acde6c7},
    {"flavor 0, excitation that grows", 0x4e61aedeb7d54606},
    {"flavor 0, a long loss", 0xa729d741f81df355},
    {"flavor 0, a long loss, concealed later", 0x915f275a5ffd9b8f},
    {"flavor 0, extreme signals, coded units", 0xf3b5aa5dc4cc4eba},
    {"flavor 0, extreme signals, decoded", 0xae52eef2cadadab9},
    {"flavor 1, coded units", 0xcb808ef0b3d41379},
    {"flavor 1, decoded", 0x4e0ba0039efa23d7},
    {"flavor 1, losses concealed at once", 0xa0a2a8aaba303ae8},
    {"flavor 1, losses concealed later", 0x074e484e250f4376},
    {"flavor 1, random bits", 0x62d937579cbd1c35},
    {"flavor 1, random bits and losses, concealed at once", 0x2f0dbbac5aec3672},
    {"flavor 1, random bits and losses, concealed later", 0x54f878a241f46b01},
    {"flavor 1, excitation that grows", 0x140e2df7b017dbcf},
    {"flavor 1, a long loss", 0xa8c9b5a2f4e9b22a},
    {"flavor 1, a long loss, concealed later", 0xa4d8343d168d0ec8},
    {"flavor 1, extreme signals, coded units", 0x19f222a9c3fb67ec},
    {"flavor 1, extreme signals, decoded", 0x3640f3b78bcce377},
    {"flavor 2, coded units", 0xc6cf91dd5031c362},
    {"flavor 2, decoded", 0x9c67b516b1080023},
    {"flavor 2, losses concealed at once", 0xca71466387c3565d},
    {"flavor 2, losses concealed later", 0x58fa062f08ed250c},
    {"flavor 2, random bits", 0x95827d9eea81fbea},
    {"flavor 2, random bits and losses, concealed at once", 0x505992fc89757bd0},
    {"flavor 2, random bits and losses, concealed later", 0x6faccd7e8a6e770d},
    {"flavor 2, excitation that grows", 0x9cd7415885ef8af5},
    {"flavor 2, a long loss", 0x4a3c81488d70f659},
    {"flavor 2, a long loss, concealed later", 0x849ef6765b859535},
    {"flavor 2, extreme signals, coded units", 0x0ef8f2d2e9507701},
    {"flavor 2, extreme signals, decoded", 0x6292e2cae3c7194a},
    {"flavor 3, coded units", 0x06bace132fd2f8ab},
    {"flavor 3, decoded", 0x0dc7cf45f51ce16d},
    {"flavor 3, losses concealed at once", 0xd97e2219b6283cf7},
    {"flavor 3, losses concealed later", 0xa16065b986de14dc},
    {"flavor 3, random bits", 0x853b0697025f50d9},
    {"flavor 3, random bits and losses, concealed at once", 0x7fb57d634e6974e2},
    {"flavor 3, random bits and losses, concealed later", 0xf945231473455e80},
    {"flavor 3, excitation that grows", 0xe816e3225baae57f},
    {"flavor 3, a long loss", 0x37b470db97528d37},
    {"flavor 3, a long loss, concealed later", 0x20ba2c13982da191},
    {"flavor 3, extreme signals, coded units", 0x531b2d26e80e9a83},
    {"flavor 3, extreme signals, decoded", 0x5cad62e352ac50fe},
};

}  // namespace quel::conformance
