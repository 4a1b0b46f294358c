// Tests of device: misread or misordered property kinds, errors without the key, planes mixed up, thread races.
#include "device/apple/device.hpp"
#include "error/errc.hpp"
#include "device/device_support.hpp"
#include "support/sim_test.hpp"
#include "support/system_error.hpp"

#include <IOKit/IOKitLib.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

using plinth::plane;
using plinth::apple::device;
using plinth::apple::io_kit::io_registry_entry;
namespace sim = plinth::sim;

// Root → platform → XHCI controller → a USB device with one property of every
// kind, the device also in the IOUSB plane under the controller.
class device_test : public plinth::testing::sim_test
{
protected:
    void SetUp() override
    {
        sim_test::SetUp();
        platform_ = sim::add_entry({"IOPlatformExpertDevice", "Macmini8,1"}, sim::root_entry_id);
        controller_ = sim::add_entry({"AppleUSBXHCI", "XHC1", "14000000"}, platform_);
        sim::attach(controller_, sim::root_entry_id, "IOUSB");
        usb_ = sim::add_entry({"IOUSBHostDevice",
                               "Keyboard",
                               "14100000",
                               {
                                   {"Built-In", true},
                                   {"Removable", false},
                                   {"idVendor", sim::make_number(1452)},
                                   {"sessionID", sim::number{0x100000001, 64}},
                                   {"locationID", sim::number{static_cast<std::int64_t>(0x80000000u), 32}},
                                   {"USB Product Name", std::string("Magic Keyboard")},
                                   {"port", sim::data{0x02, 0x00, 0x00, 0x00}},
                                   {"empty", sim::data{}},
                                   {"dictionary", sim::dictionary{{"a", sim::make_number(1)}}},
                                   {"array", sim::array{sim::make_number(1)}},
                                   {"real", 1.5},
                               }},
                              controller_);
        sim::attach(usb_, controller_, "IOUSB");
    }

    static device find(sim::entry_id id) { return plinth::testing::find_device(id); }

    sim::entry_id platform_ = 0;
    sim::entry_id controller_ = 0;
    sim::entry_id usb_ = 0;
};

TEST_F(device_test, properties_convert_booleans_before_numbers_and_keep_their_content)
{
    auto const d = find(usb_);
    auto const yes = d.get_property("Built-In");
    ASSERT_EQ(yes.index(), 3u);
    EXPECT_TRUE(mpark::get<bool>(yes));
    auto const no = d.get_property("Removable");
    ASSERT_EQ(no.index(), 3u) << "a CFBoolean is never read as a number";
    EXPECT_FALSE(mpark::get<bool>(no));
    EXPECT_THROW((void)mpark::get<int>(yes), mpark::bad_variant_access);

    EXPECT_EQ(mpark::get<int>(d.get_property("idVendor")), 1452);
    // A 64-bit number keeps its low 32 bits, as CFNumberGetValue stores them; a
    // 32-bit locationID with the top bit set reads back negative; a real is a number too.
    auto const session = d.get_property("sessionID");
    ASSERT_EQ(session.index(), 0u);
    EXPECT_EQ(mpark::get<int>(session), 1);
    EXPECT_EQ(mpark::get<int>(d.get_property("locationID")), static_cast<int>(0x80000000u));
    EXPECT_EQ(mpark::get<int>(d.get_property("real")), 1);

    EXPECT_EQ(mpark::get<std::string>(d.get_property("USB Product Name")), "Magic Keyboard");
    EXPECT_EQ(mpark::get<std::vector<std::byte>>(d.get_property("port")),
              (std::vector<std::byte>{std::byte{2}, std::byte{0}, std::byte{0}, std::byte{0}}));
    auto const empty = d.get_property("empty");
    ASSERT_EQ(empty.index(), 2u);
    EXPECT_TRUE(mpark::get<std::vector<std::byte>>(empty).empty());
}

TEST_F(device_test, absent_and_unsupported_properties_throw_with_the_key)
{
    auto const d = find(usb_);
    device const none;
    struct case_t
    {
        device const& from;
        char const* key;
        plinth::errc expected;
    };
    for (auto const& c : {case_t{d, "idProduct", plinth::errc::property_not_found},
                          case_t{d, "dictionary", plinth::errc::unsupported_property_type},
                          case_t{d, "array", plinth::errc::unsupported_property_type},
                          case_t{none, "idVendor", plinth::errc::property_not_found}})
    {
        auto const error = plinth::testing::system_error_of([&] { (void)c.from.get_property(c.key); });
        EXPECT_EQ(error.code(), plinth::make_error_code(c.expected)) << c.key;
        EXPECT_TRUE(std::string(error.what()).starts_with(std::string("make_property_type(") + c.key + ")"))
            << error.what();
    }
}

