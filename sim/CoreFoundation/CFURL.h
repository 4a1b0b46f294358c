// CFURL as Apple declares it: URLs, and file URLs made from and turned back into paths.
#ifndef __COREFOUNDATION_CFURL__
#define __COREFOUNDATION_CFURL__

// A URL is its string, relative to an optional base URL. File URLs are made from
// POSIX paths ("/tmp/a b" is file:///tmp/a%20b) and read back as paths; a relative
// path is kept relative to the current directory at the time it was made.

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFError.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

typedef CF_ENUM(CFIndex, CFURLPathStyle) {
    kCFURLPOSIXPathStyle = 0,
    kCFURLHFSPathStyle,
    kCFURLWindowsPathStyle,
};

typedef const struct __CFURL* CFURLRef;

CF_EXPORT CFTypeID CFURLGetTypeID(void);

// NULL when the string is not a well-formed URL.
CF_EXPORT CFURLRef CFURLCreateWithString(CFAllocatorRef allocator, CFStringRef URLString, CFURLRef baseURL);

CF_EXPORT CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef allocator, CFStringRef filePath,
                                                 CFURLPathStyle pathStyle, Boolean isDirectory);
// The bytes are the path in the file system's encoding, UTF-8.
CF_EXPORT CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* buffer,
                                                           CFIndex bufLen, Boolean isDirectory);
// Writes the path, NUL-terminated; false when it does not fit in maxBufLen bytes.
CF_EXPORT Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer,
                                                   CFIndex maxBufLen);

CF_EXPORT CFURLRef CFURLCopyAbsoluteURL(CFURLRef relativeURL);
// NULL for a URL made without a base.
CF_EXPORT CFURLRef CFURLGetBaseURL(CFURLRef anURL);
CF_EXPORT CFStringRef CFURLGetString(CFURLRef anURL);
CF_EXPORT CFStringRef CFURLCopyFileSystemPath(CFURLRef anURL, CFURLPathStyle pathStyle);
CF_EXPORT Boolean CFURLHasDirectoryPath(CFURLRef anURL);
CF_EXPORT CFStringRef CFURLCopyLastPathComponent(CFURLRef url);
// NULL when the last path component has no extension.
CF_EXPORT CFStringRef CFURLCopyPathExtension(CFURLRef url);

CF_EXTERN_C_END

#endif
