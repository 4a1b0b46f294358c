/* A C program that saves a property list as a Mac registry browser does: it
   builds a dictionary, makes a file URL for the path it is given (or one in the
   temporary directory), writes the dictionary there as XML through a file write
   stream, reads it back through a read stream and compares. It prints the
   file's path when all went well, and exits non-zero, saying why, at the first
   thing that does not behave as on a Mac. */
#include <CoreFoundation/CoreFoundation.h>

#include <unistd.h>

static int failures = 0;

static void check(bool ok, const char* format, ...)
{
    if (ok)
        return;
    va_list arguments;
    va_start(arguments, format);
    fputs("property_list_program: ", stderr);
    vfprintf(stderr, format, arguments);
    fputc('\n', stderr);
    va_end(arguments);
    ++failures;
}

static CFDictionaryRef create_entry(void) CF_RETURNS_RETAINED;
static CFDictionaryRef create_entry(void)
{
    CFMutableDictionaryRef entry =
        CFDictionaryCreateMutable(NULL, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    CFMutableDictionaryRef properties =
        CFDictionaryCreateMutable(NULL, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    CFMutableArrayRef children = CFArrayCreateMutable(NULL, 0, &kCFTypeArrayCallBacks);
    SInt32 vendor = 0x05ac;
    CFNumberRef number = CFNumberCreate(NULL, kCFNumberSInt32Type, &vendor);
    const UInt8 bytes[] = {0x12, 0x01, 0x00, 0x02};
    CFDataRef descriptor = CFDataCreate(NULL, bytes, sizeof bytes);

    CFDictionarySetValue(properties, CFSTR("idVendor"), number);
    CFDictionarySetValue(properties, CFSTR("USB Product Name"), CFSTR("Apple Internal Keyboard / Trackpad"));
    CFDictionarySetValue(properties, CFSTR("Device Descriptor"), descriptor);
    CFDictionarySetValue(properties, CFSTR("Built-In"), kCFBooleanTrue);
    CFArrayAppendValue(children, properties);
    CFDictionarySetValue(entry, CFSTR("IORegistryEntryName"), CFSTR("Root"));
    CFDictionarySetValue(entry, CFSTR("IORegistryEntryChildren"), children);

    CFRelease(descriptor);
    CFRelease(number);
    CFRelease(children);
    CFRelease(properties);
    return entry;
}

int main(int argc, char** argv)
{
    char default_path[PATH_MAX];
    snprintf(default_path, sizeof default_path, "/tmp/property list program %ld.plist", (long)getpid());
    const char* path = argc > 1 ? argv[1] : default_path;

    CFDictionaryRef entry = create_entry();
    CFStringRef path_string = CFStringCreateWithCString(NULL, path, kCFStringEncodingUTF8);
    CFURLRef url = CFURLCreateWithFileSystemPath(NULL, path_string, kCFURLPOSIXPathStyle, false);
    if (url == NULL)
    {
        fprintf(stderr, "property_list_program: no file URL for %s\n", path);
        return 1;
    }

    CFWriteStreamRef writer = CFWriteStreamCreateWithFile(NULL, url);
    if (writer == NULL || !CFWriteStreamOpen(writer))
    {
        CFStreamError error = writer != NULL ? CFWriteStreamGetError(writer) : (CFStreamError){0, 0};
        fprintf(stderr, "property_list_program: cannot open %s for writing: %s\n", path, strerror((int)error.error));
        return 1;
    }
    CFErrorRef error = NULL;
    CFIndex written = CFPropertyListWrite(entry, writer, kCFPropertyListXMLFormat_v1_0, 0, &error);
    check(written > 0 && error == NULL, "CFPropertyListWrite wrote %ld bytes", (long)written);
    CFWriteStreamClose(writer);
    check(CFWriteStreamGetStatus(writer) == kCFStreamStatusClosed, "the write stream is not closed");
    check(CFWriteStreamWrite(writer, (const UInt8*)"x", 1) == -1, "a closed stream took bytes");
    CFRelease(writer);

    CFDataRef expected = CFPropertyListCreateData(NULL, entry, kCFPropertyListXMLFormat_v1_0, 0, NULL);
    check(expected != NULL && CFDataGetLength(expected) == written, "the file's size is not that of the data");

    CFReadStreamRef reader = CFReadStreamCreateWithFile(NULL, url);
    check(reader != NULL && CFReadStreamOpen(reader), "cannot open %s for reading", path);
    CFPropertyListFormat format = 0;
    CFPropertyListRef read = CFPropertyListCreateWithStream(NULL, reader, 0, kCFPropertyListImmutable, &format, &error);
    check(read != NULL, "the file does not read back as a property list");
    check(read != NULL && CFEqual(read, entry), "the property list read back differs from the one written");
    check(format == kCFPropertyListXMLFormat_v1_0, "the file is not read as XML (format %ld)", (long)format);
    CFReadStreamClose(reader);

    UInt8 file_system_path[PATH_MAX] = "";
    check(CFURLGetFileSystemRepresentation(url, true, file_system_path, sizeof file_system_path),
          "CFURLGetFileSystemRepresentation failed");
    check(path[0] != '/' || strcmp((const char*)file_system_path, path) == 0, "the path read back is %s",
          (const char*)file_system_path);

    if (argc <= 1)
        unlink(path);
    if (read != NULL)
        CFRelease(read);
    if (reader != NULL)
        CFRelease(reader);
    if (expected != NULL)
        CFRelease(expected);
    if (error != NULL)
        CFRelease(error);
    CFRelease(url);
    CFRelease(path_string);
    CFRelease(entry);
    if (failures > 0)
        return 1;
    /* Last, and only on success, so that a test may look for it at the end. */
    printf("%s\n", (const char*)file_system_path);
    return 0;
}
