// <IOKit/usb/IOUSBLib.h> as Apple declares it: the USB plug-in's type and interface IDs and its device and interface interfaces.
#ifndef _IOUSBLIB_H
#define _IOUSBLIB_H

// User-space USB access goes through the USB family's CF plug-in: a program asks
// IOCreatePlugInInterfaceForService for the device (or interface) user-client type,
// then queries the IOCFPlugInInterface for a device (or interface) interface. The
// interfaces' function tables are declared here; they are reached only through a
// plug-in that loaded.

#include <CoreFoundation/CFRunLoop.h>
#include <IOKit/IOCFPlugIn.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/usb/USB.h>

#ifdef __cplusplus
extern "C" {
#endif

// The plug-in types a USB device or interface entry lists in "IOCFPlugInTypes".
// 9DC7B780-9EC0-11D4-A54F-000A27052861
#define kIOUSBDeviceUserClientTypeID                                                                                   \
    CFUUIDGetConstantUUIDWithBytes(NULL, 0x9d, 0xc7, 0xb7, 0x80, 0x9e, 0xc0, 0x11, 0xD4, 0xa5, 0x4f, 0x00, 0x0a, 0x27, \
                                   0x05, 0x28, 0x61)
// 2D9786C6-9EF3-11D4-AD51-000A27052861
#define kIOUSBInterfaceUserClientTypeID                                                                                \
    CFUUIDGetConstantUUIDWithBytes(NULL, 0x2d, 0x97, 0x86, 0xc6, 0x9e, 0xf3, 0x11, 0xD4, 0xad, 0x51, 0x00, 0x0a, 0x27, \
                                   0x05, 0x28, 0x61)
// The factory that makes them: 4547A8AA-9EF3-11D4-A9BD-000A27052861
#define kIOUSBFactoryID                                                                                                \
    CFUUIDGetConstantUUIDWithBytes(NULL, 0x45, 0x47, 0xa8, 0xaa, 0x9e, 0xf3, 0x11, 0xD4, 0xa9, 0xbd, 0x00, 0x0a, 0x27, \
                                   0x05, 0x28, 0x61)

// The interfaces to ask the IOCFPlugInInterface for.
// 5C8187D0-9EF3-11D4-8B45-000A27052861
#define kIOUSBDeviceInterfaceID                                                                                        \
    CFUUIDGetConstantUUIDWithBytes(NULL, 0x5c, 0x81, 0x87, 0xd0, 0x9e, 0xf3, 0x11, 0xD4, 0x8b, 0x45, 0x00, 0x0a, 0x27, \
                                   0x05, 0x28, 0x61)
// 73C97AE8-9EF3-11D4-B1D0-000A27052861
#define kIOUSBInterfaceInterfaceID                                                                                     \
    CFUUIDGetConstantUUIDWithBytes(NULL, 0x73, 0xc9, 0x7a, 0xe8, 0x9e, 0xf3, 0x11, 0xD4, 0xb1, 0xd0, 0x00, 0x0a, 0x27, \
                                   0x05, 0x28, 0x61)

// A USB device: its descriptor's fields, its configurations, control requests to
// its default pipe, and its interfaces.
typedef struct IOUSBDeviceStruct
{
    IUNKNOWN_C_GUTS;
    IOReturn (*CreateDeviceAsyncEventSource)(void* self, CFRunLoopSourceRef* source);
    CFRunLoopSourceRef (*GetDeviceAsyncEventSource)(void* self);
    IOReturn (*CreateDeviceAsyncPort)(void* self, mach_port_t* port);
    mach_port_t (*GetDeviceAsyncPort)(void* self);
    IOReturn (*USBDeviceOpen)(void* self);
    IOReturn (*USBDeviceClose)(void* self);
    IOReturn (*GetDeviceClass)(void* self, UInt8* devClass);
    IOReturn (*GetDeviceSubClass)(void* self, UInt8* devSubClass);
    IOReturn (*GetDeviceProtocol)(void* self, UInt8* devProtocol);
    IOReturn (*GetDeviceVendor)(void* self, UInt16* devVendor);
    IOReturn (*GetDeviceProduct)(void* self, UInt16* devProduct);
    IOReturn (*GetDeviceReleaseNumber)(void* self, UInt16* devRelNum);
    IOReturn (*GetDeviceAddress)(void* self, USBDeviceAddress* addr);
    IOReturn (*GetDeviceBusPowerAvailable)(void* self, UInt32* powerAvailable);
    IOReturn (*GetDeviceSpeed)(void* self, UInt8* devSpeed);
    IOReturn (*GetNumberOfConfigurations)(void* self, UInt8* numConfig);
    IOReturn (*GetLocationID)(void* self, UInt32* locationID);
    IOReturn (*GetConfigurationDescriptorPtr)(void* self, UInt8 configIndex, IOUSBConfigurationDescriptorPtr* desc);
    IOReturn (*GetConfiguration)(void* self, UInt8* configNum);
    IOReturn (*SetConfiguration)(void* self, UInt8 configNum);
    IOReturn (*GetBusFrameNumber)(void* self, UInt64* frame, AbsoluteTime* atTime);
    IOReturn (*ResetDevice)(void* self);
    IOReturn (*DeviceRequest)(void* self, IOUSBDevRequest* req);
    IOReturn (*DeviceRequestAsync)(void* self, IOUSBDevRequest* req, IOAsyncCallback1 callback, void* refCon);
    IOReturn (*CreateInterfaceIterator)(void* self, IOUSBFindInterfaceRequest* req, io_iterator_t* iter);
} IOUSBDeviceInterface;

// One interface of a configured device: its descriptor's fields and its pipes.
typedef struct IOUSBInterfaceStruct
{
    IUNKNOWN_C_GUTS;
    IOReturn (*CreateInterfaceAsyncEventSource)(void* self, CFRunLoopSourceRef* source);
    CFRunLoopSourceRef (*GetInterfaceAsyncEventSource)(void* self);
    IOReturn (*CreateInterfaceAsyncPort)(void* self, mach_port_t* port);
    mach_port_t (*GetInterfaceAsyncPort)(void* self);
    IOReturn (*USBInterfaceOpen)(void* self);
    IOReturn (*USBInterfaceClose)(void* self);
    IOReturn (*GetInterfaceClass)(void* self, UInt8* intfClass);
    IOReturn (*GetInterfaceSubClass)(void* self, UInt8* intfSubClass);
    IOReturn (*GetInterfaceProtocol)(void* self, UInt8* intfProtocol);
    IOReturn (*GetDeviceVendor)(void* self, UInt16* devVendor);
    IOReturn (*GetDeviceProduct)(void* self, UInt16* devProduct);
    IOReturn (*GetDeviceReleaseNumber)(void* self, UInt16* devRelNum);
    IOReturn (*GetConfigurationValue)(void* self, UInt8* configVal);
    IOReturn (*GetInterfaceNumber)(void* self, UInt8* intfNumber);
    IOReturn (*GetAlternateSetting)(void* self, UInt8* intfAltSetting);
    IOReturn (*GetNumEndpoints)(void* self, UInt8* intfNumEndpoints);
    IOReturn (*GetLocationID)(void* self, UInt32* locationID);
    IOReturn (*GetDevice)(void* self, io_service_t* device);
    IOReturn (*SetAlternateInterface)(void* self, UInt8 alternateSetting);
    IOReturn (*GetBusFrameNumber)(void* self, UInt64* frame, AbsoluteTime* atTime);
    IOReturn (*ControlRequest)(void* self, UInt8 pipeRef, IOUSBDevRequest* req);
    IOReturn (*ControlRequestAsync)(void* self, UInt8 pipeRef, IOUSBDevRequest* req, IOAsyncCallback1 callback,
                                    void* refCon);
    IOReturn (*GetPipeProperties)(void* self, UInt8 pipeRef, UInt8* direction, UInt8* number, UInt8* transferType,
                                  UInt16* maxPacketSize, UInt8* interval);
    IOReturn (*GetPipeStatus)(void* self, UInt8 pipeRef);
    IOReturn (*AbortPipe)(void* self, UInt8 pipeRef);
    IOReturn (*ResetPipe)(void* self, UInt8 pipeRef);
    IOReturn (*ClearPipeStall)(void* self, UInt8 pipeRef);
    IOReturn (*ReadPipe)(void* self, UInt8 pipeRef, void* buf, UInt32* size);
    IOReturn (*WritePipe)(void* self, UInt8 pipeRef, void* buf, UInt32 size);
    IOReturn (*ReadPipeAsync)(void* self, UInt8 pipeRef, void* buf, UInt32 size, IOAsyncCallback1 callback,
                              void* refcon);
    IOReturn (*WritePipeAsync)(void* self, UInt8 pipeRef, void* buf, UInt32 size, IOAsyncCallback1 callback,
                               void* refcon);
    IOReturn (*ReadIsochPipeAsync)(void* self, UInt8 pipeRef, void* buf, UInt64 frameStart, UInt32 numFrames,
                                   IOUSBIsocFrame* frameList, IOAsyncCallback1 callback, void* refcon);
    IOReturn (*WriteIsochPipeAsync)(void* self, UInt8 pipeRef, void* buf, UInt64 frameStart, UInt32 numFrames,
                                    IOUSBIsocFrame* frameList, IOAsyncCallback1 callback, void* refcon);
} IOUSBInterfaceInterface;

#ifdef __cplusplus
}
#endif

#endif
