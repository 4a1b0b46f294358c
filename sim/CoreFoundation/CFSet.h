// CFSet and CFMutableSet as Apple declares them.
#ifndef __COREFOUNDATION_CFSET__
#define __COREFOUNDATION_CFSET__

// Unordered collections of distinct values. The callbacks given at creation decide
// how values are retained, released, compared and hashed; NULL callbacks mean no
// retain, pointer equality and the pointer as hash.

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const void* (*CFSetRetainCallBack)(CFAllocatorRef allocator, const void* value);
typedef void (*CFSetReleaseCallBack)(CFAllocatorRef allocator, const void* value);
typedef CFStringRef (*CFSetCopyDescriptionCallBack)(const void* value);
typedef Boolean (*CFSetEqualCallBack)(const void* value1, const void* value2);
typedef CFHashCode (*CFSetHashCallBack)(const void* value);

typedef struct
{
    CFIndex version;
    CFSetRetainCallBack retain;
    CFSetReleaseCallBack release;
    CFSetCopyDescriptionCallBack copyDescription;
    CFSetEqualCallBack equal;
    CFSetHashCallBack hash;
} CFSetCallBacks;

// CFRetain, CFRelease, CFCopyDescription, CFEqual and CFHash.
CF_EXPORT const CFSetCallBacks kCFTypeSetCallBacks;

typedef void (*CFSetApplierFunction)(const void* value, void* context);

typedef const struct __CFSet* CFSetRef;
typedef struct __CFSet* CFMutableSetRef;

CF_EXPORT CFTypeID CFSetGetTypeID(void);

CF_EXPORT CFSetRef CFSetCreate(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                               const CFSetCallBacks* callBacks);
CF_EXPORT CFMutableSetRef CFSetCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                             const CFSetCallBacks* callBacks);

CF_EXPORT CFIndex CFSetGetCount(CFSetRef theSet);
CF_EXPORT Boolean CFSetContainsValue(CFSetRef theSet, const void* value);
CF_EXPORT void CFSetGetValues(CFSetRef theSet, const void** values);
CF_EXPORT void CFSetApplyFunction(CFSetRef theSet, CFSetApplierFunction applier, void* context);

CF_EXPORT void CFSetAddValue(CFMutableSetRef theSet, const void* value);
CF_EXPORT void CFSetRemoveValue(CFMutableSetRef theSet, const void* value);

CF_EXTERN_C_END

#endif
