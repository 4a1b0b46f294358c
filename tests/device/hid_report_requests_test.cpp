// Tests of hid_stream's requests by report ID: feature and input reports got and sent, errors when closed or unplugged.
#include "device/apple/hid_stream.hpp"
#include "device/device_support.hpp"
#include "error/apple/hid_errc.hpp"
#include "error/apple/io_return.hpp"
#include "sim/control/hid.hpp"
#include "support/system_error.hpp"
#include "support/threaded_sim_test.hpp"

#include <boost/asio/io_context.hpp>
#include <boost/system/system_error.hpp>

#include <IOKit/IOReturn.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace {

namespace sim = plinth::sim;
using bytes = std::vector<std::uint8_t>;
using plinth::apple::hid_stream;
using plinth::testing::system_error_of;
using namespace std::chrono_literals;

boost::system::error_code io_kit_error(int io_return)
{
    return plinth::apple::make_error_code(io_return);
}

boost::system::error_code not_open()
{
    return plinth::apple::make_error_code(plinth::apple::hid_errc::not_open);
}

bytes as_vector(std::span<std::uint8_t const> span)
{
    return {span.begin(), span.end()};
}

class hid_report_requests_test : public plinth::testing::threaded_sim_test
{
protected:
    void SetUp() override
    {
        threaded_sim_test::SetUp();
        keyboard_id = sim::add_entry(
            {"IOUSBHostHIDDevice",
             "Keyboard",
             "14100000",
             {{"MaxInputReportSize", sim::make_number(8)}, {"MaxOutputReportSize", sim::make_number(2)}}},
            sim::root_entry_id);
    }

    // The context's HID service and its run-loop thread go before the end checks.
    void TearDown() override
    {
        context.reset();
        threaded_sim_test::TearDown();
    }

    boost::asio::any_io_executor executor() { return context->get_executor(); }
    hid_stream open_keyboard() { return hid_stream(executor(), plinth::testing::find_device(keyboard_id)); }

    sim::entry_id keyboard_id = 0;
    std::optional<boost::asio::io_context> context{std::in_place};
};

TEST_F(hid_report_requests_test, a_feature_report_round_trips_between_the_stream_and_the_device)
{
    sim::set_feature_report(keyboard_id, 3, bytes{3, 0x10, 0x20});
    sim::set_feature_report(keyboard_id, 4, bytes{4, 0x40});
    auto stream = open_keyboard();
    ASSERT_TRUE(stream.is_open());

    std::array<std::uint8_t, 3> received{};
    std::uint8_t id = 3;
    EXPECT_EQ(stream.get_feature_report({&id, boost::asio::buffer(received)}), 3u);
    EXPECT_EQ(as_vector(received), (bytes{3, 0x10, 0x20}));
    EXPECT_EQ(id, 3) << "the ID is named, not overwritten";

    std::array<std::uint8_t, 2> const sent{4, 0x41};
    id = 4;
    EXPECT_EQ(stream.send_feature_report({&id, boost::asio::buffer(sent)}), 2u);
    auto const seen = sim::output_reports(keyboard_id);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].type, kIOHIDReportTypeFeature) << "a feature send is not an output report";
    EXPECT_EQ(seen[0].report_id, 4u);
    EXPECT_EQ(seen[0].bytes, (bytes{4, 0x41}));

    // The device, not the sender, decides what a feature it was sent means: here it
    // ignores it until the control side answers.
    std::array<std::uint8_t, 2> again{};
    stream.get_feature_report({&id, boost::asio::buffer(again)});
    EXPECT_EQ(as_vector(again), (bytes{4, 0x40}));
    sim::set_feature_report(keyboard_id, 4, bytes{4, 0x41});
    stream.get_feature_report({&id, boost::asio::buffer(again)});
    EXPECT_EQ(as_vector(again), (bytes{4, 0x41}));
}

