// CFBase as Apple declares it: the basic CF types and what every CF object answers.
#ifndef __COREFOUNDATION_CFBASE__
#define __COREFOUNDATION_CFBASE__

// The basic CoreFoundation types (LP64 macOS widths) and the functions that every
// CF object answers: reference counting, type identity, equality and hashing.

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define CF_EXTERN_C_BEGIN extern "C" {
#define CF_EXTERN_C_END }
#else
#define CF_EXTERN_C_BEGIN
#define CF_EXTERN_C_END
#endif

#define CF_EXPORT extern

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

typedef unsigned char Boolean;
typedef unsigned char UInt8;
typedef signed char SInt8;
typedef unsigned short UInt16;
typedef signed short SInt16;
typedef unsigned int UInt32;
typedef signed int SInt32;
typedef unsigned long long UInt64;
typedef signed long long SInt64;
typedef float Float32;
typedef double Float64;
typedef UInt16 UniChar;
typedef UInt32 UTF32Char;

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
CF_EXPORT const CFAllocatorRef kCFAllocatorDefault;
CF_EXPORT const CFAllocatorRef kCFAllocatorSystemDefault;

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
