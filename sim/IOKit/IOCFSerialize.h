// <IOKit/IOCFSerialize.h> as Apple declares it: CF property values into the XML text the kernel reads.
#ifndef __IOKIT_IOCFSERIALIZE_H
#define __IOKIT_IOCFSERIALIZE_H

// IOKit hands property values to the kernel as text: IOCFSerialize writes a
// CFDictionary, CFArray, CFSet, CFString, CFNumber, CFData or CFBoolean (and what
// they hold) in IOKit's XML form. The data ends with the text's NUL, which the
// kernel's reader needs. The simulation writes the XML form only: with
// kIOCFSerializeToBinary it gives NULL.

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>

#ifdef __cplusplus
extern "C" {
#endif

enum
{
    kIOCFSerializeToBinary = 0x00000001
};

// +1, or NULL for a value that is no property-list type.
CF_RETURNS_RETAINED
CFDataRef IOCFSerialize(CFTypeRef object, CFOptionFlags options);

#ifdef __cplusplus
}
#endif

#endif
