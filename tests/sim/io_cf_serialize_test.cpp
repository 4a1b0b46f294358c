// Tests of IOKit's serialization calls in the simulated machine: IOCFSerialize, IOCFUnserialize, IOCFUnserializeWithSize.
#include "io_registry_support.hpp"

#include <IOKit/IOCFSerialize.h>
#include <IOKit/IOCFUnserialize.h>

#include <cstdint>
#include <string>

using namespace plinth::testing::io;

namespace {

class io_cf_serialize : public plinth::testing::sim_test
{
protected:
    static std::string text_of_data(CFDataRef data)
    {
        return std::string(reinterpret_cast<char const*>(CFDataGetBytePtr(data)),
                           static_cast<std::size_t>(CFDataGetLength(data)));
    }

    // Unserializes `text`, expecting failure, and gives the error's text.
    static std::string error_of(char const* text)
    {
        CFStringRef error = nullptr;
        cf const value(IOCFUnserialize(text, kCFAllocatorDefault, 0, &error));
        EXPECT_FALSE(value) << text;
        cf const owned(error);
        return owned ? text_of(owned.get()) : "<no error>";
    }

    static std::int64_t number_of(CFTypeRef number)
    {
        std::int64_t value = 0;
        CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberSInt64Type, &value);
        return value;
    }
};

cf number(CFNumberType type, std::int64_t value)
{
    return cf(CFNumberCreate(nullptr, type, &value));
}

