#pragma once

namespace quel {

/// For what the kernels are compiled. Beside the first, which every processor of the build's
/// architecture runs, there are sets on x86-64 only.
enum class InstructionSet { baseline, avx2, avx512 };

inline constexpr InstructionSet instruction_sets[] = {InstructionSet::baseline,
                                                      InstructionSet::avx2, InstructionSet::avx512};

/// What QUELCODEC_CPU calls it.
const char* name_of(InstructionSet set);

/// Whether this build has it and processor and operating system run it.
bool is_available(InstructionSet set);

/// The set in use. Chosen at the first call: the last available one, or the one that the
/// environment variable QUELCODEC_CPU names where that is available; any other value counts as
/// unset. Any thread may call.
InstructionSet instruction_set();

/// Uses an available set from now on, in all threads: for tests and reports. The bits do not
/// depend on it.
void use_instruction_set(InstructionSet set);

}  // namespace quel
