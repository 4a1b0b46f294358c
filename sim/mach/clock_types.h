// <mach/clock_types.h>: mach_timespec_t, the time IOKit's waiting calls take.
#ifndef _MACH_CLOCK_TYPES_H_
#define _MACH_CLOCK_TYPES_H_

typedef int clock_res_t;

// A span of time as Mach's clock calls take it: whole seconds, then nanoseconds.
struct mach_timespec
{
    unsigned int tv_sec;
    clock_res_t tv_nsec;
};
typedef struct mach_timespec mach_timespec_t;

#endif
