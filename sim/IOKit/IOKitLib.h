// <IOKit/IOKitLib.h> as Apple declares it: handles, iterators, the registry, matching, notifications.
#ifndef _IOKIT_IOKITLIB_H
#define _IOKIT_IOKITLIB_H

// The user-space interface to the I/O Registry: handles to registry entries and
// iterators, navigation through the planes, properties as CF values, and matching.

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitKeys.h>
#include <IOKit/IOReturn.h>
#include <IOKit/IOTypes.h>
#include <mach/mach_types.h>

#include <stdint.h>

// Apple declares the names and paths these functions read as `const io_name_t`
// and `const io_string_t`. Adjusted, such a parameter is a `const char *` either
// way, but GCC takes the array's bound for a promise that 128 (or 512) bytes are
// readable, and warns wherever a short name such as kIOServicePlane is passed.
// Under GCC they are declared as the pointers they are.
#if defined(__GNUC__) && !defined(__clang__)
#define __IOKIT_NAME_IN const char*
#define __IOKIT_STRING_IN const char*
#else
#define __IOKIT_NAME_IN const io_name_t
#define __IOKIT_STRING_IN const io_string_t
#endif

#ifdef __cplusplus
extern "C" {
#endif

// The port that every call accepts as "the default main port".
extern const mach_port_t kIOMainPortDefault;
extern const mach_port_t kIOMasterPortDefault;

kern_return_t IOMainPort(mach_port_t bootstrapPort, mach_port_t* mainPort);
kern_return_t IOMasterPort(mach_port_t bootstrapPort, mach_port_t* mainPort);

// Notification ports and their callbacks.
typedef struct IONotificationPort* IONotificationPortRef;
typedef void (*IOServiceMatchingCallback)(void* refcon, io_iterator_t iterator);
typedef void (*IOServiceInterestCallback)(void* refcon, io_service_t service, uint32_t messageType,
                                          void* messageArgument);

// The callbacks of asynchronous requests (a plug-in's reads and writes): the
// caller's refcon, the result, and as many arguments as the request gives.
typedef void (*IOAsyncCallback0)(void* refcon, IOReturn result);
typedef void (*IOAsyncCallback1)(void* refcon, IOReturn result, void* arg0);
typedef void (*IOAsyncCallback2)(void* refcon, IOReturn result, void* arg0, void* arg1);
typedef void (*IOAsyncCallback)(void* refcon, IOReturn result, void** args, uint32_t numArgs);

IONotificationPortRef IONotificationPortCreate(mach_port_t mainPort);
void IONotificationPortDestroy(IONotificationPortRef notify);
CFRunLoopSourceRef IONotificationPortGetRunLoopSource(IONotificationPortRef notify);

// Objects.
kern_return_t IOObjectRelease(io_object_t object);
kern_return_t IOObjectRetain(io_object_t object);
kern_return_t IOObjectGetClass(io_object_t object, io_name_t className);
CFStringRef IOObjectCopyClass(io_object_t object);
CFStringRef IOObjectCopySuperclassForClass(CFStringRef classname);
CFStringRef IOObjectCopyBundleIdentifierForClass(CFStringRef classname);
boolean_t IOObjectConformsTo(io_object_t object, __IOKIT_NAME_IN className);
boolean_t IOObjectIsEqualTo(io_object_t object, io_object_t anObject);
uint32_t IOObjectGetKernelRetainCount(io_object_t object);
uint32_t IOObjectGetUserRetainCount(io_object_t object);
uint32_t IOObjectGetRetainCount(io_object_t object);

// Iterators.
io_object_t IOIteratorNext(io_iterator_t iterator);
void IOIteratorReset(io_iterator_t iterator);
boolean_t IOIteratorIsValid(io_iterator_t iterator);

// Services and matching. Both calls consume one reference of `matching`.
io_service_t IOServiceGetMatchingService(mach_port_t mainPort, CFDictionaryRef matching);
kern_return_t IOServiceGetMatchingServices(mach_port_t mainPort, CFDictionaryRef matching, io_iterator_t* existing);

// Notifications of services that arrive or leave (consumes one reference of
// `matching`), and of one service's messages.
kern_return_t IOServiceAddMatchingNotification(IONotificationPortRef notifyPort, __IOKIT_NAME_IN notificationType,
                                               CFDictionaryRef matching, IOServiceMatchingCallback callback,
                                               void* refCon, io_iterator_t* notification);
kern_return_t IOServiceAddInterestNotification(IONotificationPortRef notifyPort, io_service_t service,
                                               __IOKIT_NAME_IN interestType, IOServiceInterestCallback callback,
                                               void* refCon, io_object_t* notification);

// A service's busy count: how many registrations, matchings and terminations are
// under way on it and its clients.
kern_return_t IOServiceGetBusyState(io_service_t service, uint32_t* busyState);
kern_return_t IOServiceWaitQuiet(io_service_t service, mach_timespec_t* waitTime);

CFMutableDictionaryRef IOServiceMatching(const char* name);
CFMutableDictionaryRef IOServiceNameMatching(const char* name);
CFMutableDictionaryRef IOBSDNameMatching(mach_port_t mainPort, uint32_t options, const char* bsdName);
CFMutableDictionaryRef IORegistryEntryIDMatching(uint64_t entryID);

// The registry.
io_registry_entry_t IORegistryGetRootEntry(mach_port_t mainPort);
io_registry_entry_t IORegistryEntryFromPath(mach_port_t mainPort, __IOKIT_STRING_IN path);
io_registry_entry_t IORegistryEntryCopyFromPath(mach_port_t mainPort, CFStringRef path);

kern_return_t IORegistryCreateIterator(mach_port_t mainPort, __IOKIT_NAME_IN plane, IOOptionBits options,
                                       io_iterator_t* iterator);
kern_return_t IORegistryEntryCreateIterator(io_registry_entry_t entry, __IOKIT_NAME_IN plane, IOOptionBits options,
                                            io_iterator_t* iterator);
kern_return_t IORegistryIteratorEnterEntry(io_iterator_t iterator);
kern_return_t IORegistryIteratorExitEntry(io_iterator_t iterator);

kern_return_t IORegistryEntryGetName(io_registry_entry_t entry, io_name_t name);
kern_return_t IORegistryEntryGetNameInPlane(io_registry_entry_t entry, __IOKIT_NAME_IN plane, io_name_t name);
kern_return_t IORegistryEntryGetLocationInPlane(io_registry_entry_t entry, __IOKIT_NAME_IN plane, io_name_t location);
kern_return_t IORegistryEntryGetPath(io_registry_entry_t entry, __IOKIT_NAME_IN plane, io_string_t path);
CFStringRef IORegistryEntryCopyPath(io_registry_entry_t entry, __IOKIT_NAME_IN plane);
kern_return_t IORegistryEntryGetRegistryEntryID(io_registry_entry_t entry, uint64_t* entryID);

kern_return_t IORegistryEntryCreateCFProperties(io_registry_entry_t entry, CFMutableDictionaryRef* properties,
                                                CFAllocatorRef allocator, IOOptionBits options);
CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key, CFAllocatorRef allocator,
                                          IOOptionBits options);
CFTypeRef IORegistryEntrySearchCFProperty(io_registry_entry_t entry, __IOKIT_NAME_IN plane, CFStringRef key,
                                          CFAllocatorRef allocator, IOOptionBits options);

kern_return_t IORegistryEntryGetChildIterator(io_registry_entry_t entry, __IOKIT_NAME_IN plane,
                                              io_iterator_t* iterator);
kern_return_t IORegistryEntryGetChildEntry(io_registry_entry_t entry, __IOKIT_NAME_IN plane,
                                           io_registry_entry_t* child);
kern_return_t IORegistryEntryGetParentIterator(io_registry_entry_t entry, __IOKIT_NAME_IN plane,
                                               io_iterator_t* iterator);
kern_return_t IORegistryEntryGetParentEntry(io_registry_entry_t entry, __IOKIT_NAME_IN plane,
                                            io_registry_entry_t* parent);
boolean_t IORegistryEntryInPlane(io_registry_entry_t entry, __IOKIT_NAME_IN plane);

#ifdef __cplusplus
}
#endif

#endif
