/* A C program that reads a HID device as HID libraries do on a Mac: a thread of its
   own schedules the device on that thread's run loop, in a private mode, and queues
   each input report its callback gets; the program's thread takes the reports from
   the queue, waiting on a condition variable, until the device is unplugged. It opens
   the first HID device of the vendor and product given, reads until the removal, and
   checks that it read as many reports as given before it learnt of the removal.
   Like such libraries, it reads AppKit's version number to know the macOS release. */
#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/hid/IOHIDDevice.h>
#include <IOKit/hid/IOHIDKeys.h>
#include <mach/mach_error.h>
#include <pthread.h>

extern const double NSAppKitVersionNumber;

struct report
{
    uint8_t bytes[64];
    CFIndex length;
    struct report* next;
};

struct reader
{
    IOHIDDeviceRef device;
    uint8_t buffer[64];
    pthread_mutex_t mutex;
    pthread_cond_t changed;
    struct report* first;
    struct report* last;
    bool removed;
    bool stop;
    CFRunLoopRef run_loop;
};

#define private_mode CFSTR("hid_reader_thread_program")

static void report_arrived(void* context, IOReturn result, void* sender, IOHIDReportType type, uint32_t id,
                           uint8_t* bytes, CFIndex length)
{
    struct reader* reader = (struct reader*)context;
    struct report* report = (struct report*)calloc(1, sizeof *report);
    (void)result;
    (void)sender;
    (void)type;
    (void)id;
    report->length = length < (CFIndex)sizeof report->bytes ? length : (CFIndex)sizeof report->bytes;
    memcpy(report->bytes, bytes, (size_t)report->length);
    pthread_mutex_lock(&reader->mutex);
    if (reader->last != NULL)
        reader->last->next = report;
    else
        reader->first = report;
    reader->last = report;
    pthread_cond_signal(&reader->changed);
    pthread_mutex_unlock(&reader->mutex);
}

static void device_removed(void* context, IOReturn result, void* sender)
{
    struct reader* reader = (struct reader*)context;
    (void)result;
    (void)sender;
    pthread_mutex_lock(&reader->mutex);
    reader->removed = true;
    pthread_cond_signal(&reader->changed);
    pthread_mutex_unlock(&reader->mutex);
}

static void* read_thread(void* context)
{
    struct reader* reader = (struct reader*)context;
    pthread_mutex_lock(&reader->mutex);
    reader->run_loop = CFRunLoopGetCurrent();
    pthread_cond_signal(&reader->changed);
    pthread_mutex_unlock(&reader->mutex);
    IOHIDDeviceRegisterInputReportCallback(reader->device, reader->buffer, sizeof reader->buffer, report_arrived,
                                           reader);
    IOHIDDeviceRegisterRemovalCallback(reader->device, device_removed, reader);
    IOHIDDeviceScheduleWithRunLoop(reader->device, reader->run_loop, private_mode);
    for (;;)
    {
        pthread_mutex_lock(&reader->mutex);
        bool const done = reader->stop || reader->removed;
        pthread_mutex_unlock(&reader->mutex);
        if (done)
            break;
        CFRunLoopRunInMode(private_mode, 0.1, false);
    }
    IOHIDDeviceUnscheduleFromRunLoop(reader->device, reader->run_loop, private_mode);
    return NULL;
}

/* The next report, or NULL after two seconds without one. Like several HID libraries,
   it gives up the reports still queued once it learns of a removal: a device that
   was unplugged the moment after its last report would lose that report. */
static struct report* next_report(struct reader* reader)
{
    struct timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += 2;
    pthread_mutex_lock(&reader->mutex);
    while (reader->first == NULL && !reader->removed)
        if (pthread_cond_timedwait(&reader->changed, &reader->mutex, &deadline) != 0)
            break;
    struct report* report = reader->removed ? NULL : reader->first;
    if (report != NULL)
    {
        reader->first = report->next;
        if (reader->first == NULL)
            reader->last = NULL;
    }
    pthread_mutex_unlock(&reader->mutex);
    return report;
}

static IOHIDDeviceRef open_device(int vendor, int product)
{
    CFMutableDictionaryRef matching = IOServiceMatching(kIOHIDDeviceKey);
    CFNumberRef vendor_number = CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, &vendor);
    CFNumberRef product_number = CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, &product);
    CFDictionarySetValue(matching, CFSTR(kIOHIDVendorIDKey), vendor_number);
    CFDictionarySetValue(matching, CFSTR(kIOHIDProductIDKey), product_number);
    CFRelease(vendor_number);
    CFRelease(product_number);
    io_service_t service = IOServiceGetMatchingService(kIOMainPortDefault, matching);
    if (service == IO_OBJECT_NULL)
        return NULL;
    IOHIDDeviceRef device = IOHIDDeviceCreate(kCFAllocatorDefault, service);
    IOObjectRelease(service);
    if (device == NULL)
        return NULL;
    IOReturn opened = IOHIDDeviceOpen(device, kIOHIDOptionsTypeNone);
    if (opened != kIOReturnSuccess)
    {
        fprintf(stderr, "hid_reader_thread_program: IOHIDDeviceOpen: %s\n", mach_error_string(opened));
        CFRelease(device);
        return NULL;
    }
    return device;
}

int main(int argc, char** argv)
{
    if (argc != 4)
    {
        fputs("usage: hid_reader_thread_program VENDOR PRODUCT REPORTS (vendor and product in hex)\n", stderr);
        return EXIT_FAILURE;
    }
    if (NSAppKitVersionNumber < 1343) /* before macOS 10.10, devices were opened seized */
    {
        fputs("hid_reader_thread_program: this is no macOS 10.10 or later\n", stderr);
        return EXIT_FAILURE;
    }
    struct reader reader;
    memset(&reader, 0, sizeof reader);
    reader.device = open_device((int)strtol(argv[1], NULL, 16), (int)strtol(argv[2], NULL, 16));
    if (reader.device == NULL)
    {
        fprintf(stderr, "hid_reader_thread_program: no HID device %s:%s opens\n", argv[1], argv[2]);
        return EXIT_FAILURE;
    }
    pthread_mutex_init(&reader.mutex, NULL);
    pthread_cond_init(&reader.changed, NULL);
    pthread_t thread;
    pthread_create(&thread, NULL, read_thread, &reader);

    int reports = 0;
    struct report* report;
    while ((report = next_report(&reader)) != NULL)
    {
        ++reports;
        free(report);
    }
    pthread_mutex_lock(&reader.mutex);
    bool const removed = reader.removed;
    while (reader.first != NULL)
    {
        report = reader.first;
        reader.first = report->next;
        free(report);
    }
    reader.stop = true;
    if (reader.run_loop != NULL)
        CFRunLoopStop(reader.run_loop);
    pthread_mutex_unlock(&reader.mutex);
    pthread_join(thread, NULL);
    IOHIDDeviceClose(reader.device, kIOHIDOptionsTypeNone);
    CFRelease(reader.device);
    pthread_cond_destroy(&reader.changed);
    pthread_mutex_destroy(&reader.mutex);

    printf("%d reports, then %s\n", reports, removed ? "the device was unplugged" : "silence");
    if (!removed || reports != atoi(argv[3]))
    {
        fprintf(stderr, "hid_reader_thread_program: expected %s reports, then the unplug\n", argv[3]);
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
