// Tests of the simulated CFDictionary.
#include "sim/cf_support.hpp"
#include "support/sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <map>
#include <string>
#include <vector>

namespace {

using namespace plinth::testing::cf;

using cf_dictionary_test = plinth::testing::sim_test;

TEST_F(cf_dictionary_test, retains_what_it_holds_and_releases_it_on_removal_and_destruction)
{
    CFMutableDictionaryRef dictionary = create_dictionary();
    CFStringRef key = create_string("idVendor");
    CFNumberRef value = create_number(0x05AC);
    CFDictionarySetValue(dictionary, key, value);
    EXPECT_EQ(CFGetRetainCount(key), 2);
    EXPECT_EQ(CFGetRetainCount(value), 2);

    // Lookup is by equality, not identity, and follows the Get rule.
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("idVendor")), value);
    EXPECT_EQ(CFGetRetainCount(value), 2);
    CFDictionaryRemoveValue(dictionary, CFSTR("idVendor"));
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 0);
    EXPECT_EQ(CFGetRetainCount(key), 1);
    EXPECT_EQ(CFGetRetainCount(value), 1);

    CFMutableDictionaryRef inner = create_dictionary();
    CFDictionarySetValue(inner, CFSTR("n"), value);
    CFDictionarySetValue(dictionary, key, inner);
    release_all(key, value, inner);
    EXPECT_EQ(plinth::sim::live_cf_objects(), 4u);
    CFRelease(dictionary);
    EXPECT_EQ(plinth::sim::live_cf_objects(), 0u) << "nested values go with the outer dictionary";
}

TEST_F(cf_dictionary_test, set_replaces_add_keeps_and_replace_needs_a_present_key)
{
    CFMutableDictionaryRef dictionary = create_dictionary();
    CFNumberRef one = create_number(1);
    CFNumberRef two = create_number(2);

    CFDictionaryAddValue(dictionary, CFSTR("k"), one);
    CFDictionaryAddValue(dictionary, CFSTR("k"), two);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("k")), one);
    EXPECT_EQ(CFGetRetainCount(two), 1) << "a refused add must not retain";

    CFDictionarySetValue(dictionary, CFSTR("k"), two);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("k")), two);
    EXPECT_EQ(CFGetRetainCount(one), 1) << "the replaced value is released";
    CFDictionarySetValue(dictionary, CFSTR("k"), two);
    EXPECT_EQ(CFGetRetainCount(two), 2) << "setting the same value again keeps it alive once";

    CFDictionaryReplaceValue(dictionary, CFSTR("absent"), one);
    EXPECT_FALSE(CFDictionaryContainsKey(dictionary, CFSTR("absent")));
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 1);

    void const* found = nullptr;
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("b")), nullptr);
    EXPECT_FALSE(CFDictionaryGetValueIfPresent(dictionary, CFSTR("b"), &found));
    EXPECT_TRUE(CFDictionaryGetValueIfPresent(dictionary, CFSTR("k"), &found));
    EXPECT_EQ(found, two);
    EXPECT_TRUE(CFDictionaryContainsValue(dictionary, two));
    release_all(dictionary, one, two);
}

TEST_F(cf_dictionary_test, enumeration_visits_every_pair_once)
{
    CFMutableDictionaryRef dictionary = create_dictionary();
    std::vector<CFStringRef> const keys{CFSTR("one"), CFSTR("two"), CFSTR("three")};
    for (std::size_t i = 0; i < keys.size(); ++i)
    {
        CFNumberRef number = create_number(static_cast<SInt32>(i + 1));
        CFDictionarySetValue(dictionary, keys[i], number);
        CFRelease(number);
    }

    std::vector<void const*> got_keys(3), got_values(3);
    CFDictionaryGetKeysAndValues(dictionary, got_keys.data(), got_values.data());
    std::map<void const*, void const*> pairs;
    for (std::size_t i = 0; i < 3; ++i)
        pairs[got_keys[i]] = got_values[i];
    for (CFStringRef key : keys)
        EXPECT_EQ(pairs.at(key), CFDictionaryGetValue(dictionary, key));

    std::map<void const*, void const*> applied;
    CFDictionaryApplyFunction(
        dictionary,
        [](void const* key, void const* value, void* context) {
            (*static_cast<std::map<void const*, void const*>*>(context))[key] = value;
        },
        &applied);
    EXPECT_EQ(applied, pairs);
    CFRelease(dictionary);
}

