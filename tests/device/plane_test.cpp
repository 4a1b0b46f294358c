#include "device/apple/plane.hpp"
#include "error/errc.hpp"

#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

#include <string>

namespace {

using plinth::plane;
using plinth::apple::make_plane;
using plinth::apple::to_string;

TEST(plane, names_every_plane_and_makes_it_back)
{
    EXPECT_STREQ(to_string(plane::service), "IOService");
    EXPECT_STREQ(to_string(plane::power), "IOPower");
    EXPECT_STREQ(to_string(plane::device_tree), "IODeviceTree");
    EXPECT_STREQ(to_string(plane::audio), "IOAudio");
    EXPECT_STREQ(to_string(plane::firewire), "IOFireWire");
    EXPECT_STREQ(to_string(plane::usb), "IOUSB");
    for (int v = 0; v < 6; ++v) {
        auto const p = static_cast<plane>(v);
        EXPECT_EQ(make_plane(to_string(p)), p);
    }
}

TEST(plane, names_live_for_the_whole_program)
{
    // The same pointer every time: the table, not a temporary.
    EXPECT_EQ(to_string(plane::usb), to_string(plane::usb));
}

// make_plane matches whole names exactly; anything else is errc 5 with the name as text.
void expect_unknown_plane(std::string const& name)
{
    try {
        make_plane(name.c_str());
        ADD_FAILURE() << "no error for \"" << name << '"';
    } catch (boost::system::system_error const& e) {
        EXPECT_EQ(e.code(), plinth::make_error_code(plinth::errc::unknown_plane));
        EXPECT_EQ(e.code().value(), 5);
        auto const message = e.code().message();
        auto const expected = name.empty() ? message : name + ": " + message;
        EXPECT_EQ(e.what(), expected);
    }
}

TEST(plane, make_plane_is_exact_and_case_sensitive)
{
    expect_unknown_plane("ioservice");
    expect_unknown_plane("IOUsb");
    expect_unknown_plane("IOService ");
    expect_unknown_plane(" IOService");
    expect_unknown_plane("IOServ");
    expect_unknown_plane("IOServicePlane");
    expect_unknown_plane("");
}

using plane_death_test = ::testing::Test;

TEST_F(plane_death_test, out_of_range_values_terminate_with_the_domain_error)
{
    EXPECT_DEATH(to_string(static_cast<plane>(6)), "std::domain_error.*\n.*Value of enum type .* has invalid value 6");
    EXPECT_DEATH(to_string(static_cast<plane>(-1)), "has invalid value -1");
    EXPECT_DEATH(to_string(static_cast<plane>(1000)), "has invalid value 1000");
}

} // namespace
