// <mach/mach_error.h>: the texts of Mach error values.
#ifndef _MACH_ERROR_
#define _MACH_ERROR_

// Texts for kern_return_t, Mach message and IOReturn values, as a Mac's system
// library words them: "(os/kern) invalid argument", "(iokit/common) not permitted".

#include <mach/error.h>

#ifdef __cplusplus
extern "C" {
#endif

// A static text; the caller must not change or free it. "unknown error code" for a
// value this system has no text for.
char* mach_error_string(mach_error_t error_value);

// Writes `str`, then the text of the value, to the standard error stream.
void mach_error(const char* str, mach_error_t error_value);

// The error system and subsystem of the value, as "(os/kern)"; "(?/?)" when unknown.
char* mach_error_type(mach_error_t error_value);

#ifdef __cplusplus
}
#endif

#endif
