// CFStream as Apple declares it: read and write streams over files and memory.
#ifndef __COREFOUNDATION_CFSTREAM__
#define __COREFOUNDATION_CFSTREAM__

// A stream is made closed (NotOpen), opened once, used, and closed; it cannot be
// opened again. A failure leaves it in the Error state with the error kept, as a
// CFStreamError (a domain and a code: errno in the POSIX domain) and as a CFError.
// File streams work synchronously: an open has finished when it returns.

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFError.h>
#include <CoreFoundation/CFRunLoop.h>
#include <CoreFoundation/CFString.h>
#include <CoreFoundation/CFURL.h>

CF_EXTERN_C_BEGIN

typedef struct
{
    CFIndex domain;
    SInt32 error;
} CFStreamError;

typedef CFStringRef CFStreamPropertyKey;

typedef CF_ENUM(CFIndex, CFStreamStatus) {
    kCFStreamStatusNotOpen = 0,
    kCFStreamStatusOpening,
    kCFStreamStatusOpen,
    kCFStreamStatusReading,
    kCFStreamStatusWriting,
    kCFStreamStatusAtEnd,
    kCFStreamStatusClosed,
    kCFStreamStatusError,
};

typedef CF_OPTIONS(CFOptionFlags, CFStreamEventType) {
    kCFStreamEventNone = 0,
    kCFStreamEventOpenCompleted = 1,
    kCFStreamEventHasBytesAvailable = 2,
    kCFStreamEventCanAcceptBytes = 4,
    kCFStreamEventErrorOccurred = 8,
    kCFStreamEventEndEncountered = 16,
};

typedef CF_ENUM(CFIndex, CFStreamErrorDomain) {
    kCFStreamErrorDomainCustom = -1L,
    kCFStreamErrorDomainPOSIX = 1,
    kCFStreamErrorDomainMacOSStatus,
};

typedef struct __CFReadStream* CFReadStreamRef;
typedef struct __CFWriteStream* CFWriteStreamRef;

CF_EXPORT CFTypeID CFReadStreamGetTypeID(void);
CF_EXPORT CFTypeID CFWriteStreamGetTypeID(void);

// The bytes a memory write stream holds, as a CFData copied when asked.
CF_EXPORT const CFStreamPropertyKey kCFStreamPropertyDataWritten;

// A write stream into memory that grows as it is written to.
CF_EXPORT CFWriteStreamRef CFWriteStreamCreateWithAllocatedBuffers(CFAllocatorRef alloc,
                                                                   CFAllocatorRef bufferAllocator);
// Streams over the file a file URL names; the file is opened by the Open call. A
// write stream replaces the file's contents.
CF_EXPORT CFReadStreamRef CFReadStreamCreateWithFile(CFAllocatorRef alloc, CFURLRef fileURL);
CF_EXPORT CFWriteStreamRef CFWriteStreamCreateWithFile(CFAllocatorRef alloc, CFURLRef fileURL);

CF_EXPORT CFStreamStatus CFReadStreamGetStatus(CFReadStreamRef stream);
CF_EXPORT CFStreamStatus CFWriteStreamGetStatus(CFWriteStreamRef stream);
// NULL while the stream has no error.
CF_EXPORT CFErrorRef CFReadStreamCopyError(CFReadStreamRef stream);
CF_EXPORT CFErrorRef CFWriteStreamCopyError(CFWriteStreamRef stream);

// False, with the stream in the Error state, when it cannot be opened.
CF_EXPORT Boolean CFReadStreamOpen(CFReadStreamRef stream);
CF_EXPORT Boolean CFWriteStreamOpen(CFWriteStreamRef stream);
CF_EXPORT void CFReadStreamClose(CFReadStreamRef stream);
CF_EXPORT void CFWriteStreamClose(CFWriteStreamRef stream);

// The bytes read: 0 at the end (the stream is then AtEnd), -1 on an error or
// when the stream is not open.
CF_EXPORT CFIndex CFReadStreamRead(CFReadStreamRef stream, UInt8* buffer, CFIndex bufferLength);
// The bytes written, or -1 on an error or when the stream is not open.
CF_EXPORT CFIndex CFWriteStreamWrite(CFWriteStreamRef stream, const UInt8* buffer, CFIndex bufferLength);

// NULL for a property the stream does not have.
CF_EXPORT CFTypeRef CFWriteStreamCopyProperty(CFWriteStreamRef stream, CFStreamPropertyKey propertyName);

// {0, 0} while the stream has no error.
CF_EXPORT CFStreamError CFReadStreamGetError(CFReadStreamRef stream);
CF_EXPORT CFStreamError CFWriteStreamGetError(CFWriteStreamRef stream);

CF_EXTERN_C_END

#endif
