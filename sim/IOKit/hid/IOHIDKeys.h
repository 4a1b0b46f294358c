// <IOKit/hid/IOHIDKeys.h>: HID keys, transport values, element keys and the HID option types.
#ifndef _IOKIT_HID_IOHIDKEYS_H
#define _IOKIT_HID_IOHIDKEYS_H

// HID class names, keys and the options of IOHIDDeviceOpen.

#include <IOKit/hid/IOHIDDeviceKeys.h>

#include <stdint.h>

#define kIOHIDDeviceKey "IOHIDDevice"

// More properties of a device, which a matching dictionary may also name.
#define kIOHIDVendorIDSourceKey "VendorIDSource"
#define kIOHIDStandardTypeKey "StandardType"
#define kIOHIDSampleIntervalKey "SampleInterval"
#define kIOHIDResetKey "Reset"
#define kIOHIDKeyboardLanguageKey "KeyboardLanguage"
#define kIOHIDAltHandlerIdKey "alt_handler_id"
#define kIOHIDDisplayIntegratedKey "DisplayIntegrated"
#define kIOHIDProductIDMaskKey "ProductIDMask"
#define kIOHIDProductIDArrayKey "ProductIDArray"
#define kIOHIDPowerOnDelayNSKey "HIDPowerOnDelayNS"
#define kIOHIDCategoryKey "Category"
#define kIOHIDMaxResponseLatencyKey "MaxResponseLatency"
#define kIOHIDUniqueIDKey "UniqueID"
#define kIOHIDModelNumberKey "ModelNumber"

// The values of kIOHIDTransportKey.
#define kIOHIDTransportUSBValue "USB"
#define kIOHIDTransportBluetoothValue "Bluetooth"
#define kIOHIDTransportBluetoothLowEnergyValue "BluetoothLowEnergy"
#define kIOHIDTransportAIDBValue "AID"
#define kIOHIDTransportI2CValue "I2C"
#define kIOHIDTransportSPIValue "SPI"
#define kIOHIDTransportSerialValue "Serial"
#define kIOHIDTransportIAPValue "iAP"
#define kIOHIDTransportAirPlayValue "AirPlay"
#define kIOHIDTransportSPUValue "SPU"
#define kIOHIDTransportBTAACPValue "BT-AACP"
#define kIOHIDTransportFIFOValue "FIFO"

#define kIOHIDCategoryAutomotiveValue "Automotive"

// The keys of an element's description, and of element matching dictionaries.
#define kIOHIDElementKey "Elements"
#define kIOHIDElementCookieKey "ElementCookie"
#define kIOHIDElementTypeKey "Type"
#define kIOHIDElementCollectionTypeKey "CollectionType"
#define kIOHIDElementUsageKey "Usage"
#define kIOHIDElementUsagePageKey "UsagePage"
#define kIOHIDElementMinKey "Min"
#define kIOHIDElementMaxKey "Max"
#define kIOHIDElementScaledMinKey "ScaledMin"
#define kIOHIDElementScaledMaxKey "ScaledMax"
#define kIOHIDElementSizeKey "Size"
#define kIOHIDElementReportSizeKey "ReportSize"
#define kIOHIDElementReportCountKey "ReportCount"
#define kIOHIDElementReportIDKey "ReportID"
#define kIOHIDElementIsArrayKey "IsArray"
#define kIOHIDElementIsRelativeKey "IsRelative"
#define kIOHIDElementIsWrappingKey "IsWrapping"
#define kIOHIDElementIsNonLinearKey "IsNonLinear"
#define kIOHIDElementHasPreferredStateKey "HasPreferredState"
#define kIOHIDElementHasNullStateKey "HasNullState"
#define kIOHIDElementFlagsKey "Flags"
#define kIOHIDElementUnitKey "Unit"
#define kIOHIDElementUnitExponentKey "UnitExponent"
#define kIOHIDElementNameKey "Name"
#define kIOHIDElementValueLocationKey "ValueLocation"
#define kIOHIDElementDuplicateIndexKey "DuplicateIndex"
#define kIOHIDElementParentCollectionKey "ParentCollection"
#define kIOHIDElementVariableSizeKey "VariableSize"
#define kIOHIDElementVendorSpecificKey "VendorSpecific"
#define kIOHIDElementCookieMinKey "ElementCookieMin"
#define kIOHIDElementCookieMaxKey "ElementCookieMax"
#define kIOHIDElementUsageMinKey "UsageMin"
#define kIOHIDElementUsageMaxKey "UsageMax"
#define kIOHIDElementCalibrationMinKey "CalibrationMin"
#define kIOHIDElementCalibrationMaxKey "CalibrationMax"
#define kIOHIDElementCalibrationSaturationMinKey "CalibrationSaturationMin"
#define kIOHIDElementCalibrationSaturationMaxKey "CalibrationSaturationMax"
#define kIOHIDElementCalibrationDeadZoneMinKey "CalibrationDeadZoneMin"
#define kIOHIDElementCalibrationDeadZoneMaxKey "CalibrationDeadZoneMax"
#define kIOHIDElementCalibrationGranularityKey "CalibrationGranularity"

