#pragma once

#include <iosfwd>

namespace quel::tools {

/// The everyday program, from its arguments to its exit status. May be called again and again in
/// one process; arguments and files are all it knows.
///
/// argc, argv  as main gets them; argv[0] is not looked at
/// out, err    what goes to standard output and error, but for sound and coded units that are
///             written to "-" and for progress on a terminal: these go to the process's own
int run_quel(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

}  // namespace quel::tools