TEST_F(hid_report_requests_test, each_request_uses_the_callers_report_id_and_a_null_one_names_id_zero)
{
    sim::set_feature_report(keyboard_id, 0, bytes{0xa0});
    sim::set_feature_report(keyboard_id, 1, bytes{0xa1});
    sim::set_input_report(keyboard_id, 0, bytes{0xb0});
    sim::set_input_report(keyboard_id, 2, bytes{0xb2});
    auto stream = open_keyboard();

    std::array<std::uint8_t, 1> one{};
    std::uint8_t id = 1;
    stream.get_feature_report({&id, boost::asio::buffer(one)});
    EXPECT_EQ(one[0], 0xa1);
    stream.get_feature_report({nullptr, boost::asio::buffer(one)});
    EXPECT_EQ(one[0], 0xa0);
    id = 2;
    stream.get_input_report({&id, boost::asio::buffer(one)});
    EXPECT_EQ(one[0], 0xb2);
    stream.get_input_report({nullptr, boost::asio::buffer(one)});
    EXPECT_EQ(one[0], 0xb0);

    std::array<std::uint8_t, 2> const out{5, 0x55};
    id = 5;
    EXPECT_EQ(stream.send_output_report({&id, boost::asio::buffer(out)}), 2u);
    EXPECT_EQ(stream.write({&id, boost::asio::buffer(out)}), 2u);
    EXPECT_EQ(stream.send_output_report({nullptr, boost::asio::buffer(out)}), 2u);
    EXPECT_EQ(stream.send_feature_report({nullptr, boost::asio::buffer(out)}), 2u);
    auto const seen = sim::output_reports(keyboard_id);
    ASSERT_EQ(seen.size(), 4u);
    EXPECT_EQ(seen[0].type, kIOHIDReportTypeOutput);
    EXPECT_EQ(seen[0].report_id, 5u) << "send_output_report keeps the caller's ID";
    EXPECT_EQ(seen[1].type, kIOHIDReportTypeOutput);
    EXPECT_EQ(seen[1].report_id, 0u) << "write still sends ID 0";
    EXPECT_EQ(seen[2].report_id, 0u);
    EXPECT_EQ(seen[3].type, kIOHIDReportTypeFeature);
    EXPECT_EQ(seen[3].report_id, 0u);
}

