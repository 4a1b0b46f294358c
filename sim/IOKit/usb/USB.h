// <IOKit/usb/USB.h> as Apple declares it: USB class names, request macros and descriptor layouts.
#ifndef _USB_H
#define _USB_H

// What user-space USB code needs apart from the plug-in interfaces: the classes to
// match, how to build a control request, and the descriptors as they come off the
// bus. The registry keys come with usb_standard.h.

#include <IOKit/IOReturn.h>
#include <IOKit/IOTypes.h>
#include <IOKit/usb/usb_standard.h>
#include <MacTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

// The classes to match. SDKs from 10.15 on give the IOUSBHostFamily names to a
// program built for macOS 10.15 or later, as every program for the simulated
// Mac (macOS 13) is; older SDKs, and older targets, gave "IOUSBDevice" and
// "IOUSBInterface", which Intel Macs still answer through IOClassNameOverride.
#define kIOUSBDeviceClassName "IOUSBHostDevice"
#define kIOUSBInterfaceClassName "IOUSBHostInterface"

// The values of "Device Speed".
enum
{
    kUSBDeviceSpeedLow = 0,
    kUSBDeviceSpeedFull = 1,
    kUSBDeviceSpeedHigh = 2,
    kUSBDeviceSpeedSuper = 3
};

// Errors of the USB family: iokit_usb_err(code) is in IOKit's USB subsystem.
#define iokit_usb_err(return ) (sys_iokit | sub_iokit_usb | return )
#define kIOUSBPipeStalled iokit_usb_err(0x4f)
#define kIOUSBTransactionTimeout iokit_usb_err(0x51)

// bmRequestType: direction in bit 7, type in bits 5 and 6, recipient in bits 0 to 4.
enum
{
    kUSBRqDirnShift = 7,
    kUSBRqDirnMask = 1,
    kUSBRqTypeShift = 5,
    kUSBRqTypeMask = 3,
    kUSBRqRecipientMask = 0X1F
};

#define USBmakebmRequestType(direction, type, recipient)                                                               \
    ((((direction)&kUSBRqDirnMask) << kUSBRqDirnShift) | (((type)&kUSBRqTypeMask) << kUSBRqTypeShift) |                \
     ((recipient)&kUSBRqRecipientMask))

// A control request to the default pipe; wLenDone is how many bytes moved.
typedef struct
{
    UInt8 bmRequestType;
    UInt8 bRequest;
    UInt16 wValue;
    UInt16 wIndex;
    UInt16 wLength;
    void* pData;
    UInt32 wLenDone;
} IOUSBDevRequest;
typedef IOUSBDevRequest* IOUSBDeviceRequestPtr;

// The same, with timeouts in milliseconds for a stage without data and for the whole.
typedef struct
{
    UInt8 bmRequestType;
    UInt8 bRequest;
    UInt16 wValue;
    UInt16 wIndex;
    UInt16 wLength;
    void* pData;
    UInt32 wLenDone;
    UInt32 noDataTimeout;
    UInt32 completionTimeout;
} IOUSBDevRequestTO;

// Which interfaces a device's interface iterator gives; kIOUSBFindInterfaceDontCare
// in a field matches any value.
enum
{
    kIOUSBFindInterfaceDontCare = 0xFFFF
};

typedef struct
{
    UInt16 bInterfaceClass;
    UInt16 bInterfaceSubClass;
    UInt16 bInterfaceProtocol;
    UInt16 bAlternateSetting;
} IOUSBFindInterfaceRequest;

// One frame of an isochronous transfer.
typedef struct
{
    IOReturn frStatus;
    UInt16 frReqCount;
    UInt16 frActCount;
} IOUSBIsocFrame;

typedef UInt16 USBDeviceAddress;

// Descriptors are laid out byte for byte as the device sends them (multi-byte
// fields little-endian), so they are packed.
#pragma pack(push, 1)

typedef struct
{
    UInt8 bLength;
    UInt8 bDescriptorType;
} IOUSBDescriptorHeader;

typedef struct IOUSBDeviceDescriptor
{
    UInt8 bLength;
    UInt8 bDescriptorType;
    UInt16 bcdUSB;
    UInt8 bDeviceClass;
    UInt8 bDeviceSubClass;
    UInt8 bDeviceProtocol;
    UInt8 bMaxPacketSize0;
    UInt16 idVendor;
    UInt16 idProduct;
    UInt16 bcdDevice;
    UInt8 iManufacturer;
    UInt8 iProduct;
    UInt8 iSerialNumber;
    UInt8 bNumConfigurations;
} IOUSBDeviceDescriptor;
typedef IOUSBDeviceDescriptor* IOUSBDeviceDescriptorPtr;

typedef struct IOUSBConfigurationDescriptor
{
    UInt8 bLength;
    UInt8 bDescriptorType;
    UInt16 wTotalLength;
    UInt8 bNumInterfaces;
    UInt8 bConfigurationValue;
    UInt8 iConfiguration;
    UInt8 bmAttributes;
    UInt8 MaxPower;
} IOUSBConfigurationDescriptor;
typedef IOUSBConfigurationDescriptor* IOUSBConfigurationDescriptorPtr;

typedef struct IOUSBInterfaceDescriptor
{
    UInt8 bLength;
    UInt8 bDescriptorType;
    UInt8 bInterfaceNumber;
    UInt8 bAlternateSetting;
    UInt8 bNumEndpoints;
    UInt8 bInterfaceClass;
    UInt8 bInterfaceSubClass;
    UInt8 bInterfaceProtocol;
    UInt8 iInterface;
} IOUSBInterfaceDescriptor;
typedef IOUSBInterfaceDescriptor* IOUSBInterfaceDescriptorPtr;

typedef struct IOUSBEndpointDescriptor
{
    UInt8 bLength;
    UInt8 bDescriptorType;
    UInt8 bEndpointAddress;
    UInt8 bmAttributes;
    UInt16 wMaxPacketSize;
    UInt8 bInterval;
} IOUSBEndpointDescriptor;
typedef IOUSBEndpointDescriptor* IOUSBEndpointDescriptorPtr;

#pragma pack(pop)

#ifdef __cplusplus
}
#endif

#endif
