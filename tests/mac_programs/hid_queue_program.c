/* A C program as Mac code that keeps every value of a device's inputs writes it:
   an IOHIDQueue on the first HID device of the registry (PLINTH_SIM_REGISTRY)
   that has input elements, holding all of them, started on the open device.
   No report comes, so the queue stays empty. It exits non-zero, saying why, when
   a step fails or the queue answers otherwise than a Mac's. */
#include <IOKit/hid/IOHIDLib.h>

static const char* failure = NULL;

static void fail(const char* why)
{
    if (failure == NULL)
        failure = why;
}

/* The device's input elements (types Misc, Button, Axis, ScanCodes), or NULL. */
static CFMutableArrayRef copy_input_elements(IOHIDDeviceRef device)
{
    CFArrayRef all = IOHIDDeviceCopyMatchingElements(device, NULL, kIOHIDOptionsTypeNone);
    if (all == NULL)
        return NULL;
    CFMutableArrayRef inputs = CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
    for (CFIndex i = 0; i < CFArrayGetCount(all); ++i)
    {
        IOHIDElementRef element = (IOHIDElementRef)CFArrayGetValueAtIndex(all, i);
        IOHIDElementType type = IOHIDElementGetType(element);
        if (type >= kIOHIDElementTypeInput_Misc && type <= kIOHIDElementTypeInput_ScanCodes)
            CFArrayAppendValue(inputs, element);
    }
    CFRelease(all);
    if (CFArrayGetCount(inputs) == 0)
    {
        CFRelease(inputs);
        return NULL;
    }
    return inputs;
}

static void use_queue(IOHIDDeviceRef device, CFArrayRef inputs)
{
    IOHIDQueueRef queue = IOHIDQueueCreate(kCFAllocatorDefault, device, 32, kIOHIDQueueOptionsTypeNone);
    if (queue == NULL)
    {
        fail("IOHIDQueueCreate gave no queue");
        return;
    }
    if (CFGetTypeID(queue) != IOHIDQueueGetTypeID() || IOHIDQueueGetDevice(queue) != device ||
        IOHIDQueueGetDepth(queue) != 32)
        fail("the queue does not tell its type, device and depth");
    for (CFIndex i = 0; i < CFArrayGetCount(inputs); ++i)
        IOHIDQueueAddElement(queue, (IOHIDElementRef)CFArrayGetValueAtIndex(inputs, i));
    for (CFIndex i = 0; i < CFArrayGetCount(inputs); ++i)
        if (!IOHIDQueueContainsElement(queue, (IOHIDElementRef)CFArrayGetValueAtIndex(inputs, i)))
            fail("an input element added to the queue is not in it");
    IOHIDQueueStart(queue);
    IOHIDValueRef value = IOHIDQueueCopyNextValue(queue);
    if (value != NULL)
    {
        fail("a value came with no report");
        CFRelease(value);
    }
    value = IOHIDQueueCopyNextValueWithTimeout(queue, 0.01);
    if (value != NULL)
    {
        fail("a value came with no report while waiting");
        CFRelease(value);
    }
    IOHIDQueueStop(queue);
    CFRelease(queue);
}

int main(void)
{
    io_iterator_t services = IO_OBJECT_NULL;
    if (IOServiceGetMatchingServices(kIOMainPortDefault, IOServiceMatching(kIOHIDDeviceKey), &services) != KERN_SUCCESS)
    {
        fputs("hid_queue_program: no HID services\n", stderr);
        return EXIT_FAILURE;
    }
    IOHIDDeviceRef device = NULL;
    CFMutableArrayRef inputs = NULL;
    io_service_t service;
    while (inputs == NULL && (service = IOIteratorNext(services)) != IO_OBJECT_NULL)
    {
        device = IOHIDDeviceCreate(kCFAllocatorDefault, service);
        IOObjectRelease(service);
        if (device == NULL)
            continue;
        inputs = copy_input_elements(device);
        if (inputs == NULL)
        {
            CFRelease(device);
            device = NULL;
        }
    }
    IOObjectRelease(services);
    if (device == NULL)
    {
        fputs("hid_queue_program: no HID device with input elements\n", stderr);
        return EXIT_FAILURE;
    }
    IOReturn opened = IOHIDDeviceOpen(device, kIOHIDOptionsTypeNone);
    if (opened != kIOReturnSuccess)
        fail("the device does not open");
    else
    {
        use_queue(device, inputs);
        IOHIDDeviceClose(device, kIOHIDOptionsTypeNone);
    }
    CFIndex const count = CFArrayGetCount(inputs);
    CFRelease(inputs);
    CFRelease(device);
    if (failure != NULL)
    {
        fprintf(stderr, "hid_queue_program: %s\n", failure);
        return EXIT_FAILURE;
    }
    printf("hid_queue_program: a queue of %ld input elements stayed empty with no report\n", (long)count);
    return EXIT_SUCCESS;
}
