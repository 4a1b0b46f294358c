/* A C program as Mac programs are written: it includes the CoreFoundation
   umbrella alone and expects the C library with it, builds text with mutable
   strings and formats, reads strings the way that works for any text, and
   describes errors. It exits non-zero, saying why, at the first thing that
   does not behave as on a Mac. */
#include <CoreFoundation/CoreFoundation.h>
#include <mach/mach.h>
#include <mach/mach_error.h>

static int failures = 0;

static void check(bool ok, const char* format, ...)
{
    if (ok)
        return;
    va_list arguments;
    va_start(arguments, format);
    fputs("corefoundation_program: ", stderr);
    vfprintf(stderr, format, arguments);
    fputc('\n', stderr);
    va_end(arguments);
    ++failures;
}

/* The usual way to read any CFString: the fast pointer when there is one, else
   a copy into a buffer the size of the worst case. The caller frees it. */
static char* copy_c_string(CFStringRef string) CF_RETURNS_RETAINED;
static char* copy_c_string(CFStringRef string)
{
    const char* direct = CFStringGetCStringPtr(string, kCFStringEncodingUTF8);
    if (direct != NULL)
        return strdup(direct);
    CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8) + 1;
    char* buffer = malloc((size_t)size);
    if (buffer != NULL && !CFStringGetCString(string, buffer, size, kCFStringEncodingUTF8))
        buffer[0] = '\0';
    return buffer;
}

/* Mac code marks its own declarations and picks code paths by the macOS it is built for. */
static double seconds_since_1970(void) API_AVAILABLE(macos(10.15));
static double seconds_since_1970(void)
{
    return CFAbsoluteTimeGetCurrent() + kCFAbsoluteTimeIntervalSince1970;
}

static void check_text(CFStringRef string, const char* expected)
{
    char* text = copy_c_string(string);
    check(text != NULL && strcmp(text, expected) == 0, "expected \"%s\", got \"%s\"", expected, text ? text : "(null)");
    free(text);
}

int main(void)
{
    check(kCFCoreFoundationVersionNumber >= kCFCoreFoundationVersionNumber10_11, "CoreFoundation %.2f is too old",
          kCFCoreFoundationVersionNumber);
    check(MAC_OS_X_VERSION_MIN_REQUIRED >= MAC_OS_X_VERSION_10_15 && __MAC_OS_X_VERSION_MAX_ALLOWED >= __MAC_13_0,
          "built for macOS %d", MAC_OS_X_VERSION_MIN_REQUIRED);
    double now = seconds_since_1970();
    check(fabs(now - (double)time(NULL)) < 5, "the absolute time is %f seconds from the time of day",
          now - (double)time(NULL));

    CFMutableStringRef listing = CFStringCreateMutable(kCFAllocatorDefault, 0);
    CFStringRef names[] = {CFSTR("Keyboard"), CFSTR("Mouse")};
    for (int i = 0; i < 2; ++i)
        CFStringAppendFormat(listing, NULL, CFSTR("%s%04x:%04x %@"), i == 0 ? "" : ", ", 0x05ac, 0x0250 + i, names[i]);
    check_text(listing, "05ac:0250 Keyboard, 05ac:0251 Mouse");

    CFStringRef accented = CFStringCreateWithCString(NULL, "Nicolas\xE2\x80\x99s Mac", kCFStringEncodingUTF8);
    check(CFStringGetCStringPtr(accented, kCFStringEncodingUTF8) == NULL, "non-ASCII text has no C string pointer");
    check_text(accented, "Nicolas\xE2\x80\x99s Mac");
    UInt8 latin[32];
    CFIndex used = 0;
    CFIndex converted = CFStringGetBytes(accented, CFRangeMake(0, CFStringGetLength(accented)), kCFStringEncodingASCII,
                                         '?', false, latin, sizeof latin, &used);
    check(converted == 13 && used == 13 && memcmp(latin, "Nicolas?s Mac", 13) == 0, "lossy ASCII bytes");

    CFUUIDRef uuid = CFUUIDCreateFromString(NULL, CFSTR("68753a44-4d6f-1226-9c60-0050e4c00067"));
    CFStringRef uuid_text = uuid ? CFUUIDCreateString(NULL, uuid) : NULL;
    check(uuid_text != NULL, "a UUID from text");
    if (uuid_text)
        check_text(uuid_text, "68753A44-4D6F-1226-9C60-0050E4C00067");

    errno = ENOENT;
    CFErrorRef error = CFErrorCreate(NULL, kCFErrorDomainPOSIX, errno, NULL);
    check(CFErrorGetCode(error) == ENOENT && CFEqual(CFErrorGetDomain(error), kCFErrorDomainPOSIX), "a POSIX error");
    CFStringRef description = CFErrorCopyDescription(error);
    char* text = copy_c_string(description);
    check(text != NULL && strstr(text, "No such file or directory") != NULL, "error description \"%s\"",
          text ? text : "(null)");
    free(text);
    check(strcmp(mach_error_string(KERN_INVALID_ARGUMENT), "(os/kern) invalid argument") == 0, "mach_error_string");

    CFMutableArrayRef all = CFArrayCreateMutable(NULL, 0, &kCFTypeArrayCallBacks);
    CFArrayRef pair = CFArrayCreate(NULL, (const void**)names, 2, &kCFTypeArrayCallBacks);
    CFArrayAppendArray(all, pair, CFRangeMake(0, 2));
    CFArrayAppendArray(all, all, CFRangeMake(0, 2));
    check(CFArrayGetCount(all) == 4 && kNilOptions == 0 && noErr == 0, "arrays appended");

    CFRelease(all);
    CFRelease(pair);
    CFRelease(description);
    CFRelease(error);
    if (uuid_text)
        CFRelease(uuid_text);
    if (uuid)
        CFRelease(uuid);
    CFRelease(accented);
    CFRelease(listing);
    if (failures == 0)
        printf("corefoundation_program: all as on a Mac\n");
    return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
