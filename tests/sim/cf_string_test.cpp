// Tests of the simulated CFString.
#include "sim/cf_support.hpp"
#include "support/sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <climits>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace plinth::testing::cf;

class cf_string_test : public plinth::testing::sim_test
{
protected:
    static CFStringRef from_bytes(std::vector<UInt8> const& bytes, CFStringEncoding encoding)
    {
        return CFStringCreateWithBytes(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size()), encoding, false);
    }

    static CFStringRef from_utf8(std::string const& text)
    {
        return from_bytes({text.begin(), text.end()}, kCFStringEncodingUTF8);
    }

    // The string as a C string in `encoding`, or "<failed>".
    static std::string c_string(CFStringRef string, CFStringEncoding encoding = kCFStringEncodingUTF8)
    {
        char buffer[256];
        return CFStringGetCString(string, buffer, sizeof buffer, encoding) ? buffer : "<failed>";
    }
};

TEST_F(cf_string_test, utf8_text_round_trips_and_counts_utf16_units)
{
    // "Größe 😀": 7 characters, the emoji a surrogate pair in UTF-16.
    std::string const text = "Gr\xC3\xB6\xC3\x9F"
                             "e \xF0\x9F\x98\x80";
    CFStringRef string = create_string(text.c_str());
    ASSERT_NE(string, nullptr);
    EXPECT_EQ(CFStringGetLength(string), 8);
    EXPECT_EQ(c_string(string), text);
    EXPECT_EQ(CFStringGetCharacterAtIndex(string, 2), u'\u00F6');
    EXPECT_EQ(CFStringGetCharacterAtIndex(string, 6), 0xD83D);
    EXPECT_EQ(CFStringGetCharacterAtIndex(string, 7), 0xDE00);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8), 24);

    CFStringRef with_nul = from_utf8(std::string("a\0b", 3));
    EXPECT_EQ(CFStringGetLength(with_nul), 3) << "an embedded NUL is a character";
    EXPECT_FALSE(CFEqual(with_nul, CFSTR("a")));
    CFStringRef copy = CFStringCreateCopy(nullptr, string);
    EXPECT_EQ(copy, string) << "a copy of an immutable string is the string";
    EXPECT_EQ(CFGetRetainCount(string), 2);
    release_all(string, with_nul, copy);
}

TEST_F(cf_string_test, invalid_utf8_gives_no_string)
{
    for (std::string const bad :
         {"\xC3", "\xFF", "\xC0\xAF" /* overlong '/' */, "\xED\xA0\x80" /* surrogate */, "ok\x80"})
    {
        EXPECT_EQ(create_string(bad.c_str()), nullptr) << "accepted " << bad.size() << " bytes";
        EXPECT_EQ(from_utf8(bad), nullptr);
    }
}

TEST_F(cf_string_test, byte_encodings_are_converted)
{
    CFStringRef latin1 = from_bytes({'c', 0xE9}, kCFStringEncodingISOLatin1);
    CFStringRef mac_roman = from_bytes({'c', 0x8E}, kCFStringEncodingMacRoman);
    CFStringRef euro = from_bytes({0xDB}, kCFStringEncodingMacRoman);
    CFStringRef windows = from_bytes({0x80}, kCFStringEncodingWindowsLatin1);
    CFStringRef utf16 = from_bytes({0xFF, 0xFE, 'c', 0, 0xE9, 0}, kCFStringEncodingUTF16);
    CFStringRef utf16be = from_bytes({0, 'c', 0, 0xE9}, kCFStringEncodingUTF16BE);

    EXPECT_EQ(c_string(latin1), "c\xC3\xA9");
    EXPECT_TRUE(CFEqual(latin1, mac_roman));
    EXPECT_TRUE(CFEqual(latin1, utf16)) << "the byte-order mark is consumed";
    EXPECT_TRUE(CFEqual(latin1, utf16be));
    EXPECT_EQ(c_string(euro), "\xE2\x82\xAC");
    EXPECT_TRUE(CFEqual(euro, windows));

    // ASCII has no byte above 0x7F; an odd number of UTF-16 bytes, and an unpaired surrogate.
    EXPECT_EQ(from_bytes({'a', 0xE9}, kCFStringEncodingASCII), nullptr);
    EXPECT_EQ(from_bytes({'a', 0, 'b'}, kCFStringEncodingUTF16LE), nullptr);
    EXPECT_EQ(from_bytes({0x3D, 0xD8}, kCFStringEncodingUTF16LE), nullptr);
    release_all(latin1, mac_roman, euro, windows, utf16, utf16be);
}

TEST_F(cf_string_test, c_strings_need_room_for_the_nul_and_a_form_in_the_encoding)
{
    char buffer[4] = {'x', 'x', 'x', 'x'};
    EXPECT_FALSE(CFStringGetCString(CFSTR("abc"), buffer, 3, kCFStringEncodingUTF8)) << "no room for the NUL";
    EXPECT_TRUE(CFStringGetCString(CFSTR("abc"), buffer, 4, kCFStringEncodingUTF8));
    EXPECT_STREQ(buffer, "abc");

    CFStringRef accented = create_string("caf\xC3\xA9");
    EXPECT_EQ(c_string(accented, kCFStringEncodingISOLatin1), "caf\xE9");
    EXPECT_EQ(c_string(accented, kCFStringEncodingMacRoman), "caf\x8E");
    EXPECT_EQ(c_string(accented, kCFStringEncodingASCII), "<failed>");
    CFStringRef snowman = create_string("\xE2\x98\x83");
    EXPECT_EQ(c_string(snowman, kCFStringEncodingISOLatin1), "<failed>");

    // A pointer to the C string exists only for plain ASCII text, as on a Mac,
    // which keeps other text in UTF-16: programs fall back to CFStringGetCString.
    EXPECT_EQ(CFStringGetCStringPtr(accented, kCFStringEncodingUTF8), nullptr);
    EXPECT_EQ(CFStringGetCStringPtr(accented, kCFStringEncodingMacRoman), nullptr);
    EXPECT_STREQ(CFStringGetCStringPtr(CFSTR("plain"), kCFStringEncodingASCII), "plain");
    release_all(accented, snowman);
}

