/* A C program as Mac HID code is often written without the HID manager: it
   finds HID services in the registry by class, makes an IOHIDDeviceRef of each,
   and counts them by the keys and values of IOHIDKeys.h. It runs against the
   registry PLINTH_SIM_REGISTRY names, and expects the counts its arguments give:
   devices, keyboards, devices on USB, devices on Bluetooth. It exits non-zero,
   saying why, when they differ or an option or key differs from a Mac's. */
#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <mach/mach.h>
#include <IOKit/hid/IOHIDDevice.h>
#include <IOKit/hid/IOHIDKeys.h>

static long number_property(IOHIDDeviceRef device, const char* key)
{
    CFStringRef name = CFStringCreateWithCString(NULL, key, kCFStringEncodingUTF8);
    CFTypeRef value = IOHIDDeviceGetProperty(device, name);
    CFRelease(name);
    long number = -1;
    if (value != NULL && CFGetTypeID(value) == CFNumberGetTypeID())
        CFNumberGetValue((CFNumberRef)value, kCFNumberLongType, &number);
    return number;
}

static bool text_property_is(IOHIDDeviceRef device, CFStringRef key, const char* expected)
{
    CFTypeRef value = IOHIDDeviceGetProperty(device, key);
    char text[128];
    return value != NULL && CFGetTypeID(value) == CFStringGetTypeID() &&
           CFStringGetCString((CFStringRef)value, text, sizeof text, kCFStringEncodingUTF8) &&
           strcmp(text, expected) == 0;
}

int main(int argc, char** argv)
{
    if (argc != 5)
    {
        fputs("usage: hid_keys_program DEVICES KEYBOARDS USB BLUETOOTH\n", stderr);
        return EXIT_FAILURE;
    }
    int const expected[4] = {atoi(argv[1]), atoi(argv[2]), atoi(argv[3]), atoi(argv[4])};
    io_iterator_t services = IO_OBJECT_NULL;
    kern_return_t result =
        IOServiceGetMatchingServices(kIOMainPortDefault, IOServiceMatching(kIOHIDDeviceKey), &services);
    if (result != KERN_SUCCESS)
    {
        fprintf(stderr, "hid_keys_program: no HID services: %s\n", mach_error_string(result));
        return EXIT_FAILURE;
    }
    int devices = 0, keyboards = 0, usb = 0, bluetooth = 0, paired = 0;
    io_service_t service;
    while ((service = IOIteratorNext(services)) != IO_OBJECT_NULL)
    {
        IOHIDDeviceRef device = IOHIDDeviceCreate(kCFAllocatorDefault, service);
        IOObjectRelease(service);
        if (device == NULL)
            continue;
        ++devices;
        if (number_property(device, kIOHIDPrimaryUsagePageKey) == 0x01 &&
            number_property(device, kIOHIDPrimaryUsageKey) == 0x06)
            ++keyboards;
        if (text_property_is(device, CFSTR(kIOHIDTransportKey), kIOHIDTransportUSBValue))
            ++usb;
        if (text_property_is(device, CFSTR(kIOHIDTransportKey), kIOHIDTransportBluetoothValue))
            ++bluetooth;
        CFTypeRef pairs = IOHIDDeviceGetProperty(device, CFSTR(kIOHIDDeviceUsagePairsKey));
        if (pairs != NULL && CFGetTypeID(pairs) == CFArrayGetTypeID() && CFArrayGetCount((CFArrayRef)pairs) > 0)
            ++paired;
        CFRelease(device);
    }
    IOObjectRelease(services);

    int failures = 0;
    if (devices != expected[0] || keyboards != expected[1] || usb != expected[2] || bluetooth != expected[3] ||
        paired != devices)
    {
        fprintf(stderr,
                "hid_keys_program: %d devices (%d expected), %d keyboards (%d), %d on USB (%d), %d on Bluetooth (%d), "
                "%d with usage pairs (all)\n",
                devices, expected[0], keyboards, expected[1], usb, expected[2], bluetooth, expected[3], paired);
        ++failures;
    }
    if (kIOHIDOptionsTypeSeizeDevice != 1 || kIOHIDQueueOptionsTypeEnqueueAll != 1 ||
        kIOHIDStandardTypeUnspecified != 0xFFFFFFFFu || strcmp(kIOHIDElementVendorSpecificKey, "VendorSpecific") != 0)
    {
        fputs("hid_keys_program: option and key values differ from a Mac's\n", stderr);
        ++failures;
    }
    if (failures == 0)
        printf("hid_keys_program: %d HID devices, as on a Mac\n", devices);
    return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
