// Tests of the simulated CFMutableString, CFStringCreateWithFormat and the conversions out of a string.
#include "sim/cf_support.hpp"
#include "support/sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <array>
#include <string>
#include <vector>

namespace {

using namespace plinth::testing::cf;

class cf_mutable_string_test : public plinth::testing::sim_test
{
protected:
    static std::string text_of(CFStringRef string)
    {
        std::vector<char> buffer(static_cast<std::size_t>(CFStringGetMaximumSizeForEncoding(CFStringGetLength(string),
                                                                                            kCFStringEncodingUTF8)) +
                                 1);
        return CFStringGetCString(string, buffer.data(), static_cast<CFIndex>(buffer.size()), kCFStringEncodingUTF8)
                   ? buffer.data()
                   : "<failed>";
    }

    // "Größe 😀": "ö" and "ß" are one UTF-16 unit each, the emoji two (units 6 and 7).
    static constexpr char const* sized = "Gr\xC3\xB6\xC3\x9F"
                                         "e \xF0\x9F\x98\x80";
};

TEST_F(cf_mutable_string_test, edits_count_utf16_units_and_a_copy_does_not_follow_them)
{
    CFMutableStringRef string = CFStringCreateMutable(nullptr, 0);
    CFStringAppendCString(string, sized, kCFStringEncodingUTF8);
    EXPECT_EQ(CFStringGetLength(string), 8);
    CFStringRef const frozen = CFStringCreateCopy(nullptr, string);
    EXPECT_NE(frozen, string) << "the copy of a mutable string is a string of its own";

    CFStringInsert(string, 6, CFSTR("[")); // before the emoji, after the space
    CFStringAppend(string, CFSTR("]"));
    EXPECT_EQ(text_of(string), "Gr\xC3\xB6\xC3\x9F"
                               "e [\xF0\x9F\x98\x80]");
    CFStringDelete(string, CFRangeMake(0, 2));
    CFStringReplace(string, CFRangeMake(0, 2), CFSTR("OSS"));
    EXPECT_EQ(text_of(string), "OSSe [\xF0\x9F\x98\x80]");
    EXPECT_EQ(CFStringGetLength(string), 9);
    EXPECT_EQ(text_of(frozen), sized);

    CFStringAppend(string, string); // itself
    EXPECT_EQ(CFStringGetLength(string), 18);
    CFStringReplaceAll(string, CFSTR("x"));
    EXPECT_TRUE(CFEqual(string, CFSTR("x"))) << "mutable and immutable strings of one text are equal";
    EXPECT_EQ(CFHash(string), CFHash(CFSTR("x")));

    UniChar const units[] = {u'y', 0xD83D, 0xDE00};
    CFStringAppendCharacters(string, units, 3);
    EXPECT_EQ(CFStringGetLength(string), 4);
    EXPECT_EQ(CFStringGetCharacterAtIndex(string, 3), 0xDE00);
    release_all(string, frozen);
}

TEST_F(cf_mutable_string_test, edits_that_cf_refuses_are_reported_and_change_nothing)
{
    CFStringRef const original = create_string(sized);
    CFMutableStringRef string = CFStringCreateMutableCopy(nullptr, 0, original);
    CFRelease(original);
    CFStringRef const immutable = CFSTR("fixed");
    CFStringAppend(const_cast<CFMutableStringRef>(immutable), CFSTR("!"));
    CFStringInsert(string, 9, CFSTR("!"));
    CFStringDelete(string, CFRangeMake(7, 1)); // half of the emoji's pair
    CFStringAppend(string, nullptr);
    UniChar const lone[] = {0xD83D};
    CFStringAppendCharacters(string, lone, 1);
    EXPECT_EQ(take_misuse_reports().size(), 5u);
    EXPECT_EQ(text_of(string), sized);
    EXPECT_EQ(text_of(immutable), "fixed");
    CFStringAppendCString(string, "caf\xE9", kCFStringEncodingUTF8);
    EXPECT_EQ(text_of(string), sized) << "bytes not valid in the encoding append nothing";
    release_all(string);
}

TEST_F(cf_mutable_string_test, formats_print_c_values_as_printf_and_cf_objects_as_their_text)
{
    CFNumberRef const number = create_number(42);
    CFStringRef const made = CFStringCreateWithFormat(
        nullptr, nullptr, CFSTR("%@ %d|%5.2f|%-4s|%04x|%llu|%zu|%p|%C|%%|%@|%3@|%@"), CFSTR("name"), -7, 3.14159, "ab",
        0xbeefu, 18446744073709551615ull, std::size_t{9}, nullptr, UniChar{0x00E9}, nullptr, CFSTR("x"), number);
    std::string const text = text_of(made);
    EXPECT_EQ(text.substr(0, text.rfind('|') + 1),
              "name -7| 3.14|ab  |beef|18446744073709551615|9|0x0|\xC3\xA9|%|(null)|  x|");
    EXPECT_NE(text.find("<CFNumber"), std::string::npos) << "another object shows its description: " << text;

    CFMutableStringRef const built = CFStringCreateMutable(nullptr, 0);
    for (int i = 0; i < 3; ++i)
        CFStringAppendFormat(built, nullptr, CFSTR("%s%d"), i == 0 ? "" : ",", i);
    EXPECT_EQ(text_of(built), "0,1,2");
    release_all(number, made, built);
}

TEST_F(cf_mutable_string_test, formats_it_cannot_take_give_no_string_and_a_report)
{
    EXPECT_EQ(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%1$@"), CFSTR("x")), nullptr);
    EXPECT_EQ(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%n"), nullptr), nullptr);
    EXPECT_EQ(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("ends in %l")), nullptr);
    EXPECT_EQ(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%s"), "\xFF"), nullptr) << "not UTF-8";
    EXPECT_EQ(CFStringCreateWithFormat(nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(take_misuse_reports().size(), 5u);
}

TEST_F(cf_mutable_string_test, get_bytes_converts_what_fits_and_stops_or_substitutes_at_what_has_no_form)
{
    CFStringRef const string = create_string("caf\xC3\xA9 \xE2\x98\x83!");
    std::array<UInt8, 16> buffer{};
    CFIndex used = -1;
    CFIndex const length = CFStringGetLength(string);
    EXPECT_EQ(CFStringGetBytes(string, CFRangeMake(0, length), kCFStringEncodingISOLatin1, 0, false, buffer.data(),
                               buffer.size(), &used),
              5)
        << "stops at the snowman, which Latin-1 lacks";
    EXPECT_EQ(used, 5);
    EXPECT_EQ(buffer[3], 0xE9);
    EXPECT_EQ(CFStringGetBytes(string, CFRangeMake(0, length), kCFStringEncodingASCII, '?', false, buffer.data(),
                               buffer.size(), &used),
              length);
    EXPECT_EQ(std::string(buffer.begin(), buffer.begin() + used), "caf? ?!");
    EXPECT_EQ(CFStringGetBytes(string, CFRangeMake(0, length), kCFStringEncodingUTF8, 0, false, nullptr, 0, &used),
              length)
        << "no buffer: only the size";
    EXPECT_EQ(used, 10);
    EXPECT_EQ(CFStringGetBytes(string, CFRangeMake(1, 3), kCFStringEncodingUTF8, 0, false, buffer.data(), 3, &used), 2)
        << "a character that does not fit whole is left out";
    EXPECT_EQ(used, 2);
    EXPECT_EQ(CFStringGetBytes(CFSTR("A"), CFRangeMake(0, 1), kCFStringEncodingUTF16, 0, true, buffer.data(),
                               buffer.size(), &used),
              1);
    EXPECT_EQ(used, 4) << "the external form opens with a byte-order mark";
    EXPECT_EQ(buffer[0] | buffer[1] << 8, 0xFEFF);

    std::array<UniChar, 3> units{};
    CFStringGetCharacters(string, CFRangeMake(3, 3), units.data());
    EXPECT_EQ(units, (std::array<UniChar, 3>{0x00E9, u' ', 0x2603}));
    CFStringRef const middle = CFStringCreateWithSubstring(nullptr, string, CFRangeMake(3, 3));
    EXPECT_EQ(text_of(middle), "\xC3\xA9 \xE2\x98\x83");
    EXPECT_EQ(CFStringGetBytes(string, CFRangeMake(4, 9), kCFStringEncodingUTF8, 0, false, nullptr, 0, &used), 0);
    EXPECT_EQ(take_misuse_reports().size(), 1u) << "a range past the end";
    release_all(string, middle);
}

} // namespace
