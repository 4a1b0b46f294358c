// The registry keys of USB entries and the standard numbers of USB requests, descriptors and device classes, as Apple declares them; programs include it under Apple's name for it, which the build makes.
#ifndef _USB_STANDARD_H
#define _USB_STANDARD_H

// The names under which the USB family publishes a device's and an interface's
// descriptor fields in the registry (which is why code that only reads properties,
// such as HID code asking a device for its interface number, includes this header
// alone), and the numbers fixed by the bus itself, the same on every host: the fields
// of a control request's bmRequestType, the standard request codes, descriptor types,
// and the device and interface class codes.

#ifdef __cplusplus
extern "C" {
#endif

// Property keys of device entries: the device descriptor's fields, and the strings
// and facts the family adds.
#define kUSBDeviceClass "bDeviceClass"
#define kUSBDeviceSubClass "bDeviceSubClass"
#define kUSBDeviceProtocol "bDeviceProtocol"
#define kUSBDeviceMaxPacketSize "bMaxPacketSize0"
#define kUSBVendorID "idVendor"
#define kUSBProductID "idProduct"
#define kUSBDeviceReleaseNumber "bcdDevice"
#define kUSBManufacturerStringIndex "iManufacturer"
#define kUSBProductStringIndex "iProduct"
#define kUSBSerialNumberStringIndex "iSerialNumber"
#define kUSBDeviceNumConfigs "bNumConfigurations"
#define kUSBProductString "USB Product Name"
#define kUSBVendorString "USB Vendor Name"
#define kUSBSerialNumberString "USB Serial Number"
#define kUSB1284DeviceID "1284 Device ID"
#define kUSBDevicePropertySpeed "Device Speed"
#define kUSBDevicePropertyBusPowerAvailable "Bus Power Available"
#define kUSBDevicePropertyAddress "USB Address"
#define kUSBDevicePropertyLocationID "locationID"

// Property keys of interface entries.
#define kUSBInterfaceNumber "bInterfaceNumber"
#define kUSBAlternateSetting "bAlternateSetting"
#define kUSBNumEndpoints "bNumEndpoints"
#define kUSBInterfaceClass "bInterfaceClass"
#define kUSBInterfaceSubClass "bInterfaceSubClass"
#define kUSBInterfaceProtocol "bInterfaceProtocol"
#define kUSBInterfaceStringIndex "iInterface"
#define kUSBConfigurationValue "bConfigurationValue"

// Endpoint transfer types.
enum
{
    kUSBControl = 0,
    kUSBIsoc = 1,
    kUSBBulk = 2,
    kUSBInterrupt = 3,
    kUSBAnyType = 0xFF
};

// Directions: of a request's data stage, or of an endpoint.
enum
{
    kUSBOut = 0,
    kUSBIn = 1,
    kUSBNone = 2,
    kUSBAnyDirn = 3
};

// Request types.
enum
{
    kUSBStandard = 0,
    kUSBClass = 1,
    kUSBVendor = 2
};

// Request recipients.
enum
{
    kUSBDevice = 0,
    kUSBInterface = 1,
    kUSBEndpoint = 2,
    kUSBOther = 3
};

// Standard request codes (bRequest).
enum
{
    kUSBRqGetStatus = 0,
    kUSBRqClearFeature = 1,
    kUSBRqGetState = 2,
    kUSBRqSetFeature = 3,
    kUSBRqReserved2 = 4,
    kUSBRqSetAddress = 5,
    kUSBRqGetDescriptor = 6,
    kUSBRqSetDescriptor = 7,
    kUSBRqGetConfig = 8,
    kUSBRqSetConfig = 9,
    kUSBRqGetInterface = 10,
    kUSBRqSetInterface = 11,
    kUSBRqSyncFrame = 12,
    kUSBSetSel = 48,
    kUSBSetIsochDelay = 49
};

// Descriptor types (the high byte of wValue in a GET_DESCRIPTOR request).
enum
{
    kUSBAnyDesc = 0,
    kUSBDeviceDesc = 1,
    kUSBConfDesc = 2,
    kUSBStringDesc = 3,
    kUSBInterfaceDesc = 4,
    kUSBEndpointDesc = 5,
    kUSBDeviceQualifierDesc = 6,
    kUSBOtherSpeedConfDesc = 7,
    kUSBInterfacePowerDesc = 8,
    kUSBOnTheGoDesc = 9,
    kUSBDebugDesc = 10,
    kUSBInterfaceAssociationDesc = 11,
    kUSBBOSDescriptor = 15,
    kUSBDeviceCapability = 16,
    kUSBSuperSpeedEndpointCompanion = 48,
    kUSB3HUBDesc = 0x2A,
    kUSBHIDDesc = 0x21,
    kUSBReportDesc = 0x22,
    kUSBPhysicalDesc = 0x23,
    kUSBHUBDesc = 0x29
};

// Standard feature selectors.
enum
{
    kUSBFeatureEndpointStall = 0,
    kUSBFeatureDeviceRemoteWakeup = 1,
    kUSBFeatureTestMode = 2
};

// Device class codes (bDeviceClass).
enum
{
    kUSBCompositeClass = 0,
    kUSBCommClass = 2,
    kUSBCommunicationClass = 2,
    kUSBHubClass = 9,
    kUSBDataClass = 10,
    kUSBPersonalHealthcareClass = 15,
    kUSBDiagnosticClass = 0xDC,
    kUSBWirelessControllerClass = 0xE0,
    kUSBMiscellaneousClass = 0xEF,
    kUSBApplicationSpecificClass = 0xFE,
    kUSBVendorSpecificClass = 0xFF
};

// Interface class codes (bInterfaceClass).
enum
{
    kUSBAudioClass = 1,
    kUSBAudioInterfaceClass = 1,
    kUSBCommunicationControlInterfaceClass = 2,
    kUSBCommunicationDataInterfaceClass = 10,
    kUSBHIDClass = 3,
    kUSBHIDInterfaceClass = 3,
    kUSBPhysicalInterfaceClass = 5,
    kUSBImageInterfaceClass = 6,
    kUSBPrintingClass = 7,
    kUSBPrintingInterfaceClass = 7,
    kUSBMassStorageClass = 8,
    kUSBMassStorageInterfaceClass = 8,
    kUSBChipSmartCardInterfaceClass = 11,
    kUSBContentSecurityInterfaceClass = 13,
    kUSBVideoInterfaceClass = 14,
    kUSBPersonalHealthcareInterfaceClass = 15,
    kUSBDiagnosticDeviceInterfaceClass = 0xDC,
    kUSBWirelessControllerInterfaceClass = 0xE0,
    kUSBApplicationSpecificInterfaceClass = 0xFE,
    kUSBVendorSpecificInterfaceClass = 0xFF
};

#ifdef __cplusplus
}
#endif

#endif
