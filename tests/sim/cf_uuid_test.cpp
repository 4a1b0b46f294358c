// Tests of the simulated CFUUID.
#include "support/sim_test.hpp"

#include <CoreFoundation/CFUUID.h>
#include <CoreFoundation/CoreFoundation.h>

#include <array>
#include <set>
#include <string>

namespace {

using cf_uuid_test = plinth::testing::sim_test;

using byte_array = std::array<UInt8, 16>;

constexpr char const* sample_text = "68753A44-4D6F-1226-9C60-0050E4C00067";
constexpr byte_array sample_bytes{0x68, 0x75, 0x3A, 0x44, 0x4D, 0x6F, 0x12, 0x26,
                                  0x9C, 0x60, 0x00, 0x50, 0xE4, 0xC0, 0x00, 0x67};

byte_array bytes_of(CFUUIDBytes const& b)
{
    return {b.byte0, b.byte1, b.byte2,  b.byte3,  b.byte4,  b.byte5,  b.byte6,  b.byte7,
            b.byte8, b.byte9, b.byte10, b.byte11, b.byte12, b.byte13, b.byte14, b.byte15};
}

// The text of a string the caller owns, which it releases.
std::string take_text(CFStringRef string)
{
    char buffer[256] = "<failed>";
    if (string != nullptr)
    {
        CFStringGetCString(string, buffer, sizeof buffer, kCFStringEncodingUTF8);
        CFRelease(string);
    }
    return buffer;
}

CFUUIDRef uuid_from(char const* text)
{
    CFStringRef string = CFStringCreateWithCString(nullptr, text, kCFStringEncodingUTF8);
    CFUUIDRef uuid = CFUUIDCreateFromString(nullptr, string);
    CFRelease(string);
    return uuid;
}

CFUUIDRef constant_sample()
{
    auto const& b = sample_bytes;
    return CFUUIDGetConstantUUIDWithBytes(nullptr, b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10],
                                          b[11], b[12], b[13], b[14], b[15]);
}

TEST_F(cf_uuid_test, text_bytes_and_uuid_round_trip)
{
    CFUUIDRef from_text = uuid_from(sample_text);
    ASSERT_NE(from_text, nullptr);
    EXPECT_EQ(CFGetTypeID(from_text), CFUUIDGetTypeID());
    CFUUIDBytes const raw = CFUUIDGetUUIDBytes(from_text);
    EXPECT_EQ(bytes_of(raw), sample_bytes) << "the bytes in the order they are written";
    EXPECT_EQ(take_text(CFUUIDCreateString(nullptr, from_text)), sample_text);

    CFUUIDRef from_raw = CFUUIDCreateFromUUIDBytes(nullptr, raw);
    auto const& b = sample_bytes;
    CFUUIDRef from_arguments = CFUUIDCreateWithBytes(nullptr, b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8],
                                                     b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
    for (CFUUIDRef same : {from_raw, from_arguments})
    {
        EXPECT_TRUE(CFEqual(from_text, same));
        EXPECT_EQ(CFHash(from_text), CFHash(same));
    }
    CFRelease(from_arguments);
    CFRelease(from_raw);
    CFRelease(from_text);
}

TEST_F(cf_uuid_test, lowercase_text_is_read_and_written_back_in_uppercase)
{
    CFUUIDRef uuid = uuid_from("68753a44-4d6f-1226-9c60-0050e4c00067");
    ASSERT_NE(uuid, nullptr);
    EXPECT_EQ(bytes_of(CFUUIDGetUUIDBytes(uuid)), sample_bytes);
    EXPECT_EQ(take_text(CFUUIDCreateString(nullptr, uuid)), sample_text);
    CFRelease(uuid);
}

