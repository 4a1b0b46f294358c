// The CFError object: its domain, code and user info, equality, hashing, description.
#include "sim/detail/cf/cf_error.hpp"

#include "sim/detail/cf/cf_string.hpp"
#include "sim/detail/cf/cf_type_registry.hpp"

#include <CoreFoundation/CFString.h>

namespace plinth::sim::detail {
namespace {

cf_string const& string_of(CFStringRef ref)
{
    return static_cast<cf_string const&>(*cf_object::from_ref(ref));
}

} // namespace

cf_error::cf_error(CFStringRef domain, CFIndex code, CFDictionaryRef user_info)
    : cf_object(class_type_id(), false), domain_(domain), code_(code), user_info_(user_info)
{
}

cf_error::~cf_error()
{
    CFRelease(user_info_);
    CFRelease(domain_);
}

CFTypeID cf_error::class_type_id()
{
    static CFTypeID const id = cf_type_registry::id_for("CFError");
    return id;
}

std::string const& cf_error::domain_text() const
{
    return string_of(domain_).utf8();
}

CFStringRef cf_error::user_info_string(CFStringRef key) const
{
    auto const* value = CFDictionaryGetValue(user_info_, key);
    if (value == nullptr || CFGetTypeID(value) != cf_string::class_type_id())
        return nullptr;
    return static_cast<CFStringRef>(value);
}

std::optional<std::string> cf_error::user_info_text(CFStringRef key) const
{
    auto const* value = user_info_string(key);
    if (value == nullptr)
        return std::nullopt;
    return string_of(value).utf8();
}

bool cf_error::equals(cf_object const& other) const
{
    auto const& that = static_cast<cf_error const&>(other);
    return code_ == that.code_ && CFEqual(domain_, that.domain_) && CFEqual(user_info_, that.user_info_);
}

CFHashCode cf_error::hash() const
{
    return static_cast<CFHashCode>(code_);
}

// The user info is left out, where a Mac lists it after the description.
std::string cf_error::description() const
{
    return "Error Domain=" + domain_text() + " Code=" + std::to_string(code_) + " \"" + error_description(*this) + "\"";
}

} // namespace plinth::sim::detail
