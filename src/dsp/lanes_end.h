#pragma once

// Ends what dsp/lanes.h begins.
#if defined(__clang__) && defined(__arm__)
#pragma clang attribute pop
#endif
