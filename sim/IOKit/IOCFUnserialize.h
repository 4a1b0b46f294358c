// <IOKit/IOCFUnserialize.h> as Apple declares it: IOKit's XML text back into CF property values.
#ifndef __IOKIT_IOCFUNSERIALIZE_H
#define __IOKIT_IOCFUNSERIALIZE_H

// The reverse of IOCFSerialize. On success the value is returned (+1) and
// *errorString set to NULL; on failure NULL is returned and *errorString is a new
// CFString saying what is wrong, for the caller to log and release. errorString
// may be NULL when the reason is not wanted.

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

// `buffer` is a NUL-terminated text.
CF_RETURNS_RETAINED
CFTypeRef IOCFUnserialize(const char* buffer, CFAllocatorRef allocator, CFOptionFlags options,
                          CFStringRef* errorString);

// The text in the first bufferSize bytes of `buffer` (up to a NUL, if one comes first).
CF_RETURNS_RETAINED
CFTypeRef IOCFUnserializeWithSize(const char* buffer, size_t bufferSize, CFAllocatorRef allocator,
                                  CFOptionFlags options, CFStringRef* errorString);

#ifdef __cplusplus
}
#endif

#endif
