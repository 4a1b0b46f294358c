// CFBase as Apple declares it: the basic CF types and what every CF object answers.
#ifndef __COREFOUNDATION_CFBASE__
#define __COREFOUNDATION_CFBASE__

// The basic CoreFoundation types (LP64 macOS widths) and the functions that every
// CF object answers: reference counting, type identity, equality and hashing.

#include <TargetConditionals.h>
#include <Availability.h>
#include <AvailabilityMacros.h>
#include <os/availability.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <MacTypes.h>

#ifdef __cplusplus
#define CF_EXTERN_C_BEGIN extern "C" {
#define CF_EXTERN_C_END }
#else
#define CF_EXTERN_C_BEGIN
#define CF_EXTERN_C_END
#endif

#define CF_EXPORT extern
#define CF_INLINE static inline

// The annotations Apple's headers and Mac programs write on declarations: they
// tell clang's analyser and Swift about ownership and nullability, and change
// nothing a program does.
#if defined(__clang__)
#define CF_RETURNS_RETAINED __attribute__((cf_returns_retained))
#define CF_RETURNS_NOT_RETAINED __attribute__((cf_returns_not_retained))
#define CF_RELEASES_ARGUMENT __attribute__((cf_consumed))
#define CF_CONSUMED __attribute__((cf_consumed))
#else
#define CF_RETURNS_RETAINED
#define CF_RETURNS_NOT_RETAINED
#define CF_RELEASES_ARGUMENT
#define CF_CONSUMED
#ifndef _Nullable
#define _Nullable
#endif
#ifndef _Nonnull
#define _Nonnull
#endif
#ifndef _Null_unspecified
#define _Null_unspecified
#endif
#endif
#ifndef __nullable
#define __nullable _Nullable
#endif
#ifndef __nonnull
#define __nonnull _Nonnull
#endif
#define CF_IMPLICIT_BRIDGING_ENABLED
#define CF_IMPLICIT_BRIDGING_DISABLED
#define CF_ASSUME_NONNULL_BEGIN
#define CF_ASSUME_NONNULL_END
#define CF_BRIDGED_TYPE(T)
#define CF_BRIDGED_MUTABLE_TYPE(T)
#define CF_RELATED_TYPE(T, C, I)
#define CF_NOESCAPE
#define CF_SWIFT_NAME(_name)
#define CF_REFINED_FOR_SWIFT
#define CF_AUTOMATED_REFCOUNT_UNAVAILABLE
#define CF_WARN_UNUSED_RESULT __attribute__((warn_unused_result))
#define CF_AVAILABLE(_mac, _ios)
#define CF_AVAILABLE_MAC(_mac)
#define CF_DEPRECATED(_macIntro, _macDep, _iosIntro, _iosDep, ...)
#define CF_DEPRECATED_MAC(_macIntro, _macDep, ...)

// A CF enumeration: a typedef of the integer type named in its declaration and
// constants of that width. C++ gets a fixed underlying type; g++ cannot parse the
// named fixed-type form that Apple's clang-only headers use.
#ifdef __cplusplus
#define CF_ENUM(_type, _name)                                                                                          \
    _type _name;                                                                                                       \
    enum : _type
#define CF_OPTIONS(_type, _name)                                                                                       \
    _type _name;                                                                                                       \
    enum : _type
#else
#define CF_ENUM(_type, _name)                                                                                          \
    _type _name;                                                                                                       \
    enum
#define CF_OPTIONS(_type, _name)                                                                                       \
    _type _name;                                                                                                       \
    enum
#endif

#ifndef NULL
#define NULL 0
#endif

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

CF_EXTERN_C_BEGIN

typedef signed long CFIndex;
typedef unsigned long CFTypeID;
typedef unsigned long CFOptionFlags;
typedef unsigned long CFHashCode;

typedef const void* CFTypeRef;
typedef const struct __CFString* CFStringRef;
typedef struct __CFString* CFMutableStringRef;
typedef CFTypeRef CFPropertyListRef;
typedef const struct __CFAllocator* CFAllocatorRef;

typedef CF_ENUM(CFIndex, CFComparisonResult) {
    kCFCompareLessThan = -1L,
    kCFCompareEqualTo = 0,
    kCFCompareGreaterThan = 1,
};

typedef CFComparisonResult (*CFComparatorFunction)(const void* val1, const void* val2, void* context);

enum
{
    kCFNotFound = -1
};

typedef struct
{
    CFIndex location;
    CFIndex length;
} CFRange;

static inline CFRange CFRangeMake(CFIndex loc, CFIndex len)
{
    CFRange range;
    range.location = loc;
    range.length = len;
    return range;
}

// The default allocator is NULL, as on Apple's platforms; every allocator argument
// is accepted and memory always comes from the process heap.
// The version of the CoreFoundation a program runs on: here that of macOS 13.
CF_EXPORT double kCFCoreFoundationVersionNumber;
#define kCFCoreFoundationVersionNumber10_0 196.40
#define kCFCoreFoundationVersionNumber10_4 368.00
#define kCFCoreFoundationVersionNumber10_5 476.00
#define kCFCoreFoundationVersionNumber10_6 550.00
#define kCFCoreFoundationVersionNumber10_7 635.00
#define kCFCoreFoundationVersionNumber10_8 744.00
#define kCFCoreFoundationVersionNumber10_9 855.11
#define kCFCoreFoundationVersionNumber10_10 1151.16
#define kCFCoreFoundationVersionNumber10_11 1253

CF_EXPORT const CFAllocatorRef kCFAllocatorDefault;
CF_EXPORT const CFAllocatorRef kCFAllocatorSystemDefault;

CF_EXPORT CFAllocatorRef CFAllocatorGetDefault(void);
CF_EXPORT void* CFAllocatorAllocate(CFAllocatorRef allocator, CFIndex size, CFOptionFlags hint);
CF_EXPORT void* CFAllocatorReallocate(CFAllocatorRef allocator, void* ptr, CFIndex newsize, CFOptionFlags hint);
CF_EXPORT void CFAllocatorDeallocate(CFAllocatorRef allocator, void* ptr);

CF_EXPORT CFTypeRef CFRetain(CFTypeRef cf);
CF_EXPORT void CFRelease(CFTypeRef cf);
CF_EXPORT CFIndex CFGetRetainCount(CFTypeRef cf);
CF_EXPORT CFTypeID CFGetTypeID(CFTypeRef cf);
CF_EXPORT CFStringRef CFCopyTypeIDDescription(CFTypeID type_id);
CF_EXPORT Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2);
CF_EXPORT CFHashCode CFHash(CFTypeRef cf);
CF_EXPORT CFStringRef CFCopyDescription(CFTypeRef cf);

CF_EXTERN_C_END

#endif
