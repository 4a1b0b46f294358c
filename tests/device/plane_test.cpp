// Tests of plane: names that do not round-trip, inexact or case-blind lookups, out-of-range planes not terminating.
#include "device/apple/plane.hpp"
#include "error/errc.hpp"
#include "support/system_error.hpp"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

using plinth::plane;
using plinth::apple::make_plane;
using plinth::apple::to_string;

TEST(plane, names_every_plane_and_makes_it_back)
{
    char const* const names[] = {"IOService", "IOPower", "IODeviceTree", "IOAudio", "IOFireWire", "IOUSB"};
    for (int v = 0; v < 6; ++v)
    {
        auto const p = static_cast<plane>(v);
        EXPECT_STREQ(to_string(p), names[v]);
        EXPECT_EQ(make_plane(to_string(p)), p);
    }
}

TEST(plane, make_plane_is_exact_and_case_sensitive)
{
    // Anything but a whole name is errc 5 with the name as text.
    for (std::string const name : {"ioservice", "IOUsb", "IOService ", " IOService", "IOServ", "IOServicePlane", ""})
    {
        auto const error = plinth::testing::system_error_of([&] { make_plane(name.c_str()); });
        EXPECT_EQ(error.code(), plinth::make_error_code(plinth::errc::unknown_plane)) << '"' << name << '"';
        EXPECT_EQ(error.code().value(), 5);
        auto const message = error.code().message();
        // Boost appends the code's category and value after the text.
        auto const text = name.empty() ? message : name + ": " + message;
        EXPECT_TRUE(std::string_view(error.what()).starts_with(text)) << error.what();
    }
}

using plane_death_test = ::testing::Test;

TEST_F(plane_death_test, out_of_range_values_terminate_with_the_domain_error)
{
    EXPECT_DEATH(to_string(static_cast<plane>(6)), "std::domain_error.*\n.*Value of enum type .* has invalid value 6");
    EXPECT_DEATH(to_string(static_cast<plane>(-1)), "has invalid value -1");
    EXPECT_DEATH(to_string(static_cast<plane>(1000)), "has invalid value 1000");
}

} // namespace
