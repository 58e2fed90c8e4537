#include "tools/part_mark.h"

#ifdef __linux__
#include <sys/xattr.h>
#endif

namespace quel::tools {

#ifdef __linux__

constexpr const char* attribute = "user.quelcodec.part";

void mark(int descriptor) {
  fsetxattr(descriptor, attribute, "1", 1, 0);
}

bool is_marked(int descriptor) {
  return fgetxattr(descriptor, attribute, nullptr, 0) >= 0;
}

void unmark(int descriptor) {
  fremovexattr(descriptor, attribute);
}

#else

void mark(int) {}

bool is_marked(int) {
  return false;
}

void unmark(int) {}

#endif

}  // namespace quel::tools
