// The library against the running Mac's own I/O Registry: what any Mac has, read through the real frameworks.
#include "device/apple/detail/notifier_service.hpp"
#include "device/apple/device.hpp"
#include "device/apple/device_class.hpp"
#include "device/apple/device_watcher.hpp"
#include "device/apple/hid_stream.hpp"
#include "device/apple/pci_device.hpp"
#include "device/apple/serial_bsd_client.hpp"
#include "device/apple/tree.hpp"
#include "device/apple/usb_device.hpp"
#include "io_kit/cf/auto_pointer.hpp"
#include "io_kit/cf/dictionary.hpp"
#include "io_kit/io_iterator.hpp"
#include "io_kit/io_registry_entry.hpp"
#include "io_kit/mach_port.hpp"

#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/system/error_code.hpp>

#include <gtest/gtest.h>

#include <IOKit/IOKitLib.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace {

using plinth::plane;
using plinth::apple::device;
using plinth::apple::tree;
namespace apple = plinth::apple;
namespace io_kit = plinth::apple::io_kit;
using namespace std::chrono_literals;

std::vector<device> devices_of(io_kit::io_iterator it)
{
    std::vector<device> found;
    while (auto object = it.next())
        found.emplace_back(io_kit::io_registry_entry(std::move(object)));
    return found;
}

std::vector<device> children_of(device const& d)
{
    return devices_of(d.get_children(plane::service));
}

// The services that `matching` matches now, in registry order.
std::vector<device> services_matching(tree const& registry, CF::Dictionary const& matching)
{
    return devices_of(registry.next_layer().io_service_get_matching_services(matching));
}

std::vector<device> services_of(tree const& registry, device::device_class c)
{
    return services_matching(registry, apple::make_matching(c));
}

std::vector<device> services_of(tree const& registry, char const* class_name)
{
    return services_matching(registry, CF::Dictionary(CF::AutoPointer(IOServiceMatching(class_name))));
}

class live_registry_test : public ::testing::Test
{
protected:
    // Every Mac's root has the platform expert, which stands for the machine
    // (named after its model), among its children in the IOService plane.
    device platform_expert() const
    {
        for (auto& child : children_of(registry_.get_root_node()))
            if (child.conforms_to_class("IOPlatformExpertDevice"))
                return child;
        return {};
    }

    tree registry_{io_kit::mach_port::master_port_default()};
};

TEST_F(live_registry_test, walks_the_service_plane_from_the_root_reaching_each_entry_once)
{
    auto const root = registry_.get_root_node();
    ASSERT_TRUE(root);
    EXPECT_FALSE(root.get_parent(plane::service)) << "the root has no parent";

    // Depth first; an entry with several parents is reached more than once but
    // visited once. The registry is live: entries may come and go meanwhile, which
    // changes nothing asked here.
    std::set<std::uint64_t> seen{root.get_id()};
    std::vector<device> pending{root};
    bool met_resources = false;
    while (!pending.empty())
    {
        auto const d = pending.back();
        pending.pop_back();
        for (auto& child : children_of(d))
        {
            if (!seen.insert(child.get_id()).second)
                continue;
            EXPECT_FALSE(child.get_class().empty()) << child.get_id();
            met_resources = met_resources || child.get_class() == "IOResources";
            pending.push_back(std::move(child));
        }
    }
    EXPECT_TRUE(met_resources);
    EXPECT_GT(seen.size(), 10u) << "a Mac's registry has far more than a handful of services";
}

TEST_F(live_registry_test, finds_io_resources_and_the_platform_expert_by_path_and_by_id)
{
    auto const resources = registry_.get_by_path("IOService:/IOResources");
    ASSERT_TRUE(resources);
    EXPECT_EQ(resources.get_class(), "IOResources");
    EXPECT_EQ(resources.get_path(plane::service), "IOService:/IOResources");
    EXPECT_EQ(resources.get_parent(plane::service), registry_.get_root_node());

    auto const expert = platform_expert();
    ASSERT_TRUE(expert) << "no IOPlatformExpertDevice under the root";
    auto const expert_path = expert.get_path(plane::service);
    EXPECT_EQ(expert_path.rfind("IOService:/", 0), 0u) << expert_path;
    EXPECT_EQ(registry_.get_by_path(expert_path), expert);

    for (auto const& d : {resources, expert})
    {
        auto by_id = registry_.get_by_id(d.get_id());
        EXPECT_EQ(device(io_kit::io_registry_entry(by_id.next())), d) << d.get_name();
        EXPECT_FALSE(by_id.next()) << "registry entry IDs are unique";
    }
    EXPECT_FALSE(registry_.get_by_path("IOService:/no such entry, surely"));
}

