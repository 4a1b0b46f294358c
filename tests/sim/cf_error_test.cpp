// Tests of the simulated CFError.
#include "sim/cf_support.hpp"
#include "support/sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOReturn.h>

#include <initializer_list>
#include <string>
#include <utility>

namespace {

using namespace plinth::testing::cf;
using cf_error_test = plinth::testing::sim_test;

// The text of a string; "<none>" for NULL.
std::string text_of(CFTypeRef string)
{
    char buffer[512] = "<none>";
    if (string != nullptr &&
        !CFStringGetCString(static_cast<CFStringRef>(string), buffer, sizeof buffer, kCFStringEncodingUTF8))
        return "<failed>";
    return buffer;
}

// The same for a string the caller owns, which it releases.
std::string take_text(CFStringRef string)
{
    auto text = text_of(string);
    if (string != nullptr)
        CFRelease(string);
    return text;
}

std::string description_of(CFErrorRef error)
{
    return take_text(CFErrorCopyDescription(error));
}

// An error whose user info maps each key to a string of the text.
CFErrorRef error_with(CFErrorDomain domain, CFIndex code,
                      std::initializer_list<std::pair<CFStringRef, char const*>> entries = {})
{
    CFMutableDictionaryRef user_info = create_dictionary();
    for (auto const& [key, text] : entries)
    {
        CFStringRef value = create_string(text);
        CFDictionarySetValue(user_info, key, value);
        CFRelease(value);
    }
    CFErrorRef error = CFErrorCreate(nullptr, domain, code, user_info);
    CFRelease(user_info);
    return error;
}

constexpr char const* not_completed = "The operation couldn\u2019t be completed.";

TEST_F(cf_error_test, the_domains_and_keys_have_their_values_on_a_mac)
{
    EXPECT_EQ(text_of(kCFErrorDomainPOSIX), "NSPOSIXErrorDomain");
    EXPECT_EQ(text_of(kCFErrorDomainOSStatus), "NSOSStatusErrorDomain");
    EXPECT_EQ(text_of(kCFErrorDomainMach), "NSMachErrorDomain");
    EXPECT_EQ(text_of(kCFErrorDomainCocoa), "NSCocoaErrorDomain");
    EXPECT_EQ(text_of(kCFErrorLocalizedDescriptionKey), "NSLocalizedDescription");
    EXPECT_EQ(text_of(kCFErrorLocalizedFailureReasonKey), "NSLocalizedFailureReason");
    EXPECT_EQ(text_of(kCFErrorLocalizedRecoverySuggestionKey), "NSLocalizedRecoverySuggestion");
    EXPECT_EQ(text_of(kCFErrorDescriptionKey), "NSDescription");
    EXPECT_EQ(text_of(kCFErrorUnderlyingErrorKey), "NSUnderlyingError");
}

TEST_F(cf_error_test, the_user_info_is_copied_so_later_changes_to_the_callers_leave_it_alone)
{
    CFMutableDictionaryRef user_info = create_dictionary();
    CFStringRef first = create_string("first");
    CFDictionarySetValue(user_info, kCFErrorLocalizedDescriptionKey, first);
    CFErrorRef error = CFErrorCreate(nullptr, kCFErrorDomainCocoa, 4, user_info);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(CFGetTypeID(error), CFErrorGetTypeID());

    CFStringRef second = create_string("second");
    CFDictionarySetValue(user_info, kCFErrorLocalizedDescriptionKey, second);
    CFDictionarySetValue(user_info, kCFErrorDescriptionKey, second);

    CFDictionaryRef copied = CFErrorCopyUserInfo(error);
    EXPECT_NE(copied, user_info);
    EXPECT_EQ(CFDictionaryGetCount(copied), 1);
    EXPECT_EQ(text_of(CFDictionaryGetValue(copied, kCFErrorLocalizedDescriptionKey)), "first");
    EXPECT_EQ(description_of(error), "first");
    EXPECT_TRUE(CFEqual(CFErrorGetDomain(error), kCFErrorDomainCocoa));
    EXPECT_EQ(CFErrorGetCode(error), 4);
    release_all(copied, error, second, first, user_info);
}

TEST_F(cf_error_test, an_error_made_without_user_info_has_an_empty_one_and_no_reason_or_suggestion)
{
    CFErrorRef error = CFErrorCreate(nullptr, kCFErrorDomainPOSIX, 2, nullptr);
    CFDictionaryRef user_info = CFErrorCopyUserInfo(error);
    ASSERT_NE(user_info, nullptr);
    EXPECT_EQ(CFDictionaryGetCount(user_info), 0);
    EXPECT_EQ(CFErrorCopyFailureReason(error), nullptr);
    EXPECT_EQ(CFErrorCopyRecoverySuggestion(error), nullptr);
    release_all(user_info, error);
}

TEST_F(cf_error_test, without_sentences_of_its_own_an_error_is_described_by_domain_and_code)
{
    CFErrorRef posix = CFErrorCreate(nullptr, kCFErrorDomainPOSIX, 2, nullptr);
    EXPECT_EQ(description_of(posix),
              std::string(not_completed) + " (NSPOSIXErrorDomain error 2 - No such file or directory)");
    CFErrorRef mac_errno = CFErrorCreate(nullptr, kCFErrorDomainPOSIX, 35, nullptr);
    EXPECT_EQ(description_of(mac_errno),
              std::string(not_completed) + " (NSPOSIXErrorDomain error 35 - Resource temporarily unavailable)")
        << "a Mac's errno numbering, not the host's";
    CFErrorRef unknown_errno = CFErrorCreate(nullptr, kCFErrorDomainPOSIX, 9999, nullptr);
    EXPECT_EQ(description_of(unknown_errno), std::string(not_completed) + " (NSPOSIXErrorDomain error 9999.)");

    CFErrorRef mach = CFErrorCreate(nullptr, kCFErrorDomainMach, kIOReturnNotPermitted, nullptr);
    EXPECT_EQ(description_of(mach), std::string(not_completed) + " (NSMachErrorDomain error " +
                                        std::to_string(kIOReturnNotPermitted) + " - (iokit/common) not permitted)");
    CFErrorRef status = CFErrorCreate(nullptr, kCFErrorDomainOSStatus, -50, nullptr);
    EXPECT_EQ(description_of(status), std::string(not_completed) + " (NSOSStatusErrorDomain error -50.)");

    CFErrorRef described = error_with(kCFErrorDomainPOSIX, 2, {{kCFErrorDescriptionKey, "the file went away"}});
    EXPECT_EQ(description_of(described),
              std::string(not_completed) + " (NSPOSIXErrorDomain error 2 - the file went away)")
        << "the user info's plain description wins over the domain's";
    release_all(described, status, mach, unknown_errno, mac_errno, posix);
}

TEST_F(cf_error_test, the_user_infos_sentences_describe_the_error_in_cfs_order)
{
    CFErrorRef localized = error_with(kCFErrorDomainPOSIX, 2,
                                      {{kCFErrorLocalizedDescriptionKey, "Gone."},
                                       {kCFErrorLocalizedFailureKey, "Not saved."},
                                       {kCFErrorLocalizedFailureReasonKey, "The disk is full."}});
    EXPECT_EQ(description_of(localized), "Gone.");
    CFErrorRef failure = error_with(
        kCFErrorDomainPOSIX, 2,
        {{kCFErrorLocalizedFailureKey, "Not saved."}, {kCFErrorLocalizedFailureReasonKey, "The disk is full."}});
    EXPECT_EQ(description_of(failure), "Not saved. The disk is full.");
    CFErrorRef reason = error_with(kCFErrorDomainPOSIX, 2,
                                   {{kCFErrorLocalizedFailureReasonKey, "The disk is full."},
                                    {kCFErrorLocalizedRecoverySuggestionKey, "Delete something."}});
    EXPECT_EQ(description_of(reason), std::string(not_completed) + " The disk is full.");
    EXPECT_EQ(take_text(CFErrorCopyFailureReason(reason)), "The disk is full.");
    EXPECT_EQ(take_text(CFErrorCopyRecoverySuggestion(reason)), "Delete something.");

    CFNumberRef number = create_number(7);
    CFMutableDictionaryRef odd = create_dictionary();
    CFDictionarySetValue(odd, kCFErrorLocalizedDescriptionKey, number);
    CFDictionarySetValue(odd, kCFErrorLocalizedFailureReasonKey, number);
    CFErrorRef not_strings = CFErrorCreate(nullptr, kCFErrorDomainCocoa, 3, odd);
    EXPECT_EQ(description_of(not_strings), std::string(not_completed) + " (NSCocoaErrorDomain error 3.)")
        << "values that are not strings are passed over";
    EXPECT_EQ(CFErrorCopyFailureReason(not_strings), nullptr);
    release_all(not_strings, odd, number, reason, failure, localized);
}

TEST_F(cf_error_test, description_of_the_object_gives_domain_code_and_sentence)
{
    CFErrorRef error = CFErrorCreate(nullptr, kCFErrorDomainPOSIX, 2, nullptr);
    EXPECT_EQ(take_text(CFCopyDescription(error)), std::string("Error Domain=NSPOSIXErrorDomain Code=2 \"") +
                                                       not_completed +
                                                       " (NSPOSIXErrorDomain error 2 - No such file or directory)\"");
    CFRelease(error);
}

TEST_F(cf_error_test, errors_are_equal_by_domain_code_and_user_info)
{
    CFErrorRef a = error_with(kCFErrorDomainPOSIX, 5, {{kCFErrorDescriptionKey, "I/O"}});
    CFErrorRef same = error_with(kCFErrorDomainPOSIX, 5, {{kCFErrorDescriptionKey, "I/O"}});
    CFErrorRef other_code = error_with(kCFErrorDomainPOSIX, 6, {{kCFErrorDescriptionKey, "I/O"}});
    CFErrorRef other_domain = error_with(kCFErrorDomainMach, 5, {{kCFErrorDescriptionKey, "I/O"}});
    CFErrorRef other_info = error_with(kCFErrorDomainPOSIX, 5, {{kCFErrorDescriptionKey, "disk"}});
    EXPECT_TRUE(CFEqual(a, same));
    EXPECT_EQ(CFHash(a), CFHash(same));
    EXPECT_FALSE(CFEqual(a, other_code));
    EXPECT_FALSE(CFEqual(a, other_domain));
    EXPECT_FALSE(CFEqual(a, other_info));
    release_all(other_info, other_domain, other_code, same, a);
}

TEST_F(cf_error_test, keys_and_values_make_the_user_info_and_an_underlying_error_lives_as_long_as_it)
{
    CFErrorRef underlying = CFErrorCreate(nullptr, kCFErrorDomainPOSIX, 13, nullptr);
    CFStringRef reason = create_string("No access.");
    void const* keys[] = {kCFErrorUnderlyingErrorKey, kCFErrorLocalizedFailureReasonKey};
    void const* values[] = {underlying, reason};
    CFErrorRef error = CFErrorCreateWithUserInfoKeysAndValues(nullptr, kCFErrorDomainCocoa, 257, keys, values, 2);
    release_all(reason, underlying);

    ASSERT_NE(error, nullptr);
    EXPECT_EQ(take_text(CFErrorCopyFailureReason(error)), "No access.");
    CFDictionaryRef user_info = CFErrorCopyUserInfo(error);
    auto inner =
        static_cast<CFErrorRef>(const_cast<void*>(CFDictionaryGetValue(user_info, kCFErrorUnderlyingErrorKey)));
    ASSERT_NE(inner, nullptr);
    EXPECT_EQ(CFErrorGetCode(inner), 13) << "held by the user info after the caller let go";
    release_all(user_info, error);
}

TEST_F(cf_error_test, null_released_and_wrong_typed_arguments_are_reported)
{
    CFNumberRef number = create_number(1);
    CFErrorRef released = CFErrorCreate(nullptr, kCFErrorDomainPOSIX, 1, nullptr);
    CFRelease(released);

    EXPECT_EQ(CFErrorCreate(nullptr, nullptr, 1, nullptr), nullptr);
    EXPECT_EQ(CFErrorCreate(nullptr, reinterpret_cast<CFStringRef>(number), 1, nullptr), nullptr);
    EXPECT_EQ(CFErrorCreate(nullptr, kCFErrorDomainPOSIX, 1, reinterpret_cast<CFDictionaryRef>(number)), nullptr);
    EXPECT_EQ(CFErrorCreateWithUserInfoKeysAndValues(nullptr, kCFErrorDomainPOSIX, 1, nullptr, nullptr, 1), nullptr);
    EXPECT_EQ(CFErrorGetDomain(nullptr), nullptr);
    EXPECT_EQ(CFErrorGetCode(reinterpret_cast<CFErrorRef>(const_cast<void*>(static_cast<void const*>(number)))), 0);
    EXPECT_EQ(CFErrorCopyUserInfo(released), nullptr);
    EXPECT_EQ(CFErrorCopyDescription(nullptr), nullptr);
    EXPECT_EQ(CFErrorCopyFailureReason(released), nullptr);
    EXPECT_EQ(CFErrorCopyRecoverySuggestion(nullptr), nullptr);
    EXPECT_EQ(take_misuse_reports().size(), 10u);
    CFRelease(number);
}

} // namespace