TEST_F(cf_string_test, comparison_orders_utf16_units)
{
    EXPECT_EQ(CFStringCompare(CFSTR("IOService"), CFSTR("IOUSB"), 0), kCFCompareLessThan);
    EXPECT_EQ(CFStringCompare(CFSTR("b"), CFSTR("a"), 0), kCFCompareGreaterThan);
    EXPECT_EQ(CFStringCompare(CFSTR("ab"), CFSTR("abc"), 0), kCFCompareLessThan);
    EXPECT_EQ(CFStringCompare(CFSTR("IOUSBHostDevice"), CFSTR("iousbhostdevice"), kCFCompareCaseInsensitive),
              kCFCompareEqualTo);
    // U+FF61 sorts above U+1F600 in UTF-16 (0xFF61 > 0xD83D), below it in UTF-8.
    CFStringRef halfwidth = create_string("\xEF\xBD\xA1");
    CFStringRef emoji = create_string("\xF0\x9F\x98\x80");
    EXPECT_EQ(CFStringCompare(halfwidth, emoji, 0), kCFCompareGreaterThan);
    EXPECT_TRUE(CFStringHasPrefix(CFSTR("IOUSBHostDevice"), CFSTR("IOUSB")));
    EXPECT_FALSE(CFStringHasSuffix(CFSTR("IOUSBHostDevice"), CFSTR("Host")));
    release_all(halfwidth, emoji);
}

// Ranges count UTF-16 units: the emoji before "usb" takes two.
TEST_F(cf_string_test, find_gives_the_first_or_last_place_in_utf16_units_and_anchored_only_at_an_end)
{
    using place = std::pair<CFIndex, CFIndex>;
    auto const range = [](CFRange r) { return place{r.location, r.length}; };
    CFStringRef text = create_string("\xF0\x9F\x98\x80usb-serial USB");
    EXPECT_EQ(range(CFStringFind(text, CFSTR("usb"), 0)), place(2, 3));
    EXPECT_EQ(range(CFStringFind(text, CFSTR("usb"), kCFCompareBackwards | kCFCompareCaseInsensitive)), place(13, 3));
    EXPECT_EQ(CFStringFind(text, CFSTR("usb"), kCFCompareAnchored).location, kCFNotFound);
    EXPECT_EQ(range(CFStringFind(text, CFSTR("USB"), kCFCompareAnchored | kCFCompareBackwards)), place(13, 3));
    EXPECT_EQ(range(CFStringFind(text, CFSTR("hub"), 0)), place(kCFNotFound, 0));
    EXPECT_EQ(CFStringFind(text, CFSTR(""), 0).location, kCFNotFound);
    EXPECT_EQ(CFStringFind(CFSTR("ab"), CFSTR("abc"), 0).location, kCFNotFound);
    CFRelease(text);
}

TEST_F(cf_string_test, separating_gives_the_pieces_between_separators_and_a_string_without_one_alone)
{
    auto const pieces = [](CFStringRef text, CFStringRef separator) {
        std::vector<std::string> result;
        CFArrayRef array = CFStringCreateArrayBySeparatingStrings(nullptr, text, separator);
        for (CFIndex i = 0; i < CFArrayGetCount(array); ++i)
            result.push_back(c_string(static_cast<CFStringRef>(CFArrayGetValueAtIndex(array, i))));
        CFRelease(array);
        return result;
    };
    using texts = std::vector<std::string>;
    EXPECT_EQ(pieces(CFSTR("/dev/cu.usbserial-A50285BI"), CFSTR("/")), (texts{"", "dev", "cu.usbserial-A50285BI"}));
    EXPECT_EQ(pieces(CFSTR("a, b,, c"), CFSTR(", ")), (texts{"a", "b,", "c"}));
    EXPECT_EQ(pieces(CFSTR("Headset"), CFSTR(":")), (texts{"Headset"}));
    EXPECT_EQ(pieces(CFSTR(":"), CFSTR(":")), (texts{"", ""})) << "as Apple's header says";
    EXPECT_EQ(pieces(CFSTR(""), CFSTR(":")), (texts{""}));
    EXPECT_EQ(CFStringCreateArrayBySeparatingStrings(nullptr, nullptr, CFSTR(":")), nullptr);
    EXPECT_EQ(take_misuse_reports().size(), 1u);
}

TEST_F(cf_string_test, int_value_skips_white_space_takes_a_sign_and_saturates)
{
    EXPECT_EQ(CFStringGetIntValue(CFSTR("  \t-42 ports")), -42);
    EXPECT_EQ(CFStringGetIntValue(CFSTR("+7")), 7);
    EXPECT_EQ(CFStringGetIntValue(CFSTR("0x10")), 0) << "decimal only";
    EXPECT_EQ(CFStringGetIntValue(CFSTR("ports")), 0);
    EXPECT_EQ(CFStringGetIntValue(CFSTR("99999999999")), INT_MAX);
    EXPECT_EQ(CFStringGetIntValue(CFSTR("-99999999999")), -INT_MAX);
    EXPECT_EQ(CFStringGetSystemEncoding(), kCFStringEncodingMacRoman);
}

} // namespace
