#include "tools/selftest_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <iterator>
#include <ostream>
#include <string>

#include "conformance/conformance.h"
#include "conformance/digests.h"
#include "tools/command.h"

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

int run_selftest_command(std::ostream& out) {
  int wrong = 0;
  for (const conformance::Digest& digest : conformance::conformance_digests()) {
    const bool right = is_the_projects(digest);
    if (!right) ++wrong;
    out << hexadecimal(digest.value) << "  " << (right ? "ok     " : "DIFFERS") << "  "
        << digest.name << '\n';
  }
  out << (wrong == 0 ? "All digests are the project's"
                     : std::to_string(wrong) + " digests differ from the project's")
      << " (behaviour " << conformance::behaviour << ").\n";
  return wrong == 0 ? exit_done : exit_failed;
}

}  // namespace quel::tools
