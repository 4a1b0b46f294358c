// <IOKit/IOTypes.h>: io_object_t and its kinds, io_name_t, io_string_t, IOOptionBits.
#ifndef __IOKIT_IOTYPES_H
#define __IOKIT_IOTYPES_H

// The I/O Kit's basic types as user space sees them: every kernel object is named
// by a Mach port name that the task holds a send right to.

#include <CoreFoundation/CFBase.h>
#include <IOKit/IOReturn.h>
#include <mach/mach_types.h>

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifndef NULL
#define NULL 0
#endif

typedef UInt32 IOOptionBits;
typedef SInt32 IOFixed;
typedef UInt32 IOVersion;
typedef UInt32 IOItemCount;
typedef UInt32 IOCacheMode;
typedef UInt32 IOByteCount32;
typedef UInt64 IOByteCount64;
typedef UInt64 IOByteCount;
typedef UInt64 IOPhysicalAddress64;
typedef UInt64 IOVirtualAddress;

typedef char io_name_t[128];
typedef char io_string_t[512];
typedef char io_struct_inband_t[4096];

typedef mach_port_t io_object_t;
typedef io_object_t io_connect_t;
typedef io_object_t io_enumerator_t;
typedef io_object_t io_ident_t;
typedef io_object_t io_iterator_t;
typedef io_object_t io_registry_entry_t;
typedef io_object_t io_service_t;
typedef io_object_t uext_object_t;

#define IO_OBJECT_NULL ((io_object_t)0)

enum
{
    kIORegistryIterateRecursively = 0x00000001,
    kIORegistryIterateParents = 0x00000002,
};

#ifdef __cplusplus
}
#endif

#endif
