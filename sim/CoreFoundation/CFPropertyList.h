// CFPropertyList as Apple declares it: property lists written out as data.
#ifndef __COREFOUNDATION_CFPROPERTYLIST__
#define __COREFOUNDATION_CFPROPERTYLIST__

// The simulation writes the XML format, as `ioreg -a` prints it: dictionaries'
// keys sorted, tabs for indentation. It makes no CFError: a property list it
// cannot write (another format, a value that is no property-list type) gives
// NULL with *error left NULL.

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFError.h>

CF_EXTERN_C_BEGIN

typedef CF_ENUM(CFIndex, CFPropertyListFormat) {
    kCFPropertyListOpenStepFormat = 1,
    kCFPropertyListXMLFormat_v1_0 = 100,
    kCFPropertyListBinaryFormat_v1_0 = 200,
};

CF_EXPORT CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef propertyList,
                                             CFPropertyListFormat format, CFOptionFlags options, CFErrorRef* error);

CF_EXTERN_C_END

#endif
