// The CFError object of the CF model.
#pragma once

#include "sim/detail/cf/cf_object.hpp"

#include <CoreFoundation/CFError.h>

#include <optional>
#include <string>

namespace plinth::sim::detail {

// An immutable CFError: a domain, a code, and its own immutable user info.
class cf_error final : public cf_object
{
public:
    // Takes over one reference to `domain` and one to `user_info`, both non-NULL.
    cf_error(CFStringRef domain, CFIndex code, CFDictionaryRef user_info);
    ~cf_error() override;

    static CFTypeID class_type_id();

    CFStringRef domain() const noexcept { return domain_; }
    std::string const& domain_text() const;
    CFIndex code() const noexcept { return code_; }
    CFDictionaryRef user_info() const noexcept { return user_info_; }

    // The user-info value for `key` when it is a string; nullptr otherwise (Get rule).
    CFStringRef user_info_string(CFStringRef key) const;
    std::optional<std::string> user_info_text(CFStringRef key) const;

    // Same domain, code and user info.
    bool equals(cf_object const& other) const override;
    // The code, as CF hashes errors.
    CFHashCode hash() const override;
    // Error Domain=NSPOSIXErrorDomain Code=2 "The operation couldn’t be completed. ..."
    std::string description() const override;

private:
    CFStringRef domain_;
    CFIndex code_;
    CFDictionaryRef user_info_;
};

// What CFErrorCopyDescription says of an error.
std::string error_description(cf_error const& error);

} // namespace plinth::sim::detail
