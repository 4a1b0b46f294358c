// <mach/mach.h>: the umbrella header of the mach types and error texts.
#ifndef _MACH_H_
#define _MACH_H_

#include <mach/mach_error.h>
#include <mach/mach_types.h>

#endif
