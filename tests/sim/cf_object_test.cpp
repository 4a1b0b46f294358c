// Tests of what every simulated CF object answers: retain, release, type IDs, equality, misuse.
#include "sim/cf_support.hpp"
#include "support/sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <cstring>

#include <string>
#include <thread>
#include <vector>

namespace {

using plinth::sim::live_cf_objects;
using namespace plinth::testing::cf;

using cf_object_test = plinth::testing::sim_test;

TEST_F(cf_object_test, constants_are_interned_immortal_and_not_counted)
{
    CFStringRef constant = CFSTR("IOProviderClass");
    CFStringRef made = create_string("IOProviderClass");
    EXPECT_EQ(constant, CFSTR("IOProviderClass"));
    EXPECT_NE(constant, made);
    EXPECT_TRUE(CFEqual(constant, made));
    EXPECT_EQ(live_cf_objects(), 1u);
    CFRelease(made);

    // Over-releasing a constant must not free it or report anything.
    for (int i = 0; i < 3; ++i)
        release_all(constant, kCFBooleanTrue);
    CFRetain(kCFBooleanFalse);
    EXPECT_EQ(CFStringGetLength(constant), 15);
    EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
    EXPECT_FALSE(CFBooleanGetValue(kCFBooleanFalse));
    EXPECT_TRUE(take_misuse_reports().empty());
}

TEST_F(cf_object_test, type_ids_tell_the_types_apart_equality_stays_within_a_type_and_descriptions_name_both)
{
    std::vector<CFTypeID> const ids{CFStringGetTypeID(), CFNumberGetTypeID(),     CFBooleanGetTypeID(),
                                    CFDataGetTypeID(),   CFDictionaryGetTypeID(), CFArrayGetTypeID(),
                                    CFSetGetTypeID()};
    for (std::size_t i = 0; i < ids.size(); ++i)
        for (std::size_t j = i + 1; j < ids.size(); ++j)
            EXPECT_NE(ids[i], ids[j]);
    EXPECT_EQ(CFGetTypeID(kCFBooleanTrue), CFBooleanGetTypeID());
    CFStringRef name = CFCopyTypeIDDescription(CFNumberGetTypeID());
    EXPECT_EQ(CFStringCompare(name, CFSTR("CFNumber"), 0), kCFCompareEqualTo);

    CFNumberRef one = create_number(1);
    CFNumberRef real_one = create_real(1.0);
    CFStringRef text_one = create_string("1");
    EXPECT_EQ(CFGetTypeID(one), CFNumberGetTypeID());
    EXPECT_TRUE(CFEqual(one, real_one));
    EXPECT_EQ(CFHash(one), CFHash(real_one)) << "equal objects must hash alike";
    EXPECT_FALSE(CFEqual(one, kCFBooleanTrue)) << "a boolean is never a number";
    EXPECT_FALSE(CFEqual(kCFBooleanTrue, one));
    EXPECT_FALSE(CFEqual(one, text_one));
    EXPECT_FALSE(CFEqual(kCFBooleanTrue, kCFBooleanFalse));
    EXPECT_EQ(CFHash(text_one), CFHash(CFSTR("1")));

    CFStringRef description = CFCopyDescription(one);
    char text[256];
    ASSERT_TRUE(CFStringGetCString(description, text, sizeof text, kCFStringEncodingUTF8));
    EXPECT_TRUE(std::string(text).starts_with("<CFNumber")) << text;
    EXPECT_NE(std::string(text).find("value = +1, type = kCFNumberSInt32Type"), std::string::npos) << text;
    release_all(name, one, real_one, text_one, description);
}

TEST_F(cf_object_test, misuse_is_reported_instead_of_crashing)
{
    CFRelease(nullptr);
    EXPECT_EQ(CFRetain(nullptr), nullptr);
    auto reports = take_misuse_reports();
    ASSERT_EQ(reports.size(), 2u);
    EXPECT_NE(reports[0].find("CFRelease"), std::string::npos) << reports[0];
    EXPECT_NE(reports[1].find("CFRetain"), std::string::npos) << reports[1];

    CFNumberRef number = create_number(5);
    CFRelease(number);
    CFRelease(number); // already freed
    EXPECT_EQ(CFGetTypeID(number), 0u);
    reports = take_misuse_reports();
    ASSERT_EQ(reports.size(), 2u);
    EXPECT_NE(reports[0].find("not a live CF object"), std::string::npos) << reports[0];

    int not_a_cf_object = 0;
    EXPECT_FALSE(CFEqual(&not_a_cf_object, kCFBooleanTrue));
    EXPECT_EQ(take_misuse_reports().size(), 1u);

    // Typed functions report a value of another type.
    number = create_number(5);
    EXPECT_EQ(CFStringGetLength(reinterpret_cast<CFStringRef>(number)), 0);
    EXPECT_FALSE(CFBooleanGetValue(reinterpret_cast<CFBooleanRef>(number)));
    SInt32 value = 0;
    EXPECT_FALSE(CFNumberGetValue(reinterpret_cast<CFNumberRef>(kCFBooleanTrue), kCFNumberSInt32Type, &value));

    reports = take_misuse_reports();
    ASSERT_EQ(reports.size(), 3u);
    EXPECT_NE(reports[0].find("CFStringGetLength: expected a CFString, got a CFNumber"), std::string::npos)
        << reports[0];
    EXPECT_NE(reports[2].find("got a CFBoolean"), std::string::npos) << reports[2];
    CFRelease(number);
}

TEST_F(cf_object_test, retain_and_release_are_safe_across_threads)
{
    CFNumberRef number = create_number(9);
    constexpr int threads = 4;
    constexpr int rounds = 10000;
    auto const run = [&](auto const& work) {
        std::vector<std::thread> workers;
        for (int t = 0; t < threads; ++t)
            workers.emplace_back(work);
        for (auto& worker : workers)
            worker.join();
    };
    run([number] {
        for (int i = 0; i < rounds; ++i)
            release_all(CFRetain(number));
        for (int i = 0; i < rounds; ++i)
            CFRetain(number);
    });
    EXPECT_EQ(CFGetRetainCount(number), 1 + threads * rounds);
    run([number] {
        for (int i = 0; i < rounds; ++i)
            CFRelease(number);
    });
    EXPECT_EQ(CFGetRetainCount(number), 1);
    CFRelease(number);
}

// Allocators hand out the C library's memory: what one allocates, free() could
// release, and a reallocation to zero frees.
TEST_F(cf_object_test, the_default_allocator_allocates_reallocates_and_frees)
{
    CFAllocatorRef const allocator = CFAllocatorGetDefault();
    EXPECT_EQ(CFAllocatorAllocate(allocator, 0, 0), nullptr);
    auto* bytes = static_cast<char*>(CFAllocatorAllocate(allocator, 4, 0));
    ASSERT_NE(bytes, nullptr);
    std::memcpy(bytes, "abc", 4);
    bytes = static_cast<char*>(CFAllocatorReallocate(allocator, bytes, 4096, 0));
    ASSERT_NE(bytes, nullptr);
    EXPECT_STREQ(bytes, "abc");
    EXPECT_EQ(CFAllocatorReallocate(kCFAllocatorSystemDefault, bytes, 0, 0), nullptr);
    CFAllocatorDeallocate(allocator, CFAllocatorAllocate(allocator, 16, 0));
}

} // namespace