TEST_F(cf_uuid_test, text_of_any_other_shape_is_no_uuid)
{
    for (char const* text : {
             "",
             "68753A44-4D6F-1226-9C60-0050E4C0006",   // one digit short
             "68753A44-4D6F-1226-9C60-0050E4C000671", // one digit over
             "68753A444-D6F-1226-9C60-0050E4C00067",  // a dash one place late
             "68753A44-4D6F-1226-9C6000-50E4C00067",  // a dash moved into the last group
             "68753A44-4D6F-1226-9C60+0050E4C00067",  // not a dash
             "68753A44-4D6F-1226-9C60-0050E4C0006G",  // not hex
             "68753A44-4D6F-1226-9C60-0050E4C0 067",  // a space
             " 68753A44-4D6F-1226-9C60-0050E4C0006",  // a space, the length right
             "{68753A44-4D6F-1226-9C60-0050E4C00067}",
             "68753A444D6F12269C600050E4C00067",           // the digits alone
             "68753A44-4D6F-1226-9C60-0050E4C000\xC3\xA9", // 36 bytes, 35 characters
         })
    {
        CFUUIDRef uuid = uuid_from(text);
        EXPECT_EQ(uuid, nullptr) << '"' << text << '"';
        if (uuid != nullptr)
            CFRelease(uuid);
    }
}

TEST_F(cf_uuid_test, created_uuids_are_random_version_4_and_distinct)
{
    std::set<byte_array> seen;
    for (int i = 0; i < 500; ++i)
    {
        CFUUIDRef uuid = CFUUIDCreate(nullptr);
        auto const bytes = bytes_of(CFUUIDGetUUIDBytes(uuid));
        EXPECT_EQ(bytes[6] >> 4, 4) << "version 4";
        EXPECT_EQ(bytes[8] >> 6, 2) << "the RFC 4122 variant";
        seen.insert(bytes);

        CFUUIDRef reread = uuid_from(take_text(CFUUIDCreateString(nullptr, uuid)).c_str());
        EXPECT_TRUE(reread != nullptr && CFEqual(uuid, reread));
        if (reread != nullptr)
            CFRelease(reread);
        CFRelease(uuid);
    }
    EXPECT_EQ(seen.size(), 500u);
}

TEST_F(cf_uuid_test, a_constant_uuid_is_one_object_per_bytes_and_outlives_releases)
{
    CFUUIDRef constant = constant_sample();
    EXPECT_EQ(constant_sample(), constant);
    CFUUIDRef other = CFUUIDGetConstantUUIDWithBytes(nullptr, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
    EXPECT_NE(other, constant);

    CFRelease(constant);
    CFRelease(constant);
    CFRetain(constant);
    EXPECT_EQ(take_text(CFUUIDCreateString(nullptr, constant)), sample_text) << "still alive";
    EXPECT_EQ(constant_sample(), constant);

    CFUUIDRef created = uuid_from(sample_text);
    EXPECT_NE(created, constant);
    EXPECT_TRUE(CFEqual(created, constant));
    EXPECT_TRUE(CFEqual(constant, created));
    EXPECT_EQ(CFHash(created), CFHash(constant));
    CFRelease(created);
}

TEST_F(cf_uuid_test, description_names_the_object_then_the_uuid)
{
    CFUUIDRef uuid = uuid_from(sample_text);
    auto const description = take_text(CFCopyDescription(uuid));
    EXPECT_EQ(description.rfind("<CFUUID 0x", 0), 0u) << description;
    EXPECT_TRUE(description.ends_with(std::string("> ") + sample_text)) << description;
    CFRelease(uuid);
}

TEST_F(cf_uuid_test, null_released_and_wrong_typed_arguments_are_reported)
{
    CFStringRef text = CFStringCreateWithCString(nullptr, sample_text, kCFStringEncodingUTF8);
    CFUUIDRef released = CFUUIDCreateFromString(nullptr, text);
    CFRelease(released);

    EXPECT_EQ(CFUUIDCreateFromString(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFUUIDCreateFromString(nullptr, reinterpret_cast<CFStringRef>(constant_sample())), nullptr);
    EXPECT_EQ(CFUUIDCreateString(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFUUIDCreateString(nullptr, reinterpret_cast<CFUUIDRef>(text)), nullptr);
    EXPECT_EQ(CFUUIDCreateString(nullptr, released), nullptr);
    EXPECT_EQ(bytes_of(CFUUIDGetUUIDBytes(nullptr)), byte_array{});
    EXPECT_EQ(bytes_of(CFUUIDGetUUIDBytes(reinterpret_cast<CFUUIDRef>(text))), byte_array{});
    EXPECT_EQ(take_misuse_reports().size(), 7u);
    CFRelease(text);
}

} // namespace
