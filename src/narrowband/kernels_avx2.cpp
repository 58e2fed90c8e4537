#if defined(__x86_64__)
#define QUEL_SET avx2
#define QUEL_LANES 4
#include "narrowband/kernels_unit.h"
#endif
