#include <quelcodec/quelcodec.h>

#include <cstring>

#include "dsp/instruction_set.h"

using quel::InstructionSet;

const char* quel_instruction_set() {
  return name_of(quel::instruction_set());
}

const char* quel_instruction_set_name(int index) {
  for (const InstructionSet set : quel::instruction_sets) {
    if (is_available(set) && index-- == 0) return name_of(set);
  }
  return nullptr;
}

int quel_use_instruction_set(const char* name) {
  if (name == nullptr) return QUEL_ERROR_ARGUMENT;
  for (const InstructionSet set : quel::instruction_sets) {
    if (!is_available(set) || std::strcmp(name, name_of(set)) != 0) continue;
    quel::use_instruction_set(set);
    return QUEL_OK;
  }
  return QUEL_ERROR_OPTIONS;
}
