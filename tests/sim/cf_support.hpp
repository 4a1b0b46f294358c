// Raw CF values for the CoreFoundation tests.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

// Raw CF values for the CoreFoundation tests, which count references themselves:
// as with CF's own Create functions, the caller owns the one reference.
namespace plinth::testing::cf {

inline CFNumberRef create_number(SInt32 value)
{
    return CFNumberCreate(nullptr, kCFNumberSInt32Type, &value);
}

inline CFNumberRef create_real(double value)
{
    return CFNumberCreate(nullptr, kCFNumberFloat64Type, &value);
}

inline CFStringRef create_string(char const* text)
{
    return CFStringCreateWithCString(nullptr, text, kCFStringEncodingUTF8);
}

inline CFMutableDictionaryRef create_dictionary()
{
    return CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
}

template <typename... Objects>
void release_all(Objects... objects)
{
    (CFRelease(objects), ...);
}

} // namespace plinth::testing::cf