TEST_F(io_cf_serialize, a_dictionary_of_every_property_type_survives_a_round_trip)
{
    auto const dictionary =
        cf(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    auto* const d = dictionary.as<CFMutableDictionaryRef>();
    auto const text = string("a <tagged> & quoted \"text\"");
    UInt8 const bytes[] = {0x00, 0xff, 0x10, 0x3c, 0x3e};
    cf const data(CFDataCreate(nullptr, bytes, sizeof bytes));
    auto const location = number(kCFNumberSInt32Type, -0x7feffffe); // 0x80100002 as the kernel holds it
    auto const session = number(kCFNumberSInt64Type, 0x1234567890);
    double const ratio_value = 0.25;
    cf const ratio(CFNumberCreate(nullptr, kCFNumberFloat64Type, &ratio_value));
    void const* members[] = {text.get(), session.get()};
    cf const array(CFArrayCreate(nullptr, members, 2, &kCFTypeArrayCallBacks));
    cf const set(CFSetCreate(nullptr, members, 2, &kCFTypeSetCallBacks));
    CFDictionarySetValue(d, string("text").get(), text.get());
    CFDictionarySetValue(d, string("data").get(), data.get());
    CFDictionarySetValue(d, string("locationID").get(), location.get());
    CFDictionarySetValue(d, string("sessionID").get(), session.get());
    CFDictionarySetValue(d, string("ratio").get(), ratio.get());
    CFDictionarySetValue(d, string("yes").get(), kCFBooleanTrue);
    CFDictionarySetValue(d, string("no").get(), kCFBooleanFalse);
    CFDictionarySetValue(d, string("array").get(), array.get());
    CFDictionarySetValue(d, string("set").get(), set.get());

    cf const serialized(IOCFSerialize(dictionary.get(), 0));
    ASSERT_TRUE(serialized);
    auto const xml = text_of_data(serialized.as<CFDataRef>());
    ASSERT_FALSE(xml.empty());
    EXPECT_EQ(xml.back(), '\0') << "the kernel reads the data as a C string";
    EXPECT_NE(xml.find("<integer size=\"32\" ID=\""), std::string::npos) << xml;
    EXPECT_NE(xml.find(">0x80100002</integer>"), std::string::npos) << xml;
    EXPECT_NE(xml.find("IDREF=\""), std::string::npos) << "the text met again is referred to: " << xml;

    CFStringRef error = reinterpret_cast<CFStringRef>(0x1);
    cf const back(IOCFUnserialize(xml.c_str(), kCFAllocatorDefault, 0, &error));
    ASSERT_TRUE(back) << xml;
    EXPECT_EQ(error, nullptr) << "success clears the error";
    EXPECT_TRUE(CFEqual(back.get(), dictionary.get())) << xml;
    auto const read_location = CFDictionaryGetValue(back.as<CFDictionaryRef>(), string("locationID").get());
    EXPECT_EQ(CFNumberGetType(static_cast<CFNumberRef>(read_location)), kCFNumberSInt32Type);
    EXPECT_EQ(number_of(read_location), -0x7feffffe) << "32-bit registry numbers read back negative";
    auto const read_set = CFDictionaryGetValue(back.as<CFDictionaryRef>(), string("set").get());
    EXPECT_EQ(CFGetTypeID(read_set), CFSetGetTypeID());
}

TEST_F(io_cf_serialize, plain_property_lists_and_sized_integers_are_read)
{
    auto const* const plist = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                              "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                              "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                              "<plist version=\"1.0\">\n<dict>\n\t<key>idVendor</key>\n\t<integer>1452</integer>\n"
                              "\t<key>bytes</key>\n\t<data>AAEC\n\tAw==</data>\n\t<key>name</key>\n"
                              "\t<string>  spaced  </string>\n</dict>\n</plist>\n";
    CFStringRef error = nullptr;
    cf const value(IOCFUnserialize(plist, nullptr, 0, &error));
    ASSERT_TRUE(value) << (error ? text_of(error) : "");
    auto const* const d = value.as<CFDictionaryRef>();
    auto const vendor = CFDictionaryGetValue(d, string("idVendor").get());
    EXPECT_EQ(CFNumberGetType(static_cast<CFNumberRef>(vendor)), kCFNumberSInt64Type) << "no size: 64 bits";
    EXPECT_EQ(number_of(vendor), 1452);
    auto const bytes = static_cast<CFDataRef>(CFDictionaryGetValue(d, string("bytes").get()));
    ASSERT_EQ(CFDataGetLength(bytes), 4);
    EXPECT_EQ(CFDataGetBytePtr(bytes)[3], 3);
    EXPECT_EQ(text_of(CFDictionaryGetValue(d, string("name").get())), "  spaced  ");

    cf const small(IOCFUnserialize("<integer size=\"8\">0xff</integer>", nullptr, 0, nullptr));
    EXPECT_EQ(CFNumberGetType(small.as<CFNumberRef>()), kCFNumberSInt32Type);
    EXPECT_EQ(number_of(small.get()), 255);
    cf const negative(IOCFUnserialize("<integer size=\"64\">-5</integer>", nullptr, 0, nullptr));
    EXPECT_EQ(number_of(negative.get()), -5);
}

TEST_F(io_cf_serialize, with_a_size_only_the_bytes_given_are_read)
{
    std::string const text = "<string>abc</string>trailing garbage";
    cf const value(IOCFUnserializeWithSize(text.data(), 20, nullptr, 0, nullptr));
    ASSERT_TRUE(value);
    EXPECT_EQ(text_of(value.get()), "abc");

    std::string const with_nul("<true/>\0<false/>", 16);
    cf const first(IOCFUnserializeWithSize(with_nul.data(), with_nul.size(), nullptr, 0, nullptr));
    EXPECT_EQ(first.get(), kCFBooleanTrue) << "the text ends at its NUL";

    CFStringRef error = nullptr;
    char const binary[] = {'\xd3', 0, 0, 0, 1, 0, 0, '\x81'};
    EXPECT_EQ(IOCFUnserializeWithSize(binary, sizeof binary, nullptr, 0, &error), nullptr);
    cf const owned(error);
    EXPECT_NE(text_of(owned.get()).find("binary"), std::string::npos);
}

TEST_F(io_cf_serialize, bad_text_fails_with_an_error_that_says_why)
{
    EXPECT_NE(error_of("<dict><key>a</key>").find("line 1"), std::string::npos);
    EXPECT_NE(error_of("<dict>\n<key>a</key>\n<string>b</dict>").find("line 3"), std::string::npos);
    EXPECT_NE(error_of("<dict><string>a</string></dict>").find("<key>"), std::string::npos);
    EXPECT_NE(error_of("<dict><key>a</key></dict>").find("without a value"), std::string::npos);
    EXPECT_NE(error_of("<integer>12z</integer>").find("not a number"), std::string::npos);
    EXPECT_NE(error_of("<integer size=\"65\">1</integer>").find("65 bits"), std::string::npos);
    EXPECT_NE(error_of("<data>@@@@</data>").find("base64"), std::string::npos);
    EXPECT_NE(error_of("<string IDREF=\"7\"/>").find("\"7\""), std::string::npos);
    EXPECT_NE(error_of("<date>2020-01-01T00:00:00Z</date>").find("<date>"), std::string::npos);
    EXPECT_NE(error_of("<true/><false/>").find("more than one value"), std::string::npos);
    EXPECT_NE(error_of("").find("no value"), std::string::npos);
    // A reason that quotes bytes which are no UTF-8 still comes back, the bytes escaped.
    EXPECT_NE(error_of("<d\xd3\xd3>1</d\xd3\xd3>").find("\\xD3"), std::string::npos);
    // A half-built collection is released: the fixture finds no CF object left.
    EXPECT_FALSE(cf(IOCFUnserialize("<array><string>a</string><bogus/></array>", nullptr, 0, nullptr)));
}

TEST_F(io_cf_serialize, what_is_no_property_list_is_not_serialized_and_null_is_reported)
{
    auto const dictionary =
        cf(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    auto const key = number(kCFNumberSInt32Type, 1);
    CFDictionarySetValue(dictionary.as<CFMutableDictionaryRef>(), key.get(), kCFBooleanTrue);
    EXPECT_FALSE(cf(IOCFSerialize(dictionary.get(), 0))) << "keys must be strings";
    cf const uuid(CFUUIDCreate(nullptr));
    EXPECT_FALSE(cf(IOCFSerialize(uuid.get(), 0)));
    EXPECT_FALSE(cf(IOCFSerialize(kCFBooleanTrue, kIOCFSerializeToBinary))) << "only the XML form is written";
    EXPECT_TRUE(take_misuse_reports().empty());

    EXPECT_FALSE(cf(IOCFSerialize(nullptr, 0)));
    CFStringRef error = nullptr;
    EXPECT_FALSE(cf(IOCFUnserialize(nullptr, nullptr, 0, &error)));
    cf const owned(error);
    EXPECT_TRUE(owned) << "the error says why";
    EXPECT_FALSE(cf(IOCFUnserializeWithSize(nullptr, 4, nullptr, 0, nullptr)));
    EXPECT_EQ(take_misuse_reports().size(), 3u);
}

} // namespace
