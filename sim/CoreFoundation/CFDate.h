// CFDate as Apple declares it: the time types and the current time.
#ifndef __COREFOUNDATION_CFDATE__
#define __COREFOUNDATION_CFDATE__

// The time types that run-loop timeouts are given in, and the time now.

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef double CFTimeInterval;
typedef CFTimeInterval CFAbsoluteTime;

// Seconds from the start of 2001 (UTC), the epoch of CFAbsoluteTime.
CF_EXPORT CFAbsoluteTime CFAbsoluteTimeGetCurrent(void);

CF_EXPORT const CFTimeInterval kCFAbsoluteTimeIntervalSince1970;
CF_EXPORT const CFTimeInterval kCFAbsoluteTimeIntervalSince1904;

CF_EXTERN_C_END

#endif
