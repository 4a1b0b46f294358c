// CFError as Apple declares it: the type that CF functions hand errors back in.
#ifndef __COREFOUNDATION_CFERROR__
#define __COREFOUNDATION_CFERROR__

// An error is a domain, a code within it, and a dictionary of further information
// (user info) keyed by the kCFError...Key strings. Immutable once made.

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDictionary.h>

CF_EXTERN_C_BEGIN

typedef CFStringRef CFErrorDomain;

typedef struct __CFError* CFErrorRef;

CF_EXPORT CFTypeID CFErrorGetTypeID(void);

// The domains whose codes are the system's own: errno values, OSStatus values,
// kern_return_t and IOReturn values, and Cocoa's.
CF_EXPORT const CFErrorDomain kCFErrorDomainPOSIX;
CF_EXPORT const CFErrorDomain kCFErrorDomainOSStatus;
CF_EXPORT const CFErrorDomain kCFErrorDomainMach;
CF_EXPORT const CFErrorDomain kCFErrorDomainCocoa;

// User-info keys: texts meant for the user (what failed, why, what to do), a plain
// description, the error underneath, and the file or URL concerned.
CF_EXPORT const CFStringRef kCFErrorLocalizedDescriptionKey;
CF_EXPORT const CFStringRef kCFErrorLocalizedFailureKey;
CF_EXPORT const CFStringRef kCFErrorLocalizedFailureReasonKey;
CF_EXPORT const CFStringRef kCFErrorLocalizedRecoverySuggestionKey;
CF_EXPORT const CFStringRef kCFErrorDescriptionKey;
CF_EXPORT const CFStringRef kCFErrorUnderlyingErrorKey;
CF_EXPORT const CFStringRef kCFErrorURLKey;
CF_EXPORT const CFStringRef kCFErrorFilePathKey;

// Copies userInfo; NULL gives the error an empty one.
CF_EXPORT CFErrorRef CFErrorCreate(CFAllocatorRef allocator, CFErrorDomain domain, CFIndex code,
                                   CFDictionaryRef userInfo);
CF_EXPORT CFErrorRef CFErrorCreateWithUserInfoKeysAndValues(CFAllocatorRef allocator, CFErrorDomain domain,
                                                            CFIndex code, const void* const* userInfoKeys,
                                                            const void* const* userInfoValues,
                                                            CFIndex numUserInfoValues);

CF_EXPORT CFErrorDomain CFErrorGetDomain(CFErrorRef err);
CF_EXPORT CFIndex CFErrorGetCode(CFErrorRef err);
// Never NULL: an empty dictionary for an error made without user info.
CF_EXPORT CFDictionaryRef CFErrorCopyUserInfo(CFErrorRef err);

// A sentence or two for the user; never NULL.
CF_EXPORT CFStringRef CFErrorCopyDescription(CFErrorRef err);
// From the user info; NULL when it has none.
CF_EXPORT CFStringRef CFErrorCopyFailureReason(CFErrorRef err);
CF_EXPORT CFStringRef CFErrorCopyRecoverySuggestion(CFErrorRef err);

CF_EXTERN_C_END

#endif
