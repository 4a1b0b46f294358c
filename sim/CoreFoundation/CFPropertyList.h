// CFPropertyList as Apple declares it: property lists written out and read back, as data or through streams.
#ifndef __COREFOUNDATION_CFPROPERTYLIST__
#define __COREFOUNDATION_CFPROPERTYLIST__

// The simulation writes the XML format, as `ioreg -a` prints it (dictionaries'
// keys sorted, tabs for indentation), and the binary one. It reads both.
// Failures give NULL (or 0 bytes) and, when asked, a CFError in the Cocoa domain
// with one of the kCFPropertyList...Error codes.

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFError.h>
#include <CoreFoundation/CFStream.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

// What a property list read back is made of: immutable objects, mutable arrays and
// dictionaries, or mutable strings and data too.
typedef CF_OPTIONS(CFOptionFlags, CFPropertyListMutabilityOptions) {
    kCFPropertyListImmutable = 0,
    kCFPropertyListMutableContainers = 1 << 0,
    kCFPropertyListMutableContainersAndLeaves = 1 << 1,
};

typedef CF_ENUM(CFIndex, CFPropertyListFormat) {
    kCFPropertyListOpenStepFormat = 1,
    kCFPropertyListXMLFormat_v1_0 = 100,
    kCFPropertyListBinaryFormat_v1_0 = 200,
};

// The codes of property-list errors.
enum
{
    kCFPropertyListReadCorruptError = 3840,
    kCFPropertyListReadUnknownVersionError = 3841,
    kCFPropertyListReadStreamError = 3842,
    kCFPropertyListWriteStreamError = 3851,
};

// Whether the value, and everything in it, can be written in the format.
CF_EXPORT Boolean CFPropertyListIsValid(CFPropertyListRef plist, CFPropertyListFormat format);

CF_EXPORT CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef propertyList,
                                             CFPropertyListFormat format, CFOptionFlags options, CFErrorRef* error);
// Writes to an open stream; the bytes written, or 0.
CF_EXPORT CFIndex CFPropertyListWrite(CFPropertyListRef propertyList, CFWriteStreamRef stream,
                                      CFPropertyListFormat format, CFOptionFlags options, CFErrorRef* error);

// `options` are CFPropertyListMutabilityOptions; *format, when asked, is set to the
// format that was read.
CF_EXPORT CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data,
                                                         CFOptionFlags options, CFPropertyListFormat* format,
                                                         CFErrorRef* error);
// Reads an open stream to its end, or streamLength bytes when that is above 0.
CF_EXPORT CFPropertyListRef CFPropertyListCreateWithStream(CFAllocatorRef allocator, CFReadStreamRef stream,
                                                           CFIndex streamLength, CFOptionFlags options,
                                                           CFPropertyListFormat* format, CFErrorRef* error);

CF_EXTERN_C_END

#endif
