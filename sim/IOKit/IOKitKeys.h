// <IOKit/IOKitKeys.h>: plane names, matching keys and notification types.
#ifndef _IOKIT_IOKITKEYS_H
#define _IOKIT_IOKITKEYS_H

// The names of the registry planes, of the keys of matching dictionaries and of the
// notification types, as the kernel and its user clients spell them.

// Planes.
#define kIOServicePlane "IOService"
#define kIOPowerPlane "IOPower"
#define kIODeviceTreePlane "IODeviceTree"
#define kIOAudioPlane "IOAudio"
#define kIOFireWirePlane "IOFireWire"
#define kIOUSBPlane "IOUSB"

// Properties every registry entry may carry.
#define kIORegistryEntryIDKey "IORegistryEntryID"
#define kIORegistryEntryPropertyKeysKey "IORegistryEntryPropertyKeys"
#define kIOClassKey "IOClass"
#define kIOProbeScoreKey "IOProbeScore"
#define kIOKitDebugKey "IOKitDebug"
#define kIONameKey "IOName"
#define kIOLocationKey "IOLocation"

// Matching dictionary keys.
#define kIOProviderClassKey "IOProviderClass"
#define kIONameMatchKey "IONameMatch"
#define kIOPropertyMatchKey "IOPropertyMatch"
#define kIOPropertyExistsMatchKey "IOPropertyExistsMatch"
#define kIOPathMatchKey "IOPathMatch"
#define kIOLocationMatchKey "IOLocationMatch"
#define kIOParentMatchKey "IOParentMatch"
#define kIOResourceMatchKey "IOResourceMatch"
#define kIOResourceMatchedKey "IOResourceMatched"
#define kIOMatchedServiceCountKey "IOMatchedServiceCountMatch"
#define kIONameMatchedKey "IONameMatched"
#define kIOMatchCategoryKey "IOMatchCategory"
#define kIODefaultMatchCategoryKey "IODefaultMatchCategory"

// Notification types for IOServiceAddMatchingNotification.
#define kIOPublishNotification "IOServicePublish"
#define kIOFirstPublishNotification "IOServiceFirstPublish"
#define kIOMatchedNotification "IOServiceMatched"
#define kIOFirstMatchNotification "IOServiceFirstMatch"
#define kIOTerminatedNotification "IOServiceTerminate"
#define kIOWillTerminateNotification "IOServiceWillTerminate"

// Interest types for IOServiceAddInterestNotification.
#define kIOGeneralInterest "IOGeneralInterest"
#define kIOBusyInterest "IOBusyInterest"
#define kIOAppPowerStateInterest "IOAppPowerStateInterest"
#define kIOPriorityPowerStateInterest "IOPriorityPowerStateInterest"

#define kIOPlatformDeviceMessageKey "IOPlatformDeviceMessage"

// User client properties.
#define kIOUserClientClassKey "IOUserClientClass"

// Platform expert properties.
#define kIOPlatformSerialNumberKey "IOPlatformSerialNumber"
#define kIOPlatformUUIDKey "IOPlatformUUID"

#endif
