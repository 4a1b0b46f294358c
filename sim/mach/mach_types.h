// <mach/mach_types.h>: the mach types the IOKit headers use.
#ifndef _MACH_MACH_TYPES_H_
#define _MACH_MACH_TYPES_H_

#include <mach/boolean.h>
#include <mach/clock_types.h>
#include <mach/kern_return.h>
#include <mach/message.h>
#include <mach/port.h>

#endif
