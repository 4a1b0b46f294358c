// <IOKit/IOCFPlugIn.h> as Apple declares it: user-space plug-in interfaces for services, and their base.
#ifndef _IOKIT_IOCFPLUGIN_H_
#define _IOKIT_IOCFPLUGIN_H_

// A family that offers user-space access through a CF plug-in (USB devices and
// interfaces, HID devices with the obsolete interface ...) names the plug-in types
// a service supports in its "IOCFPlugInTypes" property. A program asks for an
// IOCFPlugInInterface of one type, then queries it for the family's interface.

#include <CoreFoundation/CFPlugIn.h>
#if COREFOUNDATION_CFPLUGINCOM_SEPARATE
#include <CoreFoundation/CFPlugInCOM.h>
#endif

#include <IOKit/IOKitLib.h>

#ifdef __cplusplus
extern "C" {
#endif

// C244E858-109C-11D4-91D4-0050E4C6426F
#define kIOCFPlugInInterfaceID                                                                                         \
    CFUUIDGetConstantUUIDWithBytes(NULL, 0xC2, 0x44, 0xE8, 0x58, 0x10, 0x9C, 0x11, 0xD4, 0x91, 0xD4, 0x00, 0x50, 0xE4, \
                                   0xC6, 0x42, 0x6F)

// What every IOKit plug-in adds to IUnknown: its version, and the calls by which
// the plug-in is probed against, started on and stopped from a service.
#define IOCFPLUGINBASE                                                                                                 \
    UInt16 version;                                                                                                    \
    UInt16 revision;                                                                                                   \
    IOReturn (*Probe)(void* thisPointer, CFDictionaryRef propertyTable, io_service_t service, SInt32* order);          \
    IOReturn (*Start)(void* thisPointer, CFDictionaryRef propertyTable, io_service_t service);                         \
    IOReturn (*Stop)(void* thisPointer)

typedef struct IOCFPlugInInterfaceStruct
{
    IUNKNOWN_C_GUTS;
    IOCFPLUGINBASE;
} IOCFPlugInInterface;

kern_return_t IOCreatePlugInInterfaceForService(io_service_t service, CFUUIDRef pluginType, CFUUIDRef interfaceType,
                                                IOCFPlugInInterface*** theInterface, SInt32* theScore);

// Releases an interface made by IOCreatePlugInInterfaceForService.
kern_return_t IODestroyPlugInInterface(IOCFPlugInInterface** interface);

#ifdef __cplusplus
}
#endif

#endif
