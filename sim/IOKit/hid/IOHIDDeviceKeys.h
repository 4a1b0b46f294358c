// <IOKit/hid/IOHIDDeviceKeys.h>: the property keys of HID devices.
#ifndef _IOKIT_HID_IOHIDDEVICEKEYS_H
#define _IOKIT_HID_IOHIDDEVICEKEYS_H

// The property keys of a HID device's registry entry.
#define kIOHIDTransportKey "Transport"
#define kIOHIDVendorIDKey "VendorID"
#define kIOHIDProductIDKey "ProductID"
#define kIOHIDVersionNumberKey "VersionNumber"
#define kIOHIDManufacturerKey "Manufacturer"
#define kIOHIDProductKey "Product"
#define kIOHIDSerialNumberKey "SerialNumber"
#define kIOHIDCountryCodeKey "CountryCode"
#define kIOHIDLocationIDKey "LocationID"
#define kIOHIDDeviceUsagePairsKey "DeviceUsagePairs"
#define kIOHIDDeviceUsageKey "DeviceUsage"
#define kIOHIDDeviceUsagePageKey "DeviceUsagePage"
#define kIOHIDPrimaryUsageKey "PrimaryUsage"
#define kIOHIDPrimaryUsagePageKey "PrimaryUsagePage"
#define kIOHIDMaxInputReportSizeKey "MaxInputReportSize"
#define kIOHIDMaxOutputReportSizeKey "MaxOutputReportSize"
#define kIOHIDMaxFeatureReportSizeKey "MaxFeatureReportSize"
#define kIOHIDReportIntervalKey "ReportInterval"
#define kIOHIDBatchIntervalKey "BatchInterval"
#define kIOHIDRequestTimeoutKey "RequestTimeout"
#define kIOHIDReportDescriptorKey "ReportDescriptor"
#define kIOHIDBuiltInKey "Built-In"
#define kIOHIDPhysicalDeviceUniqueIDKey "PhysicalDeviceUniqueID"

#endif
