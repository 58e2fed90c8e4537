#define QUEL_SET baseline
#define QUEL_LANES 2
#include "dsp/kernels_unit.h"
