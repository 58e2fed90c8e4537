#define QUEL_SET baseline
#define QUEL_LANES 2
#include "narrowband/kernels_unit.h"
