// Outside input of every kind at the library's public entry points: each gives its
// documented error or empty result, and none crashes, hangs or leaks (the fixture
// proves the last).
#include "device/hid_stream_support.hpp"
#include "device/apple/plane.hpp"
#include "error/apple/io_return.hpp"
#include "error/errc.hpp"

#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>

#include <IOKit/IOReturn.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace {

namespace sim = plinth::sim;
using plinth::apple::device;
using plinth::apple::hid_stream;
using plinth::apple::tree;
using plinth::testing::hid_stream_test;
using plinth::testing::running_context;
using namespace std::chrono_literals;
using namespace std::string_literals;

tree machine()
{
    return tree(plinth::apple::io_kit::mach_port::master_port_default());
}

using bad_input_test = hid_stream_test;

TEST_F(bad_input_test, registry_paths_that_name_no_entry_give_the_empty_device)
{
    auto const registry = machine();
    std::vector<std::string> const paths{
        "",
        "Keyboard@14100000",                // no plane
        "IONoSuchPlane:/Keyboard@14100000", // unknown plane
        "IOService:/Keyboard@14100000/",    // trailing '/'
        "IOService:/" + std::string(4096, 'x'),
        "IOService:/Key\0board@14100000"s, // embedded NUL: IOKit sees "IOService:/Key"
        "IOService:",
        ":/",
    };
    for (auto const& path : paths)
        EXPECT_FALSE(registry.get_by_path(path)) << "path of " << path.size() << " bytes";
    auto const path = entry(keyboard_id).get_path(plinth::plane::service);
    EXPECT_EQ(registry.get_by_path(path), entry(keyboard_id)) << "the well-formed path " << path << " still works";
    EXPECT_FALSE(registry.get_by_path(path + "/")) << "trailing '/'";
}

// IOKit reads a path as a C string: the text before a NUL byte named an entry,
// which the lookup returned for the whole path.
TEST_F(bad_input_test, a_registry_path_with_a_nul_byte_named_the_entry_before_the_nul_and_now_names_none)
{
    auto const registry = machine();
    auto const path = entry(keyboard_id).get_path(plinth::plane::service);
    EXPECT_FALSE(registry.get_by_path(path + std::string(1, '\0') + "/Elsewhere"));
    EXPECT_FALSE(registry.get_by_path(path + std::string(1, '\0')));
    EXPECT_FALSE(registry.get_by_path(std::string(1, '\0') + path));
}

TEST_F(bad_input_test, registry_entry_ids_that_name_no_entry_give_an_empty_iterator)
{
    auto const registry = machine();
    for (unsigned long long const id : {0ull, 1ull, static_cast<unsigned long long>(keyboard_id) + 1000,
                                        std::numeric_limits<unsigned long long>::max()})
        EXPECT_FALSE(registry.get_by_id(id).next()) << "ID " << id;
}

TEST_F(bad_input_test, plane_names_that_name_no_plane_throw_unknown_plane_with_the_name)
{
    for (std::string const& name :
         {""s, "ioservice"s, "IOService "s, " IOService"s, "IOService:"s, std::string(4096, 'p'), "\xff\xfe"s})
    {
        try
        {
            plinth::apple::make_plane(name.c_str());
            ADD_FAILURE() << "made a plane of " << name;
        }
        catch (boost::system::system_error const& e)
        {
            EXPECT_EQ(e.code(), plinth::make_error_code(plinth::errc::unknown_plane));
        }
    }
}

TEST_F(bad_input_test, property_keys_of_odd_encodings_are_not_found)
{
    auto const keyboard = entry(keyboard_id);
    for (std::string const& key : {""s, "\xff\xfe\x80"s, "Device\xc3"s, std::string(8192, 'k'), "DeviceUsage "s})
    {
        try
        {
            keyboard.get_property(key.c_str());
            ADD_FAILURE() << "found a property of a " << key.size() << "-byte key";
        }
        catch (boost::system::system_error const& e)
        {
            EXPECT_EQ(e.code(), plinth::make_error_code(plinth::errc::property_not_found));
        }
    }
}

TEST_F(bad_input_test, report_buffers_of_size_zero_or_above_the_maximum_and_odd_report_ids)
{
    running_context running;
    hid_stream stream(running.context.get_executor(), entry(keyboard_id));
    boost::system::error_code ec;

    // Receiving into nothing is refused by IOKit; a read into nothing takes the
    // report and copies none of it.
    std::array<std::uint8_t, 1> none{};
    EXPECT_EQ(stream.get_feature_report({nullptr, boost::asio::buffer(none, 0)}, ec), 0u);
    EXPECT_EQ(ec, plinth::apple::make_error_code(kIOReturnBadArgument));
    post(keyboard_id, 1, {1, 2, 3});
    std::uint8_t id = 0;
    EXPECT_EQ(stream.read({&id, boost::asio::buffer(none, 0)}), 0u);
    EXPECT_EQ(id, 1);

    // A buffer above MaxInputReportSize gets the report's own size.
    std::vector<std::uint8_t> large(4096);
    post(keyboard_id, 2, {9, 8, 7, 6, 5, 4, 3, 2});
    EXPECT_EQ(stream.read({&id, boost::asio::buffer(large)}), 8u);

    // Report IDs 0 and 255 that the device has no report of.
    for (std::uint8_t report_id : {std::uint8_t{0}, std::uint8_t{255}})
    {
        ec = {};
        std::array<std::uint8_t, 8> bytes{};
        EXPECT_EQ(stream.get_feature_report({&report_id, boost::asio::buffer(bytes)}, ec), 0u);
        EXPECT_EQ(ec, plinth::apple::make_error_code(kIOReturnUnsupported)) << int(report_id);
    }
}

// Shutting the context down stops the loop that serves the devices: a read that
// starts afterwards would never complete.
TEST_F(bad_input_test, a_read_started_after_its_context_shut_down_is_aborted_not_left_waiting)
{
    plinth::testing::shutting_context context;
    hid_stream stream(context.get_executor(), entry(keyboard_id));
    context.shutdown();
    std::array<std::uint8_t, 8> bytes{};
    boost::system::error_code ec;
    EXPECT_EQ(stream.read({nullptr, boost::asio::buffer(bytes)}, ec), 0u);
    EXPECT_EQ(ec, boost::asio::error::operation_aborted);
}

} // namespace
