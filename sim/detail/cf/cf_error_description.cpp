// What CFErrorCopyDescription says: the user info's own sentences first, else one made of the domain and code.
#include "sim/detail/cf/cf_error.hpp"
#include "sim/detail/cf/posix_error_text.hpp"

#include <mach/mach_error.h>

#include <cstring>

namespace plinth::sim::detail {
namespace {

// With a typographic apostrophe, as on a Mac.
constexpr char const* not_completed = "The operation couldn\u2019t be completed.";

// What the domain itself knows of a code, as a Mac's CF asks the POSIX and Mach
// domains for: the errno text of a Mac, or the kern_return_t / IOReturn text.
std::optional<std::string> domain_text_of(cf_error const& error)
{
    if (CFEqual(error.domain(), kCFErrorDomainPOSIX))
    {
        if (auto const* text = posix_error_text(error.code()))
            return text;
    }
    else if (CFEqual(error.domain(), kCFErrorDomainMach))
    {
        auto const* text = mach_error_string(static_cast<mach_error_t>(error.code()));
        if (std::strcmp(text, "unknown error code") != 0)
            return text;
    }
    return std::nullopt;
}

} // namespace

// In the order CFError documents: the localized description as it is; the failure
// with its reason after it; the reason after a generic sentence; and last a
// sentence naming the domain and code, with the plain description (from the user
// info, or from the domain) when there is one. A Mac may word the last cases
// differently from release to release; callers must not parse them.
std::string error_description(cf_error const& error)
{
    if (auto text = error.user_info_text(kCFErrorLocalizedDescriptionKey))
        return *text;
    auto const reason = error.user_info_text(kCFErrorLocalizedFailureReasonKey);
    if (auto failure = error.user_info_text(kCFErrorLocalizedFailureKey))
        return reason ? *failure + ' ' + *reason : *failure;
    if (reason)
        return std::string(not_completed) + ' ' + *reason;

    auto plain = error.user_info_text(kCFErrorDescriptionKey);
    if (!plain)
        plain = domain_text_of(error);
    auto const head =
        std::string(not_completed) + " (" + error.domain_text() + " error " + std::to_string(error.code());
    return plain ? head + " - " + *plain + ")" : head + ".)";
}

} // namespace plinth::sim::detail
