// CFDate's time types as Apple declares them.
#ifndef __COREFOUNDATION_CFDATE__
#define __COREFOUNDATION_CFDATE__

// The time types that run-loop timeouts are given in.

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef double CFTimeInterval;
typedef CFTimeInterval CFAbsoluteTime;

CF_EXTERN_C_END

#endif
