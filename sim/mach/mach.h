// <mach/mach.h>: the umbrella header of the mach types.
#ifndef _MACH_H_
#define _MACH_H_

#include <mach/mach_types.h>

#endif
