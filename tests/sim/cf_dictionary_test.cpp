#include "support/sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <map>
#include <string>
#include <vector>

namespace {

class cf_dictionary_test : public plinth::testing::sim_test
{
protected:
    static CFMutableDictionaryRef make_mutable()
    {
        return CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                         &kCFTypeDictionaryValueCallBacks);
    }

    static CFStringRef make_string(char const* text)
    {
        return CFStringCreateWithCString(nullptr, text, kCFStringEncodingUTF8);
    }

    static CFNumberRef make_number(SInt32 value) { return CFNumberCreate(nullptr, kCFNumberSInt32Type, &value); }
};

TEST_F(cf_dictionary_test, retains_keys_and_values_and_releases_them_on_removal)
{
    CFMutableDictionaryRef dictionary = make_mutable();
    CFStringRef key = make_string("idVendor");
    CFNumberRef value = make_number(0x05AC);

    CFDictionarySetValue(dictionary, key, value);
    EXPECT_EQ(CFGetRetainCount(key), 2);
    EXPECT_EQ(CFGetRetainCount(value), 2);

    // Lookup is by equality, not identity.
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("idVendor")), value);
    EXPECT_EQ(CFGetRetainCount(value), 2) << "GetValue follows the Get rule";

    CFDictionaryRemoveValue(dictionary, CFSTR("idVendor"));
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 0);
    EXPECT_EQ(CFGetRetainCount(key), 1);
    EXPECT_EQ(CFGetRetainCount(value), 1);

    CFRelease(dictionary);
    CFRelease(key);
    CFRelease(value);
}

TEST_F(cf_dictionary_test, destruction_releases_everything_it_holds)
{
    CFMutableDictionaryRef outer = make_mutable();
    CFMutableDictionaryRef inner = make_mutable();
    CFNumberRef number = make_number(1);
    CFDictionarySetValue(inner, CFSTR("n"), number);
    CFDictionarySetValue(outer, CFSTR("inner"), inner);
    CFRelease(number);
    CFRelease(inner);
    EXPECT_EQ(plinth::sim::live_cf_objects(), 3u);
    CFRelease(outer);
    EXPECT_EQ(plinth::sim::live_cf_objects(), 0u);
}

TEST_F(cf_dictionary_test, set_replaces_add_keeps_and_replace_needs_a_present_key)
{
    CFMutableDictionaryRef dictionary = make_mutable();
    CFNumberRef one = make_number(1);
    CFNumberRef two = make_number(2);

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

    CFRelease(dictionary);
    CFRelease(one);
    CFRelease(two);
}

TEST_F(cf_dictionary_test, absent_keys_give_null_and_present_ones_report_their_value)
{
    CFNumberRef value = make_number(3);
    void const* keys[] = {CFSTR("a")};
    void const* values[] = {value};
    CFDictionaryRef dictionary =
        CFDictionaryCreate(nullptr, keys, values, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    CFRelease(value);

    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("b")), nullptr);
    void const* found = nullptr;
    EXPECT_FALSE(CFDictionaryGetValueIfPresent(dictionary, CFSTR("b"), &found));
    EXPECT_TRUE(CFDictionaryGetValueIfPresent(dictionary, CFSTR("a"), &found));
    EXPECT_EQ(found, value);
    EXPECT_TRUE(CFDictionaryContainsValue(dictionary, value));
    CFRelease(dictionary);
}

TEST_F(cf_dictionary_test, enumeration_visits_every_pair_once)
{
    CFMutableDictionaryRef dictionary = make_mutable();
    std::vector<CFStringRef> const keys{CFSTR("one"), CFSTR("two"), CFSTR("three")};
    for (std::size_t i = 0; i < keys.size(); ++i)
    {
        CFNumberRef number = make_number(static_cast<SInt32>(i + 1));
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
    CFMutableDictionaryRef a = make_mutable();
    CFMutableDictionaryRef b = make_mutable();
    CFNumberRef small = make_number(1);
    double const one = 1.0;
    CFNumberRef real = CFNumberCreate(nullptr, kCFNumberFloat64Type, &one);

    CFDictionarySetValue(a, CFSTR("x"), small);
    CFDictionarySetValue(b, CFSTR("x"), real);
    EXPECT_TRUE(CFEqual(a, b));
    EXPECT_EQ(CFHash(a), CFHash(b));

    CFDictionarySetValue(b, CFSTR("x"), kCFBooleanTrue);
    EXPECT_FALSE(CFEqual(a, b)) << "true is not 1";
    CFDictionarySetValue(b, CFSTR("x"), small);
    CFDictionarySetValue(b, CFSTR("y"), small);
    EXPECT_FALSE(CFEqual(a, b));

    for (CFTypeRef object : {CFTypeRef(a), CFTypeRef(b), CFTypeRef(small), CFTypeRef(real)})
        CFRelease(object);
}

TEST_F(cf_dictionary_test, null_callbacks_store_pointers_without_retaining)
{
    static int const first = 1, second = 2;
    CFMutableDictionaryRef dictionary = CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr);
    CFDictionarySetValue(dictionary, &first, &second);
    CFNumberRef number = make_number(4);
    CFDictionarySetValue(dictionary, &second, number);
    EXPECT_EQ(CFGetRetainCount(number), 1);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, &first), &second);

    // Pointer equality: an equal but distinct string is a different key.
    CFStringRef key = make_string("k");
    CFDictionarySetValue(dictionary, key, &first);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("k")), nullptr);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, key), &first);

    CFRelease(dictionary);
    CFRelease(number);
    CFRelease(key);
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
    CFRelease(copy);
    CFRelease(dictionary);
    EXPECT_EQ(counting_callbacks::releases, 5);
}

TEST_F(cf_dictionary_test, copy_string_keys_are_kept_even_if_the_caller_releases_them)
{
    CFMutableDictionaryRef dictionary = CFDictionaryCreateMutable(nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks,
                                                                  &kCFTypeDictionaryValueCallBacks);
    CFStringRef key = make_string("BSD Name");
    CFDictionarySetValue(dictionary, key, CFSTR("disk0"));
    CFRelease(key);
    EXPECT_TRUE(CFEqual(CFDictionaryGetValue(dictionary, CFSTR("BSD Name")), CFSTR("disk0")));
    CFRelease(dictionary);
}

TEST_F(cf_dictionary_test, changing_an_immutable_dictionary_is_misuse)
{
    CFDictionaryRef dictionary =
        CFDictionaryCreate(nullptr, nullptr, nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    CFDictionarySetValue(const_cast<CFMutableDictionaryRef>(dictionary), CFSTR("k"), CFSTR("v"));
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 0);
    auto const reports = plinth::sim::misuse_reports();
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_NE(reports[0].find("CFDictionarySetValue"), std::string::npos) << reports[0];
    EXPECT_NE(reports[0].find("immutable"), std::string::npos) << reports[0];
    plinth::sim::clear_misuse_reports();
    CFRelease(dictionary);
}

} // namespace
