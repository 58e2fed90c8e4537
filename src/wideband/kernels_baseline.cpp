#define QUEL_SET baseline
#define QUEL_LANES 2
#include "wideband/kernels_unit.h"
