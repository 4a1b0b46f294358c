#include "io_kit/cf/dictionary.hpp"
#include "io_kit/cf/string.hpp"
#include "io_kit/io_iterator.hpp"
#include "io_kit/io_registry_entry.hpp"
#include "io_kit/io_service.hpp"
#include "io_kit/mach_port.hpp"
#include "support/sim_test.hpp"

#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

#include <IOKit/IOKitLib.h>

#include <optional>
#include <set>
#include <string>
#include <utility>

namespace {

using namespace plinth::apple::io_kit;
namespace sim = plinth::sim;

class mach_port_test : public plinth::testing::sim_test
{
protected:
    void SetUp() override
    {
        sim_test::SetUp();
        sim::add_class("IOService", "IORegistryEntry");
        sim::add_class("IOUSBDevice", "IOService");
        sim::add_class("IOUSBHostDevice", "IOUSBDevice");
        platform_id = sim::add_entry(sim::entry_spec("IOPlatformExpertDevice", "J313AP"),
                                     sim::root_entry_id);
        mouse_id = sim::add_entry(sim::entry_spec("IOUSBHostDevice", "Mouse", "01100000"),
                                  platform_id);
        legacy_id = sim::add_entry(sim::entry_spec("IOUSBDevice", "Legacy"), platform_id);
    }

    mach_port port = mach_port::master_port_default();
    sim::entry_id platform_id = 0;
    sim::entry_id mouse_id = 0;
    sim::entry_id legacy_id = 0;
};

TEST_F(mach_port_test, the_default_port_is_the_null_port_every_iokit_call_accepts)
{
    EXPECT_EQ(port.get(), MACH_PORT_NULL);
    mach_port moved = std::move(port);
    EXPECT_EQ(moved.get(), MACH_PORT_NULL);
    EXPECT_EQ(moved.io_registry_get_root_entry().get_name(), "Root");
}

TEST_F(mach_port_test, the_root_entry_is_the_registry_entry_without_parent)
{
    io_registry_entry const root = port.io_registry_get_root_entry();
    ASSERT_TRUE(root);
    EXPECT_EQ(root.get_class(), "IORegistryEntry");
    EXPECT_EQ(root.get_registry_entry_id(), sim::root_entry_id);
    EXPECT_FALSE(root.get_parent_entry(kIOServicePlane));
}

TEST_F(mach_port_test, a_path_finds_its_entry_or_nothing)
{
    io_registry_entry const mouse = port.io_registry_entry_from_path("IOService:/Mouse@1100000");
    ASSERT_TRUE(mouse);
    EXPECT_EQ(mouse.get_registry_entry_id(), mouse_id);
    EXPECT_TRUE(port.io_registry_entry_from_path("IOService:/") ==
                port.io_registry_entry_from_path("IOService:/"));
    EXPECT_FALSE(port.io_registry_entry_from_path("IOService:/Nothing"));
    EXPECT_FALSE(port.io_registry_entry_from_path("NoPlane:/"));
    EXPECT_FALSE(port.io_registry_entry_from_path(nullptr));
}

TEST_F(mach_port_test, class_matching_finds_the_class_and_its_subclasses)
{
    CF::Dictionary const matching = io_service::matching("IOUSBDevice");
    CF::String const provider(matching.GetValue(CF::String(kIOProviderClassKey, kCFStringEncodingUTF8)));
    EXPECT_EQ(provider.GetValue(kCFStringEncodingUTF8), "IOUSBDevice");

    io_iterator services = port.io_service_get_matching_services(matching);
    std::set<std::uint64_t> found;
    while (io_service const s = services.next())
        found.insert(s.get_registry_entry_id());
    EXPECT_EQ(found, (std::set<std::uint64_t>{mouse_id, legacy_id}));
    EXPECT_FALSE(services.next());
}

TEST_F(mach_port_test, matching_leaves_the_callers_dictionary_alone)
{
    CF::Dictionary const matching = io_registry_entry::id_matching(mouse_id);
    CFIndex const before = CFGetRetainCount(matching.GetTypeRef());
    for (int round = 0; round < 3; ++round) {
        io_iterator services = port.io_service_get_matching_services(matching);
        EXPECT_TRUE(services.next());
    }
    EXPECT_EQ(CFGetRetainCount(matching.GetTypeRef()), before);
    // The dictionary is still whole and usable: the fixture proves it is freed in the end.
    io_iterator again = port.io_service_get_matching_services(matching);
    EXPECT_EQ(io_registry_entry(again.next()).get_name(), "Mouse");
}

TEST_F(mach_port_test, no_match_gives_an_exhausted_null_iterator)
{
    io_iterator services = port.io_service_get_matching_services(io_service::matching("IOPCIDevice"));
    EXPECT_FALSE(services.next());
    EXPECT_FALSE(services.next());
    EXPECT_FALSE(io_iterator().next());
}

TEST_F(mach_port_test, an_empty_dictionary_is_refused_with_bad_argument)
{
    try {
        (void)port.io_service_get_matching_services(CF::Dictionary());
        FAIL() << "no exception";
    }
    catch (boost::system::system_error const& e) {
        EXPECT_EQ(e.code().value(), kIOReturnBadArgument);
        EXPECT_NE(std::string(e.what()).find("IOServiceGetMatchingServices"), std::string::npos) << e.what();
    }
    sim::clear_misuse_reports(); // a NULL dictionary may be reported: it is passed on purpose
}

} // namespace
