#include "error/apple/hid_errc.hpp"
#include "error/apple/io_return.hpp"
#include "error/errc.hpp"

#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

namespace {

TEST(error_codes, keep_their_numeric_values)
{
    EXPECT_EQ(plinth::make_error_code(plinth::errc::unsupported_property_type).value(), 1);
    EXPECT_EQ(plinth::make_error_code(plinth::errc::property_not_found).value(), 2);
    EXPECT_EQ(plinth::make_error_code(plinth::errc::invalid_port_size).value(), 3);
    EXPECT_EQ(plinth::make_error_code(plinth::errc::no_service_parent).value(), 4);
    EXPECT_EQ(plinth::make_error_code(plinth::errc::unknown_plane).value(), 5);
    EXPECT_EQ(plinth::apple::make_error_code(plinth::apple::hid_errc::not_open).value(), 1);
    EXPECT_EQ(plinth::apple::make_error_code(plinth::apple::hid_errc::property_missing).value(), 2);
}

TEST(error_codes, compare_equal_across_calls_and_differ_across_categories)
{
    EXPECT_EQ(plinth::make_error_code(plinth::errc::unknown_plane), plinth::make_error_code(plinth::errc::unknown_plane));
    EXPECT_EQ(plinth::apple::make_error_code(0xe00002c0), plinth::apple::make_error_code(0xe00002c0));

    // The same number in three categories is three different errors.
    auto const generic = plinth::make_error_code(plinth::errc::unsupported_property_type);
    auto const hid = plinth::apple::make_error_code(plinth::apple::hid_errc::not_open);
    auto const io_return = plinth::apple::make_error_code(1);
    EXPECT_NE(generic, hid);
    EXPECT_NE(hid, io_return);
    EXPECT_NE(generic, io_return);
}

TEST(error_codes, plug_into_boost_system_as_enums)
{
    static_assert(boost::system::is_error_code_enum<plinth::errc>::value);
    static_assert(boost::system::is_error_code_enum<plinth::apple::hid_errc>::value);

    boost::system::error_code ec = plinth::errc::property_not_found;
    EXPECT_EQ(ec, plinth::errc::property_not_found);
    ec = plinth::apple::hid_errc::property_missing;
    EXPECT_EQ(ec, plinth::apple::hid_errc::property_missing);
    EXPECT_NE(ec, plinth::errc::property_not_found);
}

TEST(io_return_category, success_is_no_error)
{
    EXPECT_FALSE(plinth::apple::make_error_code(0));
    EXPECT_TRUE(plinth::apple::make_error_code(static_cast<int>(0xe00002c0)));
}

TEST(io_return_category, names_common_iokit_returns)
{
    auto const message = [](unsigned v) { return plinth::apple::make_error_code(static_cast<int>(v)).message(); };
    EXPECT_NE(message(0xe00002c0).find("no such device"), std::string::npos);
    EXPECT_NE(message(0xe00002c0).find("kIOReturnNoDevice"), std::string::npos);
    EXPECT_NE(message(0xe00002c5).find("exclusive access"), std::string::npos);
    EXPECT_NE(message(0xe00002cd).find("not open"), std::string::npos);
    EXPECT_NE(message(0xe00002eb).find("aborted"), std::string::npos);
    EXPECT_NE(message(0xe00002f0).find("not found"), std::string::npos);
    EXPECT_NE(message(0x10000003).find("MACH_SEND_INVALID_DEST"), std::string::npos);
}

TEST(io_return_category, gives_the_hexadecimal_value_of_unknown_returns)
{
    EXPECT_EQ(plinth::apple::make_error_code(0x12345).message(), "IOKit error 0x00012345");
    EXPECT_EQ(plinth::apple::make_error_code(static_cast<int>(0xe00002ff)).message(), "IOKit error 0xe00002ff");
}

TEST(error_codes, system_error_carries_code_and_text)
{
    boost::system::system_error const e(plinth::apple::make_error_code(static_cast<int>(0xe00002c2)), "IORegistryEntryGetPath");
    EXPECT_EQ(e.code().value(), static_cast<int>(0xe00002c2));
    EXPECT_EQ(std::string(e.what()).rfind("IORegistryEntryGetPath", 0), 0u);
}

} // namespace
