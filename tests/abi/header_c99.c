/* The public header must stand alone as strict C99. */
#include "ozmu.h"

int ozmu_header_is_c99(void) { return OZMU_OK; }
