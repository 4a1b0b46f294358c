// <mach/boolean.h>: boolean_t.
#ifndef _MACH_BOOLEAN_H_
#define _MACH_BOOLEAN_H_

// Mach's boolean in its arm64 form (int); x86-64 Macs use unsigned int, so callers
// compare it with zero rather than with TRUE.
typedef int boolean_t;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

#endif
