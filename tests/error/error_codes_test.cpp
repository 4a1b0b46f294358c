// Tests of the error enums and the IOReturn category: changed values, mixed-up categories, lost return names.
#include "error/apple/hid_errc.hpp"
#include "error/apple/io_return.hpp"
#include "error/errc.hpp"

#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

#include <string>

namespace {

using plinth::apple::hid_errc;
using plinth::apple::make_error_code;
using plinth::errc;

TEST(error_codes, keep_their_values_and_compare_equal_across_calls_but_not_across_categories)
{
    EXPECT_EQ(plinth::make_error_code(errc::unsupported_property_type).value(), 1);
    EXPECT_EQ(plinth::make_error_code(errc::property_not_found).value(), 2);
    EXPECT_EQ(plinth::make_error_code(errc::invalid_port_size).value(), 3);
    EXPECT_EQ(plinth::make_error_code(errc::no_service_parent).value(), 4);
    EXPECT_EQ(plinth::make_error_code(errc::unknown_plane).value(), 5);
    EXPECT_EQ(make_error_code(hid_errc::not_open).value(), 1);
    EXPECT_EQ(make_error_code(hid_errc::property_missing).value(), 2);

    EXPECT_EQ(plinth::make_error_code(errc::unknown_plane), plinth::make_error_code(errc::unknown_plane));
    EXPECT_EQ(make_error_code(0xe00002c0), make_error_code(0xe00002c0));
    // The same number in three categories is three different errors.
    auto const generic = plinth::make_error_code(errc::unsupported_property_type);
    auto const hid = make_error_code(hid_errc::not_open);
    auto const io_return = make_error_code(1);
    EXPECT_NE(generic, hid);
    EXPECT_NE(hid, io_return);
    EXPECT_NE(generic, io_return);
}

TEST(error_codes, plug_into_boost_system_as_enums)
{
    static_assert(boost::system::is_error_code_enum<errc>::value);
    static_assert(boost::system::is_error_code_enum<hid_errc>::value);
    boost::system::error_code ec = errc::property_not_found;
    EXPECT_EQ(ec, errc::property_not_found);
    ec = hid_errc::property_missing;
    EXPECT_EQ(ec, hid_errc::property_missing);
    EXPECT_NE(ec, errc::property_not_found);

    boost::system::system_error const e(make_error_code(static_cast<int>(0xe00002c2)), "IORegistryEntryGetPath");
    EXPECT_EQ(e.code().value(), static_cast<int>(0xe00002c2));
    EXPECT_TRUE(std::string(e.what()).starts_with("IORegistryEntryGetPath"));
}

TEST(io_return_category, names_common_returns_gives_the_value_of_others_and_success_is_no_error)
{
    EXPECT_FALSE(make_error_code(0));
    EXPECT_TRUE(make_error_code(static_cast<int>(0xe00002c0)));
    struct case_t
    {
        unsigned value;
        char const* text;
    };
    for (auto const& [value, text] :
         {case_t{0xe00002c0, "no such device"}, case_t{0xe00002c0, "kIOReturnNoDevice"},
          case_t{0xe00002c5, "exclusive access"}, case_t{0xe00002cd, "not open"}, case_t{0xe00002eb, "aborted"},
          case_t{0xe00002f0, "not found"}, case_t{0x10000003, "MACH_SEND_INVALID_DEST"},
          case_t{0xe00002ff, "IOKit error 0xe00002ff"}})
        EXPECT_NE(make_error_code(static_cast<int>(value)).message().find(text), std::string::npos) << text;
    EXPECT_EQ(make_error_code(0x12345).message(), "IOKit error 0x00012345");
}

} // namespace
