/* A C program as Mac serial-port listers are written: it matches the serial
   services of every type, prints each one's callout device (the /dev/cu.* node
   a program opens) with the USB vendor found among its ancestors, and checks
   the ioctl that sets any baud rate. It expects the count of ports its argument
   gives, and exits non-zero, saying why, when it differs or a device is no
   callout node. */
#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOBSD.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/serial/IOSerialKeys.h>
#include <IOKit/serial/ioss.h>
#include <IOKit/usb/USB.h>
#include <mach/mach_error.h>
#include <paths.h>
#include <sys/param.h>

static long vendor_above(io_object_t service)
{
    long vendor = -1;
    CFTypeRef found =
        IORegistryEntrySearchCFProperty(service, kIOServicePlane, CFSTR(kUSBVendorID), kCFAllocatorDefault,
                                        kIORegistryIterateRecursively | kIORegistryIterateParents);
    if (found != NULL)
    {
        if (CFGetTypeID(found) == CFNumberGetTypeID())
            CFNumberGetValue((CFNumberRef)found, kCFNumberLongType, &vendor);
        CFRelease(found);
    }
    return vendor;
}

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        fputs("usage: serial_lister_program PORTS\n", stderr);
        return EXIT_FAILURE;
    }
    /* The request a Mac's serial driver takes for a baud rate of any value. */
    if (IOSSIOSPEED != 0x80085402ul)
    {
        fprintf(stderr, "serial_lister_program: IOSSIOSPEED is %#lx, not a Mac's\n", (unsigned long)IOSSIOSPEED);
        return EXIT_FAILURE;
    }
    CFMutableDictionaryRef matching = IOServiceMatching(kIOSerialBSDServiceValue);
    CFDictionarySetValue(matching, CFSTR(kIOSerialBSDTypeKey), CFSTR(kIOSerialBSDAllTypes));
    io_iterator_t ports = IO_OBJECT_NULL;
    kern_return_t result = IOServiceGetMatchingServices(kIOMainPortDefault, matching, &ports);
    if (result != KERN_SUCCESS)
    {
        fprintf(stderr, "serial_lister_program: %s\n", mach_error_string(result));
        return EXIT_FAILURE;
    }
    int count = 0, failures = 0;
    io_object_t port;
    while ((port = IOIteratorNext(ports)) != IO_OBJECT_NULL)
    {
        char path[MAXPATHLEN] = "";
        CFTypeRef callout = IORegistryEntryCreateCFProperty(port, CFSTR(kIOCalloutDeviceKey), kCFAllocatorDefault, 0);
        if (callout == NULL || CFGetTypeID(callout) != CFStringGetTypeID() ||
            !CFStringGetCString((CFStringRef)callout, path, sizeof path, kCFStringEncodingUTF8) ||
            strncmp(path, _PATH_DEV "cu.", strlen(_PATH_DEV "cu.")) != 0)
        {
            fprintf(stderr, "serial_lister_program: a port without a callout device (\"%s\")\n", path);
            ++failures;
        }
        long vendor = vendor_above(port);
        if (vendor >= 0)
            printf("%s (USB vendor %04lx)\n", path, vendor);
        else
            printf("%s\n", path);
        if (callout != NULL)
            CFRelease(callout);
        IOObjectRelease(port);
        ++count;
    }
    IOObjectRelease(ports);
    printf("serial_lister_program: %d serial ports\n", count);
    if (count != atoi(argv[1]))
    {
        fprintf(stderr, "serial_lister_program: %s expected\n", argv[1]);
        ++failures;
    }
    return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
