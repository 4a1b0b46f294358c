/* A C program that hands properties to IOKit as Mac programs do: it serializes
   a dictionary with IOCFSerialize, reads the text back with IOCFUnserialize, and
   checks that the two are equal and that bad text is refused with a reason. It
   exits non-zero, saying why, at the first difference from a Mac. */
#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOCFSerialize.h>
#include <IOKit/IOCFUnserialize.h>

int main(void)
{
    int failures = 0;
    CFMutableDictionaryRef properties = CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    SInt32 interval = 8000;
    CFNumberRef number = CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &interval);
    CFDictionarySetValue(properties, CFSTR("ReportInterval"), number);
    CFDictionarySetValue(properties, CFSTR("Product"), CFSTR("Keyboard & Trackpad"));
    CFDictionarySetValue(properties, CFSTR("Built-In"), kCFBooleanTrue);
    CFRelease(number);

    CFDataRef text = IOCFSerialize(properties, 0);
    if (text == NULL)
    {
        fputs("iocfserialize_program: IOCFSerialize gave nothing\n", stderr);
        CFRelease(properties);
        return EXIT_FAILURE;
    }
    CFStringRef error = NULL;
    CFTypeRef back = IOCFUnserialize((const char*)CFDataGetBytePtr(text), kCFAllocatorDefault, 0, &error);
    if (back == NULL || error != NULL || !CFEqual(back, properties))
    {
        fprintf(stderr, "iocfserialize_program: the round trip of %s differs\n", (const char*)CFDataGetBytePtr(text));
        ++failures;
    }
    if (back != NULL)
        CFRelease(back);
    CFRelease(text);
    CFRelease(properties);

    back = IOCFUnserialize("<dict><key>unfinished</key>", kCFAllocatorDefault, 0, &error);
    if (back != NULL || error == NULL)
    {
        fputs("iocfserialize_program: bad text was not refused with a reason\n", stderr);
        ++failures;
    }
    if (back != NULL)
        CFRelease(back);
    if (error != NULL)
        CFRelease(error);
    if (failures == 0)
        puts("iocfserialize_program: properties survive IOCFSerialize and IOCFUnserialize");
    return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
