// <mach/kern_return.h>: kern_return_t and the KERN_ codes.
#ifndef _MACH_KERN_RETURN_H_
#define _MACH_KERN_RETURN_H_

// The Mach kernel's return codes that I/O Kit callers see through IOReturn.

typedef int kern_return_t;

#define KERN_SUCCESS 0
#define KERN_INVALID_ADDRESS 1
#define KERN_PROTECTION_FAILURE 2
#define KERN_NO_SPACE 3
#define KERN_INVALID_ARGUMENT 4
#define KERN_FAILURE 5
#define KERN_RESOURCE_SHORTAGE 6
#define KERN_NOT_RECEIVER 7
#define KERN_NO_ACCESS 8
#define KERN_INVALID_NAME 15
#define KERN_INVALID_TASK 16
#define KERN_INVALID_RIGHT 17
#define KERN_INVALID_VALUE 18
#define KERN_UREFS_OVERFLOW 19
#define KERN_INVALID_CAPABILITY 20
#define KERN_NOT_SUPPORTED 46

#endif
