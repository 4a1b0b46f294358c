#include "support/sim_test.hpp"

#include "sim/control/diagnostics.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <thread>
#include <vector>

namespace {

using plinth::sim::live_cf_objects;

class cf_object_test : public plinth::testing::sim_test
{
protected:
    // Takes the misuse reports seen so far, so that the fixture's end check sees
    // only unexpected ones.
    static std::vector<std::string> take_reports()
    {
        auto reports = plinth::sim::misuse_reports();
        plinth::sim::clear_misuse_reports();
        return reports;
    }

    static CFNumberRef make_number(SInt32 value) { return CFNumberCreate(nullptr, kCFNumberSInt32Type, &value); }
};

TEST_F(cf_object_test, objects_count_as_live_until_their_last_release)
{
    auto const before = live_cf_objects();
    CFNumberRef number = make_number(7);
    CFStringRef string = CFStringCreateWithCString(nullptr, "text", kCFStringEncodingUTF8);
    EXPECT_EQ(live_cf_objects(), before + 2);

    EXPECT_EQ(CFRetain(number), number);
    EXPECT_EQ(CFGetRetainCount(number), 2);
    CFRelease(number);
    EXPECT_EQ(CFGetRetainCount(number), 1);
    EXPECT_EQ(live_cf_objects(), before + 2);

    CFRelease(number);
    CFRelease(string);
    EXPECT_EQ(live_cf_objects(), before);
}

TEST_F(cf_object_test, constants_are_immortal_and_not_counted)
{
    auto const before = live_cf_objects();
    CFStringRef constant = CFSTR("IOProviderClass");
    EXPECT_EQ(constant, CFSTR("IOProviderClass")) << "constant strings are interned";
    EXPECT_EQ(live_cf_objects(), before);

    // Over-releasing a constant must not free it or report anything.
    for (int i = 0; i < 3; ++i)
    {
        CFRelease(constant);
        CFRelease(kCFBooleanTrue);
    }
    CFRetain(kCFBooleanFalse);
    EXPECT_EQ(CFStringGetLength(constant), 15);
    EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
    EXPECT_FALSE(CFBooleanGetValue(kCFBooleanFalse));
    EXPECT_EQ(CFGetRetainCount(kCFBooleanTrue), CFGetRetainCount(kCFBooleanFalse));
    EXPECT_TRUE(take_reports().empty());
}

TEST_F(cf_object_test, type_ids_tell_the_types_apart)
{
    CFNumberRef number = make_number(1);
    CFDataRef data = CFDataCreate(nullptr, nullptr, 0);
    EXPECT_EQ(CFGetTypeID(number), CFNumberGetTypeID());
    EXPECT_EQ(CFGetTypeID(kCFBooleanTrue), CFBooleanGetTypeID());
    EXPECT_EQ(CFGetTypeID(CFSTR("x")), CFStringGetTypeID());
    EXPECT_EQ(CFGetTypeID(data), CFDataGetTypeID());

    std::vector<CFTypeID> const ids{CFStringGetTypeID(), CFNumberGetTypeID(),     CFBooleanGetTypeID(),
                                    CFDataGetTypeID(),   CFDictionaryGetTypeID(), CFArrayGetTypeID(),
                                    CFSetGetTypeID()};
    for (std::size_t i = 0; i < ids.size(); ++i)
        for (std::size_t j = i + 1; j < ids.size(); ++j)
            EXPECT_NE(ids[i], ids[j]);

    CFStringRef name = CFCopyTypeIDDescription(CFNumberGetTypeID());
    EXPECT_EQ(CFStringCompare(name, CFSTR("CFNumber"), 0), kCFCompareEqualTo);
    CFRelease(name);
    CFRelease(number);
    CFRelease(data);
}

TEST_F(cf_object_test, equality_compares_within_a_type_only)
{
    CFNumberRef one = make_number(1);
    double const one_point_zero = 1.0;
    CFNumberRef real_one = CFNumberCreate(nullptr, kCFNumberFloat64Type, &one_point_zero);
    CFStringRef text_one = CFStringCreateWithCString(nullptr, "1", kCFStringEncodingUTF8);

    EXPECT_TRUE(CFEqual(one, real_one));
    EXPECT_EQ(CFHash(one), CFHash(real_one)) << "equal objects must hash alike";
    EXPECT_FALSE(CFEqual(one, kCFBooleanTrue)) << "a boolean is never a number";
    EXPECT_FALSE(CFEqual(kCFBooleanTrue, one));
    EXPECT_FALSE(CFEqual(one, text_one));
    EXPECT_FALSE(CFEqual(kCFBooleanTrue, kCFBooleanFalse));
    EXPECT_TRUE(CFEqual(text_one, CFSTR("1")));
    EXPECT_EQ(CFHash(text_one), CFHash(CFSTR("1")));

    CFRelease(one);
    CFRelease(real_one);
    CFRelease(text_one);
}

TEST_F(cf_object_test, misuse_is_reported_instead_of_crashing)
{
    CFRelease(nullptr);
    EXPECT_EQ(CFRetain(nullptr), nullptr);
    auto reports = take_reports();
    ASSERT_EQ(reports.size(), 2u);
    EXPECT_NE(reports[0].find("CFRelease"), std::string::npos) << reports[0];
    EXPECT_NE(reports[1].find("CFRetain"), std::string::npos) << reports[1];

    CFNumberRef number = make_number(5);
    CFRelease(number);
    CFRelease(number); // already freed
    EXPECT_EQ(CFGetTypeID(number), 0u);
    reports = take_reports();
    ASSERT_EQ(reports.size(), 2u);
    EXPECT_NE(reports[0].find("not a live CF object"), std::string::npos) << reports[0];

    int not_a_cf_object = 0;
    EXPECT_FALSE(CFEqual(&not_a_cf_object, kCFBooleanTrue));
    EXPECT_EQ(take_reports().size(), 1u);
}

TEST_F(cf_object_test, typed_functions_report_a_value_of_another_type)
{
    CFNumberRef number = make_number(5);
    EXPECT_EQ(CFStringGetLength(reinterpret_cast<CFStringRef>(number)), 0);
    EXPECT_FALSE(CFBooleanGetValue(reinterpret_cast<CFBooleanRef>(number)));
    SInt32 value = 0;
    EXPECT_FALSE(CFNumberGetValue(reinterpret_cast<CFNumberRef>(kCFBooleanTrue), kCFNumberSInt32Type, &value));

    auto const reports = take_reports();
    ASSERT_EQ(reports.size(), 3u);
    EXPECT_NE(reports[0].find("CFStringGetLength: expected a CFString, got a CFNumber"), std::string::npos)
        << reports[0];
    EXPECT_NE(reports[2].find("got a CFBoolean"), std::string::npos) << reports[2];
    CFRelease(number);
}

TEST_F(cf_object_test, descriptions_name_the_type_and_value)
{
    CFNumberRef number = make_number(42);
    CFStringRef description = CFCopyDescription(number);
    char text[256];
    ASSERT_TRUE(CFStringGetCString(description, text, sizeof text, kCFStringEncodingUTF8));
    EXPECT_NE(std::string(text).find("<CFNumber"), std::string::npos) << text;
    EXPECT_NE(std::string(text).find("value = +42, type = kCFNumberSInt32Type"), std::string::npos) << text;
    CFRelease(description);
    CFRelease(number);
}

TEST_F(cf_object_test, retain_and_release_are_safe_across_threads)
{
    CFNumberRef number = make_number(9);
    constexpr int threads = 4;
    constexpr int rounds = 10000;
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t)
        workers.emplace_back([number] {
            for (int i = 0; i < rounds; ++i)
            {
                CFRetain(number);
                CFRelease(number);
            }
            for (int i = 0; i < rounds; ++i)
                CFRetain(number);
        });
    for (auto& worker : workers)
        worker.join();
    EXPECT_EQ(CFGetRetainCount(number), 1 + threads * rounds);

    workers.clear();
    for (int t = 0; t < threads; ++t)
        workers.emplace_back([number] {
            for (int i = 0; i < rounds; ++i)
                CFRelease(number);
        });
    for (auto& worker : workers)
        worker.join();
    EXPECT_EQ(CFGetRetainCount(number), 1);
    CFRelease(number);
}

} // namespace