TEST_F(cf_dictionary_test, equality_needs_the_same_keys_with_equal_values)
{
    CFMutableDictionaryRef a = create_dictionary();
    CFMutableDictionaryRef b = create_dictionary();
    CFNumberRef small = create_number(1);
    CFNumberRef real = create_real(1.0);

    CFDictionarySetValue(a, CFSTR("x"), small);
    CFDictionarySetValue(b, CFSTR("x"), real);
    EXPECT_TRUE(CFEqual(a, b));
    EXPECT_EQ(CFHash(a), CFHash(b));

    CFDictionarySetValue(b, CFSTR("x"), kCFBooleanTrue);
    EXPECT_FALSE(CFEqual(a, b)) << "true is not 1";
    CFDictionarySetValue(b, CFSTR("x"), small);
    CFDictionarySetValue(b, CFSTR("y"), small);
    EXPECT_FALSE(CFEqual(a, b));
    release_all(a, b, small, real);
}

TEST_F(cf_dictionary_test, null_callbacks_store_pointers_without_retaining)
{
    static int const first = 1, second = 2;
    CFMutableDictionaryRef dictionary = CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr);
    CFDictionarySetValue(dictionary, &first, &second);
    CFNumberRef number = create_number(4);
    CFDictionarySetValue(dictionary, &second, number);
    EXPECT_EQ(CFGetRetainCount(number), 1);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, &first), &second);

    // Pointer equality: an equal but distinct string is a different key.
    CFStringRef key = create_string("k");
    CFDictionarySetValue(dictionary, key, &first);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("k")), nullptr);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, key), &first);
    release_all(dictionary, number, key);
}

struct counting_callbacks
{
    static inline int retains = 0;
    static inline int releases = 0;

    static void const* retain(CFAllocatorRef, void const* value)
    {
        ++retains;
        return value;
    }
    static void release(CFAllocatorRef, void const*) { ++releases; }
};

TEST_F(cf_dictionary_test, callers_callbacks_are_called_for_every_value_in_and_out)
{
    counting_callbacks::retains = counting_callbacks::releases = 0;
    CFDictionaryValueCallBacks const values{0, counting_callbacks::retain, counting_callbacks::release, nullptr,
                                            nullptr};
    static int a = 0, b = 0;
    CFMutableDictionaryRef dictionary = CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &values);
    CFDictionarySetValue(dictionary, CFSTR("a"), &a);
    CFDictionarySetValue(dictionary, CFSTR("a"), &b);
    CFDictionarySetValue(dictionary, CFSTR("b"), &b);
    EXPECT_EQ(counting_callbacks::retains, 3);
    EXPECT_EQ(counting_callbacks::releases, 1);

    CFMutableDictionaryRef copy = CFDictionaryCreateMutableCopy(nullptr, 0, dictionary);
    EXPECT_EQ(counting_callbacks::retains, 5) << "a copy keeps the callbacks";
    release_all(copy, dictionary);
    EXPECT_EQ(counting_callbacks::releases, 5);

    // Copied string keys stay even when the caller releases its key.
    dictionary =
        CFDictionaryCreateMutable(nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    CFStringRef key = create_string("BSD Name");
    CFDictionarySetValue(dictionary, key, CFSTR("disk0"));
    CFRelease(key);
    EXPECT_TRUE(CFEqual(CFDictionaryGetValue(dictionary, CFSTR("BSD Name")), CFSTR("disk0")));
    CFRelease(dictionary);
}

TEST_F(cf_dictionary_test, changing_an_immutable_dictionary_is_misuse)
{
    void const* keys[] = {CFSTR("a")};
    void const* values[] = {kCFBooleanTrue};
    CFDictionaryRef dictionary =
        CFDictionaryCreate(nullptr, keys, values, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("a")), kCFBooleanTrue);
    CFDictionarySetValue(const_cast<CFMutableDictionaryRef>(dictionary), CFSTR("k"), CFSTR("v"));
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 1);
    auto const reports = take_misuse_reports();
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_NE(reports[0].find("CFDictionarySetValue"), std::string::npos) << reports[0];
    EXPECT_NE(reports[0].find("immutable"), std::string::npos) << reports[0];
    CFRelease(dictionary);
}

} // namespace