// Many Macs and every virtual one lack some of these kinds: an empty list is fine,
// what is there must read as its kind.
TEST_F(live_registry_test, lists_usb_hid_pci_and_serial_devices)
{
    for (auto const& d : services_of(registry_, device::device_class::usb_host_device))
    {
        apple::usb_device const usb(d);
        ASSERT_TRUE(usb) << d.get_class() << " matched IOUSBHostDevice yet does not conform to it";
        EXPECT_TRUE(mpark::holds_alternative<int>(usb.get_property("idVendor"))) << usb.get_name();
        EXPECT_TRUE(mpark::holds_alternative<int>(usb.get_property("idProduct"))) << usb.get_name();
    }
    for (auto const& d : services_of(registry_, device::device_class::hid_device))
    {
        EXPECT_TRUE(d.conforms_to_class("IOHIDDevice")) << d.get_class();
        EXPECT_TRUE(d.is_in_plane(plane::service)) << d.get_name();
    }
    for (auto const& d : services_of(registry_, "IOPCIDevice"))
    {
        apple::pci_device const pci(d);
        ASSERT_TRUE(pci) << d.get_class();
        EXPECT_NE(pci.get_configuration_space().vendor_id, 0xFFFF) << pci.get_name() << " has no vendor-id";
    }
    for (auto const& d : services_of(registry_, device::device_class::serial_bsd_client))
    {
        apple::serial_bsd_client const port(d);
        ASSERT_TRUE(port) << d.get_class();
        EXPECT_EQ(port.get_callout_device().rfind("/dev/cu.", 0), 0u) << port.get_callout_device();
        EXPECT_EQ(port.get_dialin_device().rfind("/dev/tty.", 0), 0u) << port.get_dialin_device();
    }
}

TEST_F(live_registry_test, a_device_watcher_reports_the_platform_expert_present_then_stops)
{
    auto const expert = platform_expert();
    ASSERT_TRUE(expert);
    boost::asio::io_context context;
    std::optional<apple::device_watcher> watcher;
    watcher.emplace(context.get_executor(), apple::device_match{"IOPlatformExpertDevice"});

    std::optional<apple::device_event> event;
    watcher->async_wait([&](boost::system::error_code error, apple::device_event e) {
        EXPECT_FALSE(error) << error.message();
        event = std::move(e);
    });
    auto const until = std::chrono::steady_clock::now() + 10s;
    while (!event && std::chrono::steady_clock::now() < until)
        context.run_one_for(100ms);
    ASSERT_TRUE(event) << "no event within 10 s";
    EXPECT_EQ(event->kind, apple::device_event::kind_type::arrived);
    EXPECT_TRUE(event->present_at_start);
    EXPECT_EQ(event->device, expert);

    // The machine stays: the next wait is pending until cancelled.
    std::optional<boost::system::error_code> cancelled;
    watcher->async_wait([&](boost::system::error_code error, apple::device_event) { cancelled = error; });
    EXPECT_EQ(watcher->cancel(), 1u);
    context.restart();
    context.run_for(1s);
    ASSERT_TRUE(cancelled);
    EXPECT_EQ(*cancelled, boost::asio::error::operation_aborted);
    watcher.reset();
}

// A notification callback that takes nothing: no IOResources arrives after boot.
void ignore_arrivals(void*, io_iterator_t) {}

TEST_F(live_registry_test, a_notifier_token_arms_and_ends_a_notification)
{
    auto const resources = registry_.get_by_path("IOService:/IOResources");
    ASSERT_TRUE(resources);
    boost::asio::io_context context;
    auto& notifier = boost::asio::use_service<apple::detail::notifier_service>(context);
    ASSERT_NE(notifier.get_run_loop(), nullptr);

    // Arming drains what already matches; IOResources is there from boot on.
    auto notification = notifier.get_notification_port().add_matching_notification(
        kIOFirstMatchNotification, CF::Dictionary(CF::AutoPointer(IOServiceMatching("IOResources"))), ignore_arrivals,
        nullptr);
    EXPECT_EQ(devices_of(io_kit::io_iterator::share(notification.get())), std::vector<device>{resources});
    EXPECT_FALSE(notification.next()) << "drained, so armed";

    {
        auto const token = notifier.get_token(std::move(notification), std::make_shared<int>(0));
    }
    notifier.shutdown();
    EXPECT_EQ(notifier.get_run_loop(), nullptr);
}

// Opening seizes the device, which macOS allows only to a process with Input
// Monitoring permission (or root); a machine may also have no HID device at all.
TEST_F(live_registry_test, opens_and_closes_a_hid_stream_when_a_device_allows_it)
{
    auto const hid_devices = services_of(registry_, device::device_class::hid_device);
    if (hid_devices.empty())
        GTEST_SKIP() << "no HID device on this machine";

    std::string refusals;
    for (auto const& d : hid_devices)
    {
        boost::asio::io_context context;
        apple::hid_stream stream(context.get_executor(), d);
        if (!stream.is_open())
        {
            boost::system::error_code ec;
            stream.open(ec);
            refusals += "\n  " + d.get_name() + " <" + d.get_class() + ">: " + ec.message();
            continue;
        }
        EXPECT_EQ(stream.get_device(), d);
        EXPECT_GT(stream.get_max_input_report_size(), 0);
        boost::system::error_code ec;
        stream.close(ec);
        EXPECT_FALSE(ec) << ec.message();
        EXPECT_FALSE(stream.is_open());
        return;
    }
    GTEST_SKIP() << "no HID device could be opened (is Input Monitoring granted?):" << refusals;
}

} // namespace
