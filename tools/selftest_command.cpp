#include "tools/selftest_command.h"

#include <quelcodec/quelcodec.h>
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <iterator>
#include <ostream>
#include <string>

#include "conformance/conformance.h"
#include "conformance/digests.h"
#include "tools/command.h"
#include "tools/text.h"
#include "tools/version.h"

namespace quel::tools {
namespace {

std::string hexadecimal(std::uint64_t value) {
  std::string digits(16, '0');
  for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit, value >>= 4) {
    *digit = "0123456789abcdef"[value & 15];
  }
  return digits;
}

bool is_the_projects(const conformance::Digest& digest) {
  return std::any_of(std::begin(conformance::pinned_digests), std::end(conformance::pinned_digests),
                     [&](const conformance::PinnedDigest& pinned) {
                       return pinned.name == digest.name && pinned.value == digest.value;
                     });
}

}  // namespace

CLI::App* add_selftest_command(CLI::App& app) {
  return app.add_subcommand(
      "selftest",
      "codes and decodes built-in signals and tells whether the bits are the project's");
}

int tell_digests(const std::vector<conformance::Digest>& digests, std::ostream& out) {
  int wrong = 0;
  for (const conformance::Digest& digest : digests) {
    const bool right = is_the_projects(digest);
    if (!right) ++wrong;
    out << hexadecimal(digest.value) << "  " << (right ? "ok     " : "DIFFERS") << "  "
        << digest.name << '\n';
  }
  for (const conformance::PinnedDigest& pinned : conformance::pinned_digests) {
    const bool there = std::any_of(digests.begin(), digests.end(),
                                   [&](const auto& digest) { return pinned.name == digest.name; });
    if (there) continue;
    ++wrong;
    out << std::string(16, '-') << "  MISSING  " << pinned.name << '\n';
  }
  out << (wrong == 0
              ? "All digests are the project's"
              : counted(static_cast<std::uint64_t>(wrong), "digest") + " of the project's not met")
      << " (version " << version_text() << ", bitstream " << quel_bitstream() << ", behaviour "
      << quel_behaviour() << ").\n";
  return wrong == 0 ? exit_done : exit_failed;
}

int run_selftest_command(std::ostream& out) {
  const char* const before = quel_instruction_set();
  std::string failed;
  for (int k = 0; const char* name = quel_instruction_set_name(k); ++k) {
    quel_use_instruction_set(name);
    out << "Instruction set " << name << ":\n";
    if (tell_digests(conformance::conformance_digests(), out) == exit_done) continue;
    failed += (failed.empty() ? "" : ", ") + std::string(name);
  }
  quel_use_instruction_set(before);
  if (failed.empty()) return exit_done;
  out << "Failed: " << failed << '\n';
  return exit_failed;
}

}  // namespace quel::tools
