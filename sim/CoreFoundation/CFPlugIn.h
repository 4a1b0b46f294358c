// CFPlugIn as Apple declares it, as far as the simulation goes: the plug-in type and its callback types.
#ifndef __COREFOUNDATION_CFPLUGIN__
#define __COREFOUNDATION_CFPLUGIN__ 1

// Plug-ins are bundles of code that CoreFoundation loads on demand. The simulated
// machine has no bundles to load, so only the types are here: enough for programs
// that ask IOKit for a plug-in interface and handle the refusal.

// As on a Mac, the COM conventions come separately (CFPlugInCOM.h) unless a program
// asks otherwise before including this.
#if !defined(COREFOUNDATION_CFPLUGINCOM_SEPARATE)
#define COREFOUNDATION_CFPLUGINCOM_SEPARATE 1
#endif

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>
#include <CoreFoundation/CFURL.h>
#include <CoreFoundation/CFUUID.h>

CF_EXTERN_C_BEGIN

// A plug-in is its bundle (Apple declares this beside CFBundleRef, in CFBundle.h).
typedef struct __CFBundle* CFPlugInRef;

typedef void (*CFPlugInDynamicRegisterFunction)(CFPlugInRef plugIn);
typedef void (*CFPlugInUnloadFunction)(CFPlugInRef plugIn);
typedef void* (*CFPlugInFactoryFunction)(CFAllocatorRef allocator, CFUUIDRef typeUUID);

CF_EXTERN_C_END

#if !COREFOUNDATION_CFPLUGINCOM_SEPARATE
#include <CoreFoundation/CFPlugInCOM.h>
#endif

#endif
