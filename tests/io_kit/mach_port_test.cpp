// Tests of mach_port: a wrong root or path lookup, class matching that misses subclasses, a consumed dictionary.
#include "io_kit/cf/dictionary.hpp"
#include "io_kit/cf/string.hpp"
#include "io_kit/io_iterator.hpp"
#include "io_kit/io_registry_entry.hpp"
#include "io_kit/io_service.hpp"
#include "io_kit/mach_port.hpp"
#include "support/sim_test.hpp"
#include "support/system_error.hpp"

#include <IOKit/IOKitLib.h>

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
        auto const platform = sim::add_entry({"IOPlatformExpertDevice", "J313AP"}, sim::root_entry_id);
        mouse_id = sim::add_entry({"IOUSBHostDevice", "Mouse", "01100000"}, platform);
        legacy_id = sim::add_entry({"IOUSBDevice", "Legacy"}, platform);
    }

    mach_port port = mach_port::master_port_default();
    sim::entry_id mouse_id = 0;
    sim::entry_id legacy_id = 0;
};

TEST_F(mach_port_test, the_default_port_is_null_and_finds_the_root_and_paths)
{
    EXPECT_EQ(port.get(), MACH_PORT_NULL);
    mach_port const moved = std::move(port);
    io_registry_entry const root = moved.io_registry_get_root_entry();
    EXPECT_EQ(root.get_name(), "Root");
    EXPECT_EQ(root.get_class(), "IORegistryEntry");
    EXPECT_EQ(root.get_registry_entry_id(), sim::root_entry_id);
    EXPECT_FALSE(root.get_parent_entry(kIOServicePlane));

    EXPECT_EQ(moved.io_registry_entry_from_path("IOService:/Mouse@1100000").get_registry_entry_id(), mouse_id);
    EXPECT_TRUE(moved.io_registry_entry_from_path("IOService:/") == moved.io_registry_entry_from_path("IOService:/"));
    EXPECT_FALSE(moved.io_registry_entry_from_path("IOService:/Nothing"));
    EXPECT_FALSE(moved.io_registry_entry_from_path("NoPlane:/"));
    EXPECT_FALSE(moved.io_registry_entry_from_path(nullptr));
}

TEST_F(mach_port_test, class_matching_finds_the_class_and_its_subclasses_or_nothing)
{
    CF::Dictionary const matching = io_service::matching("IOUSBDevice");
    EXPECT_EQ(CF::String(matching.GetValue(CF::String(CFSTR(kIOProviderClassKey)))).GetValue(), "IOUSBDevice");
    io_iterator services = port.io_service_get_matching_services(matching);
    std::set<std::uint64_t> found;
    while (io_service const s = services.next())
        found.insert(s.get_registry_entry_id());
    EXPECT_EQ(found, (std::set<std::uint64_t>{mouse_id, legacy_id}));
    EXPECT_FALSE(services.next());

    io_iterator none = port.io_service_get_matching_services(io_service::matching("IOPCIDevice"));
    EXPECT_FALSE(none.next());
    EXPECT_FALSE(none.next());
    EXPECT_FALSE(io_iterator().next());
}

TEST_F(mach_port_test, matching_leaves_the_callers_dictionary_alone_and_refuses_an_empty_one)
{
    CF::Dictionary const matching = io_registry_entry::id_matching(mouse_id);
    CFIndex const before = CFGetRetainCount(matching.GetTypeRef());
    for (int round = 0; round < 3; ++round)
    {
        io_iterator services = port.io_service_get_matching_services(matching);
        EXPECT_EQ(io_registry_entry(services.next()).get_name(), "Mouse") << "round " << round;
    }
    EXPECT_EQ(CFGetRetainCount(matching.GetTypeRef()), before);

    auto const error =
        plinth::testing::system_error_of([&] { (void)port.io_service_get_matching_services(CF::Dictionary()); });
    EXPECT_EQ(error.code().value(), kIOReturnBadArgument);
    EXPECT_NE(std::string(error.what()).find("IOServiceGetMatchingServices"), std::string::npos) << error.what();
    take_misuse_reports(); // a NULL dictionary may be reported: it is passed on purpose
}

} // namespace