TEST_F(hid_report_requests_test, a_short_buffer_gets_the_reports_first_bytes_and_a_long_one_its_size)
{
    sim::set_feature_report(keyboard_id, 1, bytes{1, 2, 3, 4, 5, 6});
    sim::set_input_report(keyboard_id, 1, bytes{6, 5, 4, 3, 2, 1});
    auto stream = open_keyboard();
    std::uint8_t id = 1;

    std::array<std::uint8_t, 6> buffer{};
    buffer.fill(0xee);
    EXPECT_EQ(stream.get_feature_report({&id, boost::asio::buffer(buffer.data(), 4)}), 4u);
    EXPECT_EQ(as_vector(buffer), (bytes{1, 2, 3, 4, 0xee, 0xee})) << "nothing written past the buffer";
    EXPECT_EQ(stream.get_input_report({&id, boost::asio::buffer(buffer.data(), 2)}), 2u);
    EXPECT_EQ(as_vector(buffer), (bytes{6, 5, 3, 4, 0xee, 0xee}));

    std::array<std::uint8_t, 16> roomy{};
    EXPECT_EQ(stream.get_feature_report({&id, boost::asio::buffer(roomy)}), 6u);
    EXPECT_EQ(as_vector(std::span(roomy).first(6)), (bytes{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(stream.get_input_report({&id, boost::asio::buffer(roomy)}), 6u);

    // IOKit refuses a request with nowhere to put the report.
    boost::system::error_code ec;
    EXPECT_EQ(stream.get_feature_report({&id, boost::asio::mutable_buffer()}, ec), 0u);
    EXPECT_EQ(ec, io_kit_error(kIOReturnBadArgument));
}

TEST_F(hid_report_requests_test, an_input_request_answers_the_last_report_sent_or_set_and_takes_none_from_a_read)
{
    auto stream = open_keyboard();
    std::uint8_t id = 7;
    std::array<std::uint8_t, 2> now{};
    sim::post_input_report(keyboard_id, 7, bytes{7, 1});
    EXPECT_EQ(stream.get_input_report({&id, boost::asio::buffer(now)}), 2u);
    EXPECT_EQ(as_vector(now), (bytes{7, 1})) << "the last report sent is the device's present state";
    sim::set_input_report(keyboard_id, 7, bytes{7, 2});
    stream.get_input_report({&id, boost::asio::buffer(now)});
    EXPECT_EQ(as_vector(now), (bytes{7, 2}));
    sim::post_input_report(keyboard_id, 7, bytes{7, 3});
    stream.get_input_report({&id, boost::asio::buffer(now)});
    EXPECT_EQ(as_vector(now), (bytes{7, 3})) << "the later of the two wins";

    // The reports sent meanwhile still wait for a read, in order: asking for the
    // present one took none of them.
    std::array<std::uint8_t, 8> read{};
    std::uint8_t read_id = 0;
    EXPECT_EQ(stream.read({&read_id, boost::asio::buffer(read)}), 2u);
    EXPECT_EQ(read[1], 1);
    EXPECT_EQ(stream.read({&read_id, boost::asio::buffer(read)}), 2u);
    EXPECT_EQ(read[1], 3);
}

TEST_F(hid_report_requests_test, requests_run_while_another_thread_waits_in_a_read)
{
    sim::set_feature_report(keyboard_id, 2, bytes{2, 9});
    auto stream = open_keyboard();
    std::array<std::uint8_t, 8> read{};
    std::uint8_t read_id = 0;
    auto reader = std::async(std::launch::async, [&] { return stream.read({&read_id, boost::asio::buffer(read)}); });
    ASSERT_EQ(reader.wait_for(50ms), std::future_status::timeout);

    std::array<std::uint8_t, 2> feature{};
    std::uint8_t id = 2;
    EXPECT_EQ(stream.get_feature_report({&id, boost::asio::buffer(feature)}), 2u);
    std::array<std::uint8_t, 1> const out{0x11};
    EXPECT_EQ(stream.send_output_report({&id, boost::asio::buffer(out)}), 1u);
    EXPECT_EQ(reader.wait_for(20ms), std::future_status::timeout) << "the read waits for an input report";

    sim::post_input_report(keyboard_id, 6, bytes{6, 0x66});
    EXPECT_EQ(reader.get(), 2u);
    EXPECT_EQ(read_id, 6);
    EXPECT_EQ(read[1], 0x66);
}

TEST_F(hid_report_requests_test, an_id_the_device_has_no_report_of_gives_iokits_error)
{
    sim::set_feature_report(keyboard_id, 1, bytes{1});
    auto stream = open_keyboard();
    std::array<std::uint8_t, 4> buffer{};
    std::uint8_t id = 9;
    auto const feature = system_error_of([&] { stream.get_feature_report({&id, boost::asio::buffer(buffer)}); });
    EXPECT_EQ(feature.code(), io_kit_error(kIOReturnUnsupported));
    auto const input = system_error_of([&] { stream.get_input_report({&id, boost::asio::buffer(buffer)}); });
    EXPECT_EQ(input.code(), io_kit_error(kIOReturnUnsupported));

    boost::system::error_code ec;
    EXPECT_EQ(stream.get_feature_report({&id, boost::asio::buffer(buffer)}, ec), 0u);
    EXPECT_EQ(ec, io_kit_error(kIOReturnUnsupported));
    id = 1;
    auto untouched = make_error_code(boost::system::errc::io_error);
    EXPECT_EQ(stream.get_feature_report({&id, boost::asio::buffer(buffer)}, untouched), 1u);
    EXPECT_EQ(untouched, boost::system::errc::io_error) << "success leaves the code alone";
    EXPECT_TRUE(stream.is_open()) << "a refused request does not close the stream";
}

// Every request on `stream`, each as a throwing call and as an error_code& call;
// `check` sees the code, the text of the throw and the error_code& form's return.
void for_each_request(hid_stream& stream,
                      std::function<void(std::string const& name, boost::system::system_error const& thrown,
                                         boost::system::error_code const& stored, std::size_t returned)> const& check)
{
    std::array<std::uint8_t, 4> in{};
    std::array<std::uint8_t, 2> const out{1, 2};
    std::uint8_t id = 1;
    auto each = [&](std::string const& name, auto&& call) {
        auto const thrown = system_error_of([&] { call(nullptr); });
        boost::system::error_code stored;
        auto const returned = call(&stored);
        check(name, thrown, stored, returned);
    };
    auto pick = [](auto throwing, auto with_code) {
        return [=](boost::system::error_code* ec) { return ec == nullptr ? throwing() : with_code(*ec); };
    };
    using boost::asio::buffer;
    each("get_feature_report", pick(
                                   [&] {
                                       return stream.get_feature_report({&id, buffer(in)});
                                   },
                                   [&](auto& ec) {
                                       return stream.get_feature_report({&id, buffer(in)}, ec);
                                   }));
    each("send_feature_report", pick(
                                    [&] {
                                        return stream.send_feature_report({&id, buffer(out)});
                                    },
                                    [&](auto& ec) {
                                        return stream.send_feature_report({&id, buffer(out)}, ec);
                                    }));
    each("get_input_report", pick(
                                 [&] {
                                     return stream.get_input_report({&id, buffer(in)});
                                 },
                                 [&](auto& ec) {
                                     return stream.get_input_report({&id, buffer(in)}, ec);
                                 }));
    each("send_output_report", pick(
                                   [&] {
                                       return stream.send_output_report({&id, buffer(out)});
                                   },
                                   [&](auto& ec) {
                                       return stream.send_output_report({&id, buffer(out)}, ec);
                                   }));
}

TEST_F(hid_report_requests_test, a_closed_stream_refuses_every_request_with_not_open_and_sends_nothing)
{
    sim::set_feature_report(keyboard_id, 1, bytes{1});
    sim::set_input_report(keyboard_id, 1, bytes{1});
    hid_stream without_device(executor());
    auto closed = open_keyboard();
    closed.close();
    for (auto* stream : {&without_device, &closed})
        for_each_request(*stream, [](std::string const& name, boost::system::system_error const& thrown,
                                     boost::system::error_code const& stored, std::size_t returned) {
            EXPECT_EQ(thrown.code(), not_open()) << name;
            EXPECT_NE(std::string(thrown.what()).find(name), std::string::npos) << thrown.what();
            EXPECT_EQ(stored, not_open()) << name;
            EXPECT_EQ(returned, 0u) << name;
        });
    EXPECT_TRUE(sim::output_reports(keyboard_id).empty());
}

TEST_F(hid_report_requests_test, an_unplugged_device_answers_every_request_with_offline)
{
    sim::set_feature_report(keyboard_id, 1, bytes{1});
    sim::set_input_report(keyboard_id, 1, bytes{1});
    auto stream = open_keyboard();
    sim::remove_entry(keyboard_id);
    // An idle stream learns of the removal from IOKit's answer.
    for_each_request(stream, [](std::string const& name, boost::system::system_error const& thrown,
                                boost::system::error_code const& stored, std::size_t returned) {
        EXPECT_EQ(thrown.code(), io_kit_error(kIOReturnOffline)) << name;
        EXPECT_EQ(stored, io_kit_error(kIOReturnOffline)) << name;
        EXPECT_EQ(returned, 0u) << name;
    });
}

} // namespace
