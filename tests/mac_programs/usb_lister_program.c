/* A C program as Mac USB listers are written: it matches the USB device class,
   reads each device's IDs and product name from the registry, and asks for the
   USB plug-in to talk to the device, going on without it when it cannot be had
   (the simulated machine loads no plug-ins, as a sandboxed Mac may not). It runs
   against the registry PLINTH_SIM_REGISTRY names and expects the number of
   devices its argument gives, exiting non-zero, saying why, when it differs. */
#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOCFPlugIn.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/usb/IOUSBLib.h>
#include <mach/mach.h>

static long number_property(io_service_t device, const char* key)
{
    CFStringRef name = CFStringCreateWithCString(kCFAllocatorDefault, key, kCFStringEncodingUTF8);
    CFTypeRef value = IORegistryEntryCreateCFProperty(device, name, kCFAllocatorDefault, 0);
    CFRelease(name);
    long number = -1;
    if (value != NULL && CFGetTypeID(value) == CFNumberGetTypeID())
        CFNumberGetValue((CFNumberRef)value, kCFNumberLongType, &number);
    if (value != NULL)
        CFRelease(value);
    return number;
}

/* The device descriptor, as a lister asks the device itself for it. */
static IOReturn read_device_descriptor(IOUSBDeviceInterface** device, IOUSBDeviceDescriptor* descriptor)
{
    IOUSBDevRequest request;
    request.bmRequestType = USBmakebmRequestType(kUSBIn, kUSBStandard, kUSBDevice);
    request.bRequest = kUSBRqGetDescriptor;
    request.wValue = (UInt16)(kUSBDeviceDesc << 8);
    request.wIndex = 0;
    request.wLength = (UInt16)sizeof *descriptor;
    request.pData = descriptor;
    request.wLenDone = 0;
    return (*device)->DeviceRequest(device, &request);
}

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        fputs("usage: usb_lister_program DEVICES\n", stderr);
        return EXIT_FAILURE;
    }
    int const expected = atoi(argv[1]);
    io_iterator_t devices = IO_OBJECT_NULL;
    kern_return_t result =
        IOServiceGetMatchingServices(kIOMainPortDefault, IOServiceMatching(kIOUSBDeviceClassName), &devices);
    if (result != KERN_SUCCESS)
    {
        fprintf(stderr, "usb_lister_program: no USB devices: %s\n", mach_error_string(result));
        return EXIT_FAILURE;
    }
    int count = 0, with_plug_in = 0, named = 0;
    io_service_t device;
    while ((device = IOIteratorNext(devices)) != IO_OBJECT_NULL)
    {
        ++count;
        char product[128] = "(unnamed)";
        CFTypeRef name = IORegistryEntryCreateCFProperty(device, CFSTR(kUSBProductString), kCFAllocatorDefault, 0);
        if (name != NULL)
        {
            if (CFGetTypeID(name) == CFStringGetTypeID() &&
                CFStringGetCString((CFStringRef)name, product, sizeof product, kCFStringEncodingUTF8))
                ++named;
            CFRelease(name);
        }
        printf("%04lx:%04lx %s\n", number_property(device, kUSBVendorID) & 0xffff,
               number_property(device, kUSBProductID) & 0xffff, product);

        IOCFPlugInInterface** plug_in = NULL;
        SInt32 score = 0;
        result = IOCreatePlugInInterfaceForService(device, kIOUSBDeviceUserClientTypeID, kIOCFPlugInInterfaceID,
                                                   &plug_in, &score);
        IOObjectRelease(device);
        if (result != kIOReturnSuccess || plug_in == NULL)
            continue; /* the registry's view is all there is */
        IOUSBDeviceInterface** usb = NULL;
        HRESULT answer =
            (*plug_in)->QueryInterface(plug_in, CFUUIDGetUUIDBytes(kIOUSBDeviceInterfaceID), (LPVOID*)&usb);
        IODestroyPlugInInterface(plug_in);
        if (answer != S_OK || usb == NULL)
            continue;
        ++with_plug_in;
        IOUSBDeviceDescriptor descriptor;
        if (read_device_descriptor(usb, &descriptor) == kIOReturnSuccess)
            printf("  USB %x.%02x\n", descriptor.bcdUSB >> 8, descriptor.bcdUSB & 0xff);
        (*usb)->Release(usb);
    }
    IOObjectRelease(devices);

    if (count != expected || with_plug_in != 0 || USBmakebmRequestType(kUSBIn, kUSBStandard, kUSBDevice) != 0x80 ||
        sizeof(IOUSBConfigurationDescriptor) != 9 || sizeof(IOUSBDeviceDescriptor) != 18)
    {
        fprintf(stderr, "usb_lister_program: %d devices (%d expected), %d with a plug-in (none loads)\n", count,
                expected, with_plug_in);
        return EXIT_FAILURE;
    }
    printf("usb_lister_program: %d USB devices, %d named\n", count, named);
    return EXIT_SUCCESS;
}
