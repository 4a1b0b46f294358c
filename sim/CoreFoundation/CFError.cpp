// CFError's C entry points: the domain and user-info key constants, making errors and reading them.
#include <CoreFoundation/CFError.h>
#include <CoreFoundation/CFString.h>

#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_dictionary.hpp"
#include "sim/detail/cf/cf_error.hpp"
#include "sim/detail/cf/cf_lifetime.hpp"
#include "sim/detail/cf/cf_range_check.hpp"
#include "sim/detail/cf/cf_string.hpp"

namespace detail = plinth::sim::detail;
using detail::cf_error;

namespace {

// The error takes over the reference to `user_info`; the domain it retains.
CFErrorRef create_error(CFStringRef domain, CFIndex code, CFDictionaryRef user_info)
{
    CFRetain(domain);
    return detail::cf_ref<CFErrorRef>(detail::make_cf_object<cf_error>(domain, code, user_info));
}

CFStringRef copy_user_info_string(CFErrorRef err, CFStringRef key, char const* function)
{
    auto const* error = detail::cf_checked<cf_error>(err, function);
    if (error == nullptr)
        return nullptr;
    auto const* text = error->user_info_string(key);
    return text == nullptr ? nullptr : static_cast<CFStringRef>(CFRetain(text));
}

} // namespace

extern "C" {

// Their values on a Mac, where they are the names of the Foundation constants they
// stand for.
const CFErrorDomain kCFErrorDomainPOSIX = CFSTR("NSPOSIXErrorDomain");
const CFErrorDomain kCFErrorDomainOSStatus = CFSTR("NSOSStatusErrorDomain");
const CFErrorDomain kCFErrorDomainMach = CFSTR("NSMachErrorDomain");
const CFErrorDomain kCFErrorDomainCocoa = CFSTR("NSCocoaErrorDomain");

const CFStringRef kCFErrorLocalizedDescriptionKey = CFSTR("NSLocalizedDescription");
const CFStringRef kCFErrorLocalizedFailureKey = CFSTR("NSLocalizedFailure");
const CFStringRef kCFErrorLocalizedFailureReasonKey = CFSTR("NSLocalizedFailureReason");
const CFStringRef kCFErrorLocalizedRecoverySuggestionKey = CFSTR("NSLocalizedRecoverySuggestion");
const CFStringRef kCFErrorDescriptionKey = CFSTR("NSDescription");
const CFStringRef kCFErrorUnderlyingErrorKey = CFSTR("NSUnderlyingError");
const CFStringRef kCFErrorURLKey = CFSTR("NSURL");
const CFStringRef kCFErrorFilePathKey = CFSTR("NSFilePath");

CFTypeID CFErrorGetTypeID(void)
{
    return cf_error::class_type_id();
}

// The user info is copied, so that changing the caller's dictionary later leaves
// the error as it was made.
CFErrorRef CFErrorCreate(CFAllocatorRef, CFErrorDomain domain, CFIndex code, CFDictionaryRef userInfo)
{
    if (detail::cf_checked<detail::cf_string>(domain, "CFErrorCreate") == nullptr)
        return nullptr;
    if (userInfo != nullptr && detail::cf_checked<detail::cf_dictionary>(userInfo, "CFErrorCreate") == nullptr)
        return nullptr;
    auto const* copy = userInfo != nullptr
                           ? CFDictionaryCreateCopy(nullptr, userInfo)
                           : CFDictionaryCreate(nullptr, nullptr, nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                &kCFTypeDictionaryValueCallBacks);
    return create_error(domain, code, copy);
}

CFErrorRef CFErrorCreateWithUserInfoKeysAndValues(CFAllocatorRef, CFErrorDomain domain, CFIndex code,
                                                  const void* const* userInfoKeys, const void* const* userInfoValues,
                                                  CFIndex numUserInfoValues)
{
    char const* function = "CFErrorCreateWithUserInfoKeysAndValues";
    if (detail::cf_checked<detail::cf_string>(domain, function) == nullptr ||
        !detail::cf_input_valid(userInfoKeys != nullptr && userInfoValues != nullptr, numUserInfoValues, function,
                                "no keys or values, or a negative count"))
        return nullptr;
    auto const* user_info =
        CFDictionaryCreate(nullptr, const_cast<void const**>(userInfoKeys), const_cast<void const**>(userInfoValues),
                           numUserInfoValues, &kCFCopyStringDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    return create_error(domain, code, user_info);
}

CFErrorDomain CFErrorGetDomain(CFErrorRef err)
{
    auto const* error = detail::cf_checked<cf_error>(err, "CFErrorGetDomain");
    return error == nullptr ? nullptr : error->domain();
}

CFIndex CFErrorGetCode(CFErrorRef err)
{
    auto const* error = detail::cf_checked<cf_error>(err, "CFErrorGetCode");
    return error == nullptr ? 0 : error->code();
}

// The error's user info is immutable, so the caller may share it.
CFDictionaryRef CFErrorCopyUserInfo(CFErrorRef err)
{
    auto const* error = detail::cf_checked<cf_error>(err, "CFErrorCopyUserInfo");
    return error == nullptr ? nullptr : static_cast<CFDictionaryRef>(CFRetain(error->user_info()));
}

CFStringRef CFErrorCopyDescription(CFErrorRef err)
{
    auto const* error = detail::cf_checked<cf_error>(err, "CFErrorCopyDescription");
    return error == nullptr ? nullptr : detail::make_cf_string(detail::error_description(*error));
}

CFStringRef CFErrorCopyFailureReason(CFErrorRef err)
{
    return copy_user_info_string(err, kCFErrorLocalizedFailureReasonKey, "CFErrorCopyFailureReason");
}

CFStringRef CFErrorCopyRecoverySuggestion(CFErrorRef err)
{
    return copy_user_info_string(err, kCFErrorLocalizedRecoverySuggestionKey, "CFErrorCopyRecoverySuggestion");
}

} // extern "C"