TEST_F(device_test, equality_is_iokit_object_equality_and_copies_share_the_entry)
{
    auto a = find(usb_);
    auto const c = find(controller_);
    EXPECT_TRUE(a == find(usb_));
    EXPECT_FALSE(a != find(usb_));
    EXPECT_TRUE(a != c);
    EXPECT_TRUE(device{} == device{});
    EXPECT_TRUE(device{} != a);
    EXPECT_FALSE(device{});

    auto const handles = sim::live_handles();
    device const b = a;
    device const moved = std::move(a);
    EXPECT_FALSE(a); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(b, moved);
    EXPECT_EQ(sim::live_handles(), handles) << "one name per entry, whatever the number of references";
}

TEST_F(device_test, describes_and_navigates_each_plane_separately)
{
    auto const d = find(usb_);
    EXPECT_EQ(d.get_id(), usb_);
    EXPECT_EQ(d.get_class(), "IOUSBHostDevice");
    EXPECT_EQ(d.get_name(), "Keyboard");
    EXPECT_EQ(d.get_name(plane::usb), "Keyboard");
    EXPECT_EQ(d.get_location(plane::service), "14100000");
    EXPECT_EQ(d.get_path(plane::service), "IOService:/XHC1@14000000/Keyboard@14100000");
    // The plane's top entry is "/": IOKit leaves it out of the paths below it.
    EXPECT_EQ(d.get_path(plane::usb), "IOUSB:/Keyboard@14100000");
    EXPECT_THROW(d.get_path(plane::power), boost::system::system_error) << "not attached in IOPower";

    EXPECT_EQ(d.get_parent(plane::usb), find(controller_));
    EXPECT_FALSE(d.get_parent(plane::power));
    EXPECT_FALSE(find(controller_).get_parent(plane::usb).get_parent(plane::usb)) << "Root has no parent";
    auto parents = d.get_parents(plane::service);
    EXPECT_EQ(device(io_registry_entry(parents.next())), find(controller_));
    EXPECT_FALSE(parents.next());
    auto children = find(controller_).get_children(plane::service);
    EXPECT_EQ(device(io_registry_entry(children.next())), d);
    EXPECT_FALSE(children.next());
    EXPECT_FALSE(children.next()) << "an exhausted iterator stays exhausted";
    EXPECT_FALSE(find(platform_).get_children(plane::usb).next()) << "no children in a plane it is not in";

    // Class and plane tests never throw.
    static_assert(noexcept(device{}.conforms_to_class(std::string())));
    static_assert(noexcept(device{}.is_in_plane(plane::service)));
    EXPECT_TRUE(d.conforms_to_class("IOUSBDevice"));
    EXPECT_FALSE(d.conforms_to_class(""));
    EXPECT_TRUE(d.is_in_plane(plane::usb));
    EXPECT_FALSE(find(platform_).is_in_plane(plane::usb));
    EXPECT_TRUE(d.is_in_plane(plane::power)) << "no IOPower plane here: the kernel asks for any plane";
    EXPECT_FALSE(device{}.conforms_to_class("IOService"));
    EXPECT_FALSE(device{}.is_in_plane(plane::service));
}

TEST_F(device_test, devices_of_one_entry_work_on_several_threads_at_once)
{
    std::atomic<int> failures = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, d = find(usb_)] {
            for (int i = 0; i < 200; ++i)
                if (mpark::get<int>(d.get_property("idVendor")) != 1452 ||
                    d.get_parent(plane::usb).get_name() != "XHC1")
                    ++failures;
        });
    for (auto& th : threads)
        th.join();
    EXPECT_EQ(failures, 0);
}

using device_death_test = device_test;

TEST_F(device_death_test, out_of_range_planes_terminate)
{
    auto const d = find(usb_);
    EXPECT_DEATH((void)d.get_path(static_cast<plane>(6)), "has invalid value 6");
    EXPECT_DEATH((void)d.get_parent(static_cast<plane>(-1)), "has invalid value -1");
    EXPECT_DEATH((void)d.is_in_plane(static_cast<plane>(7)), "has invalid value 7");
}

} // namespace
