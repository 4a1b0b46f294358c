/* MacTypes as Apple declares it: the basic integer, text and status types of Mac programs. */
#ifndef __MACTYPES__
#define __MACTYPES__

/* LP64 macOS widths, as CoreFoundation and IOKit use them. */

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef unsigned char UInt8;
typedef signed char SInt8;
typedef unsigned short UInt16;
typedef signed short SInt16;
typedef unsigned int UInt32;
typedef signed int SInt32;
typedef unsigned long long UInt64;
typedef signed long long SInt64;

/* 64-bit values as two 32-bit halves, low half first on these little-endian
   machines; AbsoluteTime is the Mach clock's time in that form. */
struct wide
{
    UInt32 lo;
    SInt32 hi;
};
typedef struct wide wide;
struct UnsignedWide
{
    UInt32 lo;
    UInt32 hi;
};
typedef struct UnsignedWide UnsignedWide;
typedef UnsignedWide AbsoluteTime;

typedef SInt32 Fixed;
typedef SInt32 Fract;
typedef UInt32 UnsignedFixed;

typedef float Float32;
typedef double Float64;

typedef char* Ptr;
typedef Ptr* Handle;
typedef long Size;

typedef SInt16 OSErr;
typedef SInt32 OSStatus;
typedef void* LogicalAddress;
typedef const void* ConstLogicalAddress;
typedef UInt8 Byte;
typedef SInt8 SignedByte;
typedef UInt8* BytePtr;
typedef unsigned long ByteCount;
typedef unsigned long ByteOffset;
typedef UInt32 OptionBits;
typedef unsigned long ItemCount;
typedef UInt32 FourCharCode;
typedef FourCharCode OSType;
typedef FourCharCode ResType;

typedef unsigned char Boolean;

typedef UInt32 UnicodeScalarValue;
typedef UInt32 UTF32Char;
typedef UInt16 UniChar;
typedef UInt16 UTF16Char;
typedef UInt8 UTF8Char;
typedef UniChar* UniCharPtr;
typedef unsigned long UniCharCount;

typedef unsigned char Str255[256];
typedef unsigned char Str63[64];
typedef unsigned char Str32[33];
typedef unsigned char Str31[32];
typedef unsigned char Str15[16];
typedef unsigned char* StringPtr;
typedef const unsigned char* ConstStringPtr;
typedef const unsigned char* ConstStr255Param;
typedef const unsigned char* ConstStr63Param;
typedef const unsigned char* ConstStr31Param;

enum
{
    noErr = 0
};

enum
{
    kNilOptions = 0
};

#define kInvalidID 0

enum
{
    kUnknownType = 0x3F3F3F3F
};

#ifdef __cplusplus
}
#endif

#endif
