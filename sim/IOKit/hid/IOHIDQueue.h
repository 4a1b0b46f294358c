// <IOKit/hid/IOHIDQueue.h> as Apple declares it: a queue of the values of chosen input elements of one device.
#ifndef _IOKIT_HID_IOHIDQUEUE_USER_H
#define _IOKIT_HID_IOHIDQUEUE_USER_H

// A queue keeps every value of the elements added to it, in order, up to its
// depth, where the device's GetValue keeps only the last one. It fills while it
// is started and its device open: with a value whose element changed, or is
// relative, or carries the whole report; with every value when made with
// kIOHIDQueueOptionsTypeEnqueueAll (IOHIDKeys.h). A value that finds it full is
// dropped. Its callback runs on the run loops it is scheduled on when it goes
// from empty to not empty. The dispatch-queue forms (IOHIDQueueSetDispatchQueue,
// SetCancelHandler, Activate, Cancel) are left out: the simulation has no
// dispatch queues, and a program that uses them should fail to build here rather
// than run without its callback.

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/hid/IOHIDBase.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct __IOHIDQueue* IOHIDQueueRef;

CFTypeID IOHIDQueueGetTypeID(void);

// NULL when `depth` is not positive or the device refuses the connection. The
// queue retains its device.
IOHIDQueueRef IOHIDQueueCreate(CFAllocatorRef allocator, IOHIDDeviceRef device, CFIndex depth, IOOptionBits options);

IOHIDDeviceRef IOHIDQueueGetDevice(IOHIDQueueRef queue);

CFIndex IOHIDQueueGetDepth(IOHIDQueueRef queue);
void IOHIDQueueSetDepth(IOHIDQueueRef queue, CFIndex depth);

void IOHIDQueueAddElement(IOHIDQueueRef queue, IOHIDElementRef element);
void IOHIDQueueRemoveElement(IOHIDQueueRef queue, IOHIDElementRef element);
Boolean IOHIDQueueContainsElement(IOHIDQueueRef queue, IOHIDElementRef element);

void IOHIDQueueStart(IOHIDQueueRef queue);
void IOHIDQueueStop(IOHIDQueueRef queue);

void IOHIDQueueScheduleWithRunLoop(IOHIDQueueRef queue, CFRunLoopRef runLoop, CFStringRef runLoopMode);
void IOHIDQueueUnscheduleFromRunLoop(IOHIDQueueRef queue, CFRunLoopRef runLoop, CFStringRef runLoopMode);

// The sender the callback sees is the queue.
void IOHIDQueueRegisterValueAvailableCallback(IOHIDQueueRef queue, IOHIDCallback callback, void* context);

// Create rule; NULL when the queue is empty (or, with a timeout, stays empty that
// many seconds).
IOHIDValueRef IOHIDQueueCopyNextValue(IOHIDQueueRef queue);
IOHIDValueRef IOHIDQueueCopyNextValueWithTimeout(IOHIDQueueRef queue, CFTimeInterval timeout);

#ifdef __cplusplus
}
#endif

#endif
