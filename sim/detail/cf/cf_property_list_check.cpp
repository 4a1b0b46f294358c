// Property-list validity by format, and the Cocoa-domain CFErrors of the property-list calls.
#include "sim/detail/cf/cf_property_list_check.hpp"

#include "sim/detail/cf/cf_string.hpp"

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFString.h>

#include <vector>

namespace plinth::sim::detail {

namespace {

constexpr int max_nesting = 512;

bool is_valid(CFTypeRef object, CFPropertyListFormat format, int depth)
{
    if (object == nullptr || depth > max_nesting)
        return false;
    auto const type = CFGetTypeID(object);
    if (type == CFStringGetTypeID() || type == CFDataGetTypeID())
        return true;
    if (type == CFNumberGetTypeID() || type == CFBooleanGetTypeID())
        return format != kCFPropertyListOpenStepFormat;
    if (type == CFArrayGetTypeID())
    {
        auto const array = static_cast<CFArrayRef>(object);
        for (CFIndex i = 0; i < CFArrayGetCount(array); ++i)
            if (!is_valid(CFArrayGetValueAtIndex(array, i), format, depth + 1))
                return false;
        return true;
    }
    if (type == CFDictionaryGetTypeID())
    {
        auto const dictionary = static_cast<CFDictionaryRef>(object);
        auto const count = static_cast<std::size_t>(CFDictionaryGetCount(dictionary));
        std::vector<void const*> keys(count);
        std::vector<void const*> values(count);
        CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
        for (std::size_t i = 0; i < count; ++i)
            if (keys[i] == nullptr || CFGetTypeID(keys[i]) != CFStringGetTypeID() ||
                !is_valid(values[i], format, depth + 1))
                return false;
        return true;
    }
    return false;
}

} // namespace

bool is_property_list(CFTypeRef object, CFPropertyListFormat format)
{
    if (format != kCFPropertyListOpenStepFormat && format != kCFPropertyListXMLFormat_v1_0 &&
        format != kCFPropertyListBinaryFormat_v1_0)
        return false;
    return is_valid(object, format, 0);
}

CFErrorRef make_property_list_error(CFIndex code, std::string const& text)
{
    auto const* description = make_cf_string(text);
    void const* keys[] = {CFSTR("NSDebugDescription")};
    void const* values[] = {description};
    auto* error = CFErrorCreateWithUserInfoKeysAndValues(nullptr, kCFErrorDomainCocoa, code, keys, values, 1);
    CFRelease(description);
    return error;
}

} // namespace plinth::sim::detail