#define kIOHIDKeyboardSupportsEscKey "HIDKeyboardSupportsEscKey"
#define kIOHIDKeyboardSupportsDoNotDisturbKey "HIDKeyboardSupportsDoNotDisturbKey"
#define kIOHIDDigitizerGestureCharacterStateKey "DigitizerCharacterGestureState"
#define kIOHIDKeyboardCapsLockDelay "CapsLockDelay"
#define kIOHIDKeyboardEjectDelay "EjectDelay"
#define kFnFunctionUsageMapKey "FnFunctionUsageMap"
#define kFnKeyboardUsageMapKey "FnKeyboardUsageMap"
#define kNumLockKeyboardUsageMapKey "NumLockKeyboardUsageMap"
#define kKeyboardUsageMapKey "KeyboardUsageMap"
#define kIOHIDDeviceSuspendKey "IOHIDDeviceSuspend"
#define kIOHIDSensorPropertyReportIntervalKey kIOHIDReportIntervalKey
#define kIOHIDSensorPropertySampleIntervalKey kIOHIDSampleIntervalKey
#define kIOHIDSensorPropertyBatchIntervalKey kIOHIDBatchIntervalKey
#define kIOHIDSensorPropertyReportLatencyKey kIOHIDSensorPropertyBatchIntervalKey
#define kIOHIDSensorPropertyMaxFIFOEventsKey "MaxFIFOEvents"
#define kIOHIDDigitizerSurfaceSwitchKey "DigitizerSurfaceSwitch"
#define kIOHIDKeyboardLayoutValueKey "HIDKeyboardLayoutValue"
#define kIOHIDPointerAccelerationAlgorithmKey "HIDPointerAccelerationAlgorithm"
#define kIOHIDScrollAccelerationAlgorithmKey "HIDScrollAccelerationAlgorithm"
#define kIOHIDPointerAccelerationMinimumKey "HIDPointerAccelerationMinimum"

// The size of a client's report queue: MaxReportBufferCount entries of
// ReportBufferEntrySize bytes, from the device's properties or set on one
// IOHIDDeviceRef with IOHIDDeviceSetProperty.
#define kIOHIDMaxReportBufferCountKey "MaxReportBufferCount"
#define kIOHIDReportBufferEntrySizeKey "ReportBufferEntrySize"

enum
{
    kIOHIDOptionsTypeNone = 0x00,
    kIOHIDOptionsTypeSeizeDevice = 0x01,
    kIOHIDOptionsTypeMaskPrivate = 0xff0000
};
typedef uint32_t IOHIDOptionsType;

enum
{
    kIOHIDQueueOptionsTypeNone = 0x00,
    kIOHIDQueueOptionsTypeEnqueueAll = 0x01
};
typedef uint32_t IOHIDQueueOptionsType;

enum
{
    kIOHIDStandardTypeANSI = 0x0,
    kIOHIDStandardTypeISO = 0x1,
    kIOHIDStandardTypeJIS = 0x2,
    kIOHIDStandardTypeUnspecified = 0xFFFFFFFF
};
typedef uint32_t IOHIDStandardType;

enum
{
    kIOHIDKeyboardPhysicalLayoutTypeUnknown = 0x0,
    kIOHIDKeyboardPhysicalLayoutType101 = 0x1,
    kIOHIDKeyboardPhysicalLayoutType103 = 0x2,
    kIOHIDKeyboardPhysicalLayoutType102 = 0x3,
    kIOHIDKeyboardPhysicalLayoutType104 = 0x4,
    kIOHIDKeyboardPhysicalLayoutType106 = 0x5,
    kIOHIDKeyboardPhysicalLayoutTypeVendor = 0x6
};
typedef uint32_t IOHIDKeyboardPhysicalLayoutType;

enum
{
    kIOHIDAccelerationAlgorithmTypeTable,
    kIOHIDAccelerationAlgorithmTypeParametric,
    kIOHIDAccelerationAlgorithmTypeDefault
};
typedef uint8_t IOHIDAccelerationAlgorithmType;

#endif
