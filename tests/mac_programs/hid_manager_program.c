/* A C program as most Mac HID code is written: an IOHIDManager finds the keyboards
   by usage, opens them seized, and writes down the letter keys pressed, from an
   input value callback, while the run loop runs in the default mode. It stops when
   a keyboard goes away (or a timer, ten seconds on, gives up), closes the manager, and compares what was typed with its
   argument, with the count of keyboards found with its second. It exits non-zero,
   saying why, when either differs or a call fails. */
#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/hid/IOHIDLib.h>
#include <IOKit/hid/IOHIDManager.h>
#include <mach/mach_error.h>

struct session
{
    char typed[64];
    size_t length;
    int keyboards;
    bool removed;
};

static void keyboard_matched(void* context, IOReturn result, void* sender, IOHIDDeviceRef device)
{
    struct session* session = (struct session*)context;
    (void)sender;
    (void)device;
    if (result != kIOReturnSuccess)
        fprintf(stderr, "hid_manager_program: a keyboard did not open: %s\n", mach_error_string(result));
    ++session->keyboards;
}

static void give_up(CFRunLoopTimerRef timer, void* context)
{
    (void)timer;
    (void)context;
    CFRunLoopStop(CFRunLoopGetCurrent());
}

static void keyboard_removed(void* context, IOReturn result, void* sender, IOHIDDeviceRef device)
{
    (void)result;
    (void)sender;
    (void)device;
    ((struct session*)context)->removed = true;
    CFRunLoopStop(CFRunLoopGetCurrent());
}

/* Letter keys are usages 0x04 ('a') to 0x1D ('z') of the keyboard page; a value of
   1 is a press, 0 a release. */
static void value_arrived(void* context, IOReturn result, void* sender, IOHIDValueRef value)
{
    struct session* session = (struct session*)context;
    IOHIDElementRef element = IOHIDValueGetElement(value);
    uint32_t page = IOHIDElementGetUsagePage(element);
    uint32_t usage = IOHIDElementGetUsage(element);
    (void)sender;
    if (result != kIOReturnSuccess || page != kHIDPage_KeyboardOrKeypad || usage < kHIDUsage_KeyboardA ||
        usage > kHIDUsage_KeyboardZ || IOHIDValueGetIntegerValue(value) != 1)
        return;
    if (session->length + 1 < sizeof session->typed)
        session->typed[session->length++] = (char)('a' + (usage - kHIDUsage_KeyboardA));
}

static CFDictionaryRef usage_matching(uint32_t page, uint32_t usage)
{
    CFMutableDictionaryRef matching = CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                                &kCFTypeDictionaryValueCallBacks);
    CFNumberRef page_number = CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &page);
    CFNumberRef usage_number = CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &usage);
    CFDictionarySetValue(matching, CFSTR(kIOHIDDeviceUsagePageKey), page_number);
    CFDictionarySetValue(matching, CFSTR(kIOHIDDeviceUsageKey), usage_number);
    CFRelease(page_number);
    CFRelease(usage_number);
    return matching;
}

int main(int argc, char** argv)
{
    if (argc != 3)
    {
        fputs("usage: hid_manager_program TEXT KEYBOARDS\n", stderr);
        return EXIT_FAILURE;
    }
    struct session session = {{0}, 0, 0, false};
    IOHIDManagerRef manager = IOHIDManagerCreate(kCFAllocatorDefault, kIOHIDOptionsTypeNone);
    CFDictionaryRef keyboards = usage_matching(kHIDPage_GenericDesktop, kHIDUsage_GD_Keyboard);
    IOHIDManagerSetDeviceMatching(manager, keyboards);
    CFRelease(keyboards);
    IOHIDManagerRegisterDeviceMatchingCallback(manager, keyboard_matched, &session);
    IOHIDManagerRegisterDeviceRemovalCallback(manager, keyboard_removed, &session);
    IOHIDManagerRegisterInputValueCallback(manager, value_arrived, &session);
    IOHIDManagerScheduleWithRunLoop(manager, CFRunLoopGetCurrent(), kCFRunLoopDefaultMode);
    IOReturn opened = IOHIDManagerOpen(manager, kIOHIDOptionsTypeSeizeDevice);
    if (opened != kIOReturnSuccess)
    {
        fprintf(stderr, "hid_manager_program: IOHIDManagerOpen: %s\n", mach_error_string(opened));
        return EXIT_FAILURE;
    }

    /* Ten seconds at most, so that a keyboard that never goes fails the run. */
    CFRunLoopTimerRef deadline =
        CFRunLoopTimerCreate(kCFAllocatorDefault, CFAbsoluteTimeGetCurrent() + 10, 0, 0, 0, give_up, NULL);
    CFRunLoopAddTimer(CFRunLoopGetCurrent(), deadline, kCFRunLoopDefaultMode);
    CFRunLoopRun();
    CFRunLoopTimerInvalidate(deadline);
    CFRelease(deadline);

    IOReturn closed = IOHIDManagerClose(manager, kIOHIDOptionsTypeNone);
    CFRelease(manager);
    printf("%d keyboards, typed \"%s\"\n", session.keyboards, session.typed);
    if (closed != kIOReturnSuccess)
    {
        fprintf(stderr, "hid_manager_program: IOHIDManagerClose: %s\n", mach_error_string(closed));
        return EXIT_FAILURE;
    }
    if (!session.removed)
    {
        fputs("hid_manager_program: no keyboard went away within ten seconds\n", stderr);
        return EXIT_FAILURE;
    }
    if (strcmp(session.typed, argv[1]) != 0 || session.keyboards != atoi(argv[2]))
    {
        fprintf(stderr, "hid_manager_program: expected %s keyboards typing \"%s\"\n", argv[2], argv[1]);
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
