#if defined(__x86_64__)
#define QUEL_SET avx512
#define QUEL_LANES 8
#include "narrowband/kernels_unit.h"
#endif
