// Tests of io_object and io_object_view: leaked or lost references, sources not emptied, wrong identity and class.
#include "io_kit/io_object.hpp"
#include "io_kit/io_object_view.hpp"
#include "io_kit/io_registry_entry.hpp"
#include "io_kit/io_registry_entry_view.hpp"
#include "io_kit/io_service.hpp"
#include "io_kit/io_kit_support.hpp"
#include "support/sim_test.hpp"
#include "support/system_error.hpp"

#include <IOKit/IOKitLib.h>

#include <string>
#include <utility>

namespace {

using namespace plinth::apple::io_kit;
using plinth::testing::entry_by_id;
namespace sim = plinth::sim;

class io_object_test : public plinth::testing::sim_test
{
protected:
    void SetUp() override
    {
        sim_test::SetUp();
        device_id = sim::add_entry({"IOUSBHostDevice", "Keyboard"}, sim::root_entry_id);
        other_id = sim::add_entry({"IOService", "Other"}, sim::root_entry_id);
    }

    static std::uint32_t references(io_object const& o) { return IOObjectGetUserRetainCount(o.get()); }

    sim::entry_id device_id = 0;
    sim::entry_id other_id = 0;
};

TEST_F(io_object_test, copies_retain_and_destruction_and_assignment_release)
{
    io_object const original = entry_by_id(device_id);
    ASSERT_EQ(references(original), 1u);
    {
        io_object const copy = original; // NOLINT(performance-unnecessary-copy-initialization)
        EXPECT_EQ(copy.get(), original.get());
        EXPECT_EQ(references(original), 2u);
    }
    EXPECT_EQ(references(original), 1u);

    io_object target = entry_by_id(other_id);
    target = original;
    EXPECT_EQ(target.get(), original.get());
    EXPECT_EQ(references(original), 2u);
    EXPECT_EQ(sim::live_handles(), 1u) << "the other entry's only reference was released";
    io_object& alias = target;
    target = alias;
    EXPECT_EQ(references(original), 2u) << "self-assignment keeps exactly its reference";
}

TEST_F(io_object_test, moves_transfer_the_reference_and_empty_the_source)
{
    io_object source = entry_by_id(device_id);
    io_object_t const handle = source.get();
    io_object moved = std::move(source);
    EXPECT_FALSE(source); // NOLINT(bugprone-use-after-move): the emptied state is the point
    EXPECT_EQ(source.get(), IO_OBJECT_NULL);
    EXPECT_EQ(moved.get(), handle);
    EXPECT_EQ(references(moved), 1u);

    io_object target = entry_by_id(other_id);
    target = std::move(moved);
    EXPECT_EQ(target.get(), handle);
    EXPECT_FALSE(moved); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(sim::live_handles(), 1u);
    io_object& alias = target;
    target = std::move(alias);
    EXPECT_EQ(target.get(), handle) << "self-move keeps the reference";
    EXPECT_EQ(references(target), 1u);
    target = io_object();
    EXPECT_EQ(sim::live_handles(), 0u) << "assigning a null object releases";

    // Entries and services take over an object's reference.
    io_registry_entry entry = entry_by_id(device_id);
    io_object_t const entry_handle = entry.get();
    io_service const service(std::move(entry));
    EXPECT_FALSE(entry); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(service.view().get(), entry_handle);
    EXPECT_EQ(references(service), 1u);
}

TEST_F(io_object_test, equality_is_object_identity_whatever_the_wrapper_and_null_equals_only_null)
{
    io_object const a = entry_by_id(device_id);
    io_object const b = entry_by_id(device_id);
    io_object const other = entry_by_id(other_id);
    io_registry_entry const entry = entry_by_id(device_id);
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a == other);
    EXPECT_TRUE(a == b.view());
    EXPECT_TRUE(a.view() == b);
    EXPECT_FALSE(other == a.view());
    EXPECT_TRUE(entry == a);
    EXPECT_TRUE(a == entry.view());

    io_object const null;
    EXPECT_TRUE(null == io_object());
    EXPECT_FALSE(null == a);
    EXPECT_FALSE(a == null);
    EXPECT_FALSE(a == io_object_view());
    EXPECT_FALSE(null.conforms_to("IOService"));
}

TEST_F(io_object_test, class_and_conformance_through_owners_and_views)
{
    io_object const device = entry_by_id(device_id);
    EXPECT_EQ(device.get_class(), "IOUSBHostDevice");
    EXPECT_TRUE(device.conforms_to("IOUSBDevice"));
    EXPECT_FALSE(device.conforms_to("IOPCIDevice"));
    EXPECT_FALSE(device.conforms_to(nullptr));
    {
        io_object_view const view = device.view();
        io_registry_entry_view const entry_view(device.get());
        io_service_view const service_view(device.get());
        EXPECT_EQ(view.get(), device.get());
        EXPECT_EQ(entry_view.get_name(), "Keyboard");
        EXPECT_EQ(service_view.get_class(), "IOUSBHostDevice");
        EXPECT_EQ(references(device), 1u) << "views do not retain";
    }
    EXPECT_EQ(references(device), 1u) << "views do not release";

    auto const error = plinth::testing::system_error_of([] { (void)io_object().get_class(); });
    EXPECT_EQ(error.code().value(), MACH_SEND_INVALID_DEST);
    EXPECT_NE(std::string(error.what()).find("IOObjectGetClass"), std::string::npos) << error.what();
    take_misuse_reports(); // a call on the null handle may be reported: it is made on purpose
}

} // namespace
