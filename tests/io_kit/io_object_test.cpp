#include "io_kit/io_object.hpp"
#include "io_kit/io_object_view.hpp"
#include "io_kit/io_registry_entry.hpp"
#include "io_kit/io_registry_entry_view.hpp"
#include "io_kit/io_service.hpp"
#include "io_kit/mach_port.hpp"
#include "support/sim_test.hpp"

#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

#include <IOKit/IOKitLib.h>

#include <optional>
#include <string>
#include <utility>

namespace {

using namespace plinth::apple::io_kit;
namespace sim = plinth::sim;

class io_object_test : public plinth::testing::sim_test
{
protected:
    void SetUp() override
    {
        sim_test::SetUp();
        sim::add_class("IOService", "IORegistryEntry");
        sim::add_class("IOUSBDevice", "IOService");
        sim::add_class("IOUSBHostDevice", "IOUSBDevice");
        device_id = sim::add_entry(sim::entry_spec("IOUSBHostDevice", "Keyboard"), sim::root_entry_id);
        other_id = sim::add_entry(sim::entry_spec("IOService", "Other"), sim::root_entry_id);
    }

    // One new reference to the entry with registry entry ID `id`.
    static io_object take(sim::entry_id id)
    {
        auto services = mach_port::master_port_default().io_service_get_matching_services(
            io_registry_entry::id_matching(id));
        return services.next();
    }

    static std::uint32_t references(io_object const& o) { return IOObjectGetUserRetainCount(o.get()); }

    sim::entry_id device_id = 0;
    sim::entry_id other_id = 0;
};

TEST_F(io_object_test, copying_takes_a_reference_and_destruction_gives_it_back)
{
    io_object const original = take(device_id);
    ASSERT_TRUE(original);
    EXPECT_EQ(references(original), 1u);
    {
        io_object const copy = original; // NOLINT(performance-unnecessary-copy-initialization)
        EXPECT_EQ(copy.get(), original.get());
        EXPECT_EQ(references(original), 2u);
        EXPECT_TRUE(copy == original);
    }
    EXPECT_EQ(references(original), 1u);
    EXPECT_EQ(sim::live_handles(), 1u);
}

TEST_F(io_object_test, copy_assignment_releases_the_old_reference_and_retains_the_new)
{
    io_object target = take(device_id);
    io_object const source = take(other_id);
    EXPECT_EQ(sim::live_handles(), 2u);
    target = source;
    EXPECT_EQ(target.get(), source.get());
    EXPECT_EQ(references(source), 2u);
    EXPECT_EQ(sim::live_handles(), 1u) << "the device's only reference was released";

    io_object& alias = target;
    target = alias;
    EXPECT_EQ(references(source), 2u) << "self-assignment keeps exactly its reference";
}

TEST_F(io_object_test, moving_transfers_the_reference_and_empties_the_source)
{
    io_object source = take(device_id);
    io_object_t const handle = source.get();
    io_object moved = std::move(source);
    EXPECT_FALSE(source); // NOLINT(bugprone-use-after-move): the emptied state is the point
    EXPECT_EQ(source.get(), IO_OBJECT_NULL);
    EXPECT_EQ(moved.get(), handle);
    EXPECT_EQ(references(moved), 1u);
}

TEST_F(io_object_test, move_assignment_releases_the_old_reference)
{
    io_object target = take(device_id);
    io_object source = take(other_id);
    io_object_t const handle = source.get();
    target = std::move(source);
    EXPECT_EQ(target.get(), handle);
    EXPECT_FALSE(source); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(references(target), 1u);
    EXPECT_EQ(sim::live_handles(), 1u);

    io_object& alias = target;
    target = std::move(alias);
    EXPECT_EQ(target.get(), handle) << "self-move keeps the reference";
    EXPECT_EQ(references(target), 1u);

    target = io_object();
    EXPECT_EQ(sim::live_handles(), 0u) << "assigning a null object releases";
}

TEST_F(io_object_test, a_null_object_owns_nothing_and_compares_only_to_null)
{
    io_object const null;
    io_object const copy = null; // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_FALSE(copy);
    EXPECT_FALSE(null.conforms_to("IOService"));
    EXPECT_TRUE(null == copy);
    io_object const device = take(device_id);
    EXPECT_FALSE(null == device);
    EXPECT_FALSE(device == null);
    EXPECT_FALSE(device == io_object_view());
}

TEST_F(io_object_test, class_and_conformance_follow_the_superclass_chain)
{
    io_object const device = take(device_id);
    EXPECT_EQ(device.get_class(), "IOUSBHostDevice");
    EXPECT_TRUE(device.conforms_to("IOUSBHostDevice"));
    EXPECT_TRUE(device.conforms_to("IOUSBDevice"));
    EXPECT_TRUE(device.conforms_to("IOService"));
    EXPECT_FALSE(device.conforms_to("IOPCIDevice"));
    EXPECT_FALSE(device.conforms_to(nullptr));
}

TEST_F(io_object_test, equality_is_object_identity_whatever_the_wrapper)
{
    io_object const a = take(device_id);
    io_object const b = take(device_id);
    io_object const other = take(other_id);
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a == other);
    EXPECT_TRUE(a == b.view());
    EXPECT_TRUE(a.view() == b);
    EXPECT_FALSE(other == a.view());
    io_registry_entry const entry(take(device_id));
    EXPECT_TRUE(entry == a);
    EXPECT_TRUE(a == entry.view());
}

TEST_F(io_object_test, views_neither_retain_nor_release)
{
    io_object const owner = take(device_id);
    {
        io_object_view const view = owner.view();
        io_registry_entry_view const entry_view(owner.get());
        io_service_view const service_view(owner.get());
        io_object_view const copy = view;
        EXPECT_EQ(copy.get(), owner.get());
        EXPECT_EQ(entry_view.get_name(), "Keyboard");
        EXPECT_EQ(service_view.get_class(), "IOUSBHostDevice");
        EXPECT_EQ(references(owner), 1u);
    }
    EXPECT_EQ(references(owner), 1u);
}

TEST_F(io_object_test, entries_and_services_take_over_an_objects_reference)
{
    io_object object = take(device_id);
    io_object_t const handle = object.get();
    io_registry_entry entry(std::move(object));
    EXPECT_FALSE(object); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(entry.get(), handle);
    EXPECT_EQ(references(entry), 1u);

    io_service const service(std::move(entry));
    EXPECT_FALSE(entry); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(service.view().get(), handle);
    EXPECT_EQ(references(service), 1u);
}

TEST_F(io_object_test, a_failed_class_query_throws_with_the_iokit_code)
{
    try {
        (void)io_object().get_class();
        FAIL() << "no exception";
    }
    catch (boost::system::system_error const& e) {
        EXPECT_EQ(e.code().value(), MACH_SEND_INVALID_DEST);
        EXPECT_NE(std::string(e.what()).find("IOObjectGetClass"), std::string::npos) << e.what();
    }
    sim::clear_misuse_reports(); // a call on the null handle may be reported: it is made on purpose
}

} // namespace
