// Tests of device::get_property_value and device::get_properties: every kind of property read whole, at full width, in registry order.
#include "device/apple/detail/property_value_from_cf.hpp"
#include "device/apple/device.hpp"
#include "device/device_support.hpp"
#include "error/apple/io_return.hpp"
#include "error/errc.hpp"
#include "io_kit/cf/auto_pointer.hpp"
#include "support/sim_test.hpp"
#include "support/system_error.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <variant>
#include <vector>

namespace {

using plinth::apple::device;
namespace property = plinth::property;
namespace sim = plinth::sim;

// What a user task reads for a value the kernel holds: IOKit hands every number
// of 32 bits or less out as an SInt32 CFNumber and wider ones as SInt64.
property::value as_user_space_reads_it(property::value const& held)
{
    return std::visit(
        [](auto const& content) -> property::value {
            using type = std::remove_cvref_t<decltype(content)>;
            if constexpr (std::is_same_v<type, property::number>)
                return property::number{content.bits, content.width <= 32 ? 32 : 64};
            else if constexpr (std::is_same_v<type, property::dictionary>)
            {
                property::dictionary read;
                for (auto const& [key, item] : content)
                    read.emplace_back(key, as_user_space_reads_it(item));
                return read;
            }
            else if constexpr (std::is_same_v<type, property::array>)
            {
                property::array read;
                for (auto const& item : content)
                    read.push_back(as_user_space_reads_it(item));
                return read;
            }
            else if constexpr (std::is_same_v<type, property::set>)
            {
                property::set read;
                for (auto const& item : content.items)
                    read.items.push_back(as_user_space_reads_it(item));
                return read;
            }
            else
                return content;
        },
        held.content);
}

std::vector<std::string> keys_of(property::dictionary const& d)
{
    std::vector<std::string> keys;
    for (auto const& [key, item] : d)
        keys.push_back(key);
    return keys;
}

// One entry holding a property of every kind the registry has, nested ones included.
class property_value_test : public plinth::testing::sim_test
{
protected:
    void SetUp() override
    {
        sim_test::SetUp();
        entry_ = sim::add_entry({"IOUSBHostDevice",
                                 "Keyboard",
                                 "14100000",
                                 {
                                     {"zeta", true},
                                     {"alpha", false},
                                     {"byte", sim::number{0xFF, 8}},
                                     {"negative", sim::make_number(-2)},
                                     {"top bit", sim::number{0x80000000, 32}},
                                     {"sessionID", sim::number{0x1'0000'0001, 64}},
                                     {"negative 64", sim::number{-5, 64}},
                                     {"real", 1.5},
                                     {"text", std::string("Gr\xC3\xB6\xC3\x9F"
                                                          "e")},
                                     {"bytes", sim::data{0x00, 0xFF, 0x7F}},
                                     {"no bytes", sim::data{}},
                                     {"nested", nested()},
                                     {"usages", sim::set{{sim::make_number(1), std::string("six")}}},
                                 }},
                                sim::root_entry_id);
    }

    static sim::dictionary nested()
    {
        return sim::dictionary{
            {"later", sim::array{sim::dictionary{{"b", sim::make_number(2)}, {"a", sim::number{-1, 64}}},
                                 sim::set{{sim::data{0x01}}}, sim::array{}}},
            {"earlier", sim::dictionary{}},
        };
    }

    device entry() const { return plinth::testing::find_device(entry_); }

    sim::entry_id entry_ = 0;
};

TEST_F(property_value_test, every_kind_reads_whole_with_numbers_at_their_width)
{
    auto const d = entry();
    EXPECT_EQ(d.get_property_value("zeta"), property::value(true));
    EXPECT_EQ(d.get_property_value("alpha"), property::value(false)) << "a CFBoolean is never read as a number";

    // Numbers come as CF hands them: SInt32 up to 32 bits, SInt64 above, signed.
    auto const number_of = [&](char const* key) {
        return std::get<property::number>(d.get_property_value(key).content);
    };
    EXPECT_EQ(number_of("byte"), (property::number{0xFF, 32})) << "an 8-bit OSNumber reaches user space as SInt32";
    EXPECT_EQ(number_of("negative").as_signed(), -2);
    EXPECT_EQ(number_of("negative").as_unsigned(), 0xFFFFFFFEu);
    EXPECT_EQ(number_of("top bit").as_signed(), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(number_of("top bit").as_unsigned(), 0x80000000u);
    EXPECT_EQ(number_of("sessionID"), (property::number{0x1'0000'0001, 64}));
    EXPECT_EQ(number_of("sessionID").as_signed(), 0x1'0000'0001) << "nothing of the upper half lost";
    EXPECT_EQ(mpark::get<int>(d.get_property("sessionID")), 1) << "while get_property keeps its 32-bit reading";
    EXPECT_EQ(number_of("negative 64").as_signed(), -5);
    EXPECT_EQ(number_of("negative 64").as_unsigned(), std::numeric_limits<std::uint64_t>::max() - 4);
    EXPECT_EQ(d.get_property_value("real"), property::value(1.5));

    EXPECT_EQ(d.get_property_value("text"), property::value(std::string("Gr\xC3\xB6\xC3\x9F"
                                                                        "e")));
    EXPECT_EQ(d.get_property_value("bytes"), property::value(property::data{0x00, 0xFF, 0x7F}));
    EXPECT_EQ(d.get_property_value("no bytes"), property::value(property::data{})) << "present, not absent";

    EXPECT_EQ(d.get_property_value("nested"), as_user_space_reads_it(nested()));
    EXPECT_EQ(d.get_property_value("usages"),
              property::value(property::set{{property::number{1, 32}, std::string("six")}}));

    boost::system::error_code ec = plinth::make_error_code(plinth::errc::property_not_found);
    EXPECT_EQ(d.get_property_value("zeta", ec), property::value(true));
    EXPECT_FALSE(ec) << "a read that succeeds clears the error";
}

TEST_F(property_value_test, all_properties_read_at_once_in_the_registry_order)
{
    auto const d = entry();
    auto const properties = d.get_properties();
    EXPECT_EQ(keys_of(properties),
              (std::vector<std::string>{"zeta", "alpha", "byte", "negative", "top bit", "sessionID", "negative 64",
                                        "real", "text", "bytes", "no bytes", "nested", "usages"}));
    for (auto const& [key, read] : properties)
        EXPECT_EQ(read, d.get_property_value(key.c_str())) << key << ": the whole read and the single read agree";
    auto const nested_read = d.get_property_value("nested");
    EXPECT_EQ(keys_of(std::get<property::dictionary>(nested_read.content)),
              (std::vector<std::string>{"later", "earlier"}))
        << "nested dictionaries keep it too";

    sim::set_property(entry_, "added", std::string("last"));
    sim::remove_property(entry_, "zeta");
    boost::system::error_code ec;
    auto const again = d.get_properties(ec);
    ASSERT_TRUE(again) << ec.message();
    EXPECT_FALSE(ec);
    EXPECT_EQ(keys_of(*again).front(), "alpha") << "a device caches nothing";
    EXPECT_EQ(again->back(), (std::pair<std::string, property::value>("added", std::string("last"))));
}

TEST_F(property_value_test, absent_properties_and_empty_devices_fail_with_the_key)
{
    auto const d = entry();
    device const none;
    for (auto const* from : {&d, &none})
    {
        auto const error = plinth::testing::system_error_of([&] { (void)from->get_property_value("idProduct"); });
        EXPECT_EQ(error.code(), plinth::make_error_code(plinth::errc::property_not_found));
        EXPECT_TRUE(std::string(error.what()).starts_with("get_property_value(idProduct)")) << error.what();

        boost::system::error_code ec;
        EXPECT_FALSE(from->get_property_value("idProduct", ec));
        EXPECT_EQ(ec, plinth::make_error_code(plinth::errc::property_not_found));
    }

    // IOKit refuses to list the properties of no entry; its own code comes through.
    EXPECT_THROW((void)none.get_properties(), boost::system::system_error);
    boost::system::error_code ec;
    EXPECT_FALSE(none.get_properties(ec));
    EXPECT_TRUE(ec);
    EXPECT_EQ(ec.category(), plinth::apple::io_return_category()) << ec.message();
}

// A CF value with something the registry never holds (here a dictionary key that
// is not a string, deep inside an array) is refused whole, never read in part.
TEST_F(property_value_test, values_with_parts_the_model_has_no_kind_for_are_refused_whole)
{
    int const one = 1;
    CF::AutoPointer const key(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &one));
    CF::AutoPointer const text(CFStringCreateWithCString(kCFAllocatorDefault, "x", kCFStringEncodingUTF8));
    void const* keys[] = {key.GetTypeRef()};
    void const* values[] = {text.GetTypeRef()};
    CF::AutoPointer const numbered(CFDictionaryCreate(
        kCFAllocatorDefault, keys, values, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    void const* items[] = {text.GetTypeRef(), numbered.GetTypeRef()};
    CF::AutoPointer const list(CFArrayCreate(kCFAllocatorDefault, items, 2, &kCFTypeArrayCallBacks));

    EXPECT_FALSE(plinth::apple::detail::property_value_from_cf(list));
    EXPECT_FALSE(plinth::apple::detail::property_value_from_cf(numbered));
    EXPECT_EQ(plinth::apple::detail::property_value_from_cf(text), property::value(std::string("x")));
    EXPECT_FALSE(plinth::apple::detail::property_value_from_cf(CF::AutoPointer()));
}

// Every entry of the bundled registry reads whole, and what it reads is what the
// registry holds, in its order.
TEST_F(property_value_test, the_bundled_registry_reads_as_it_holds)
{
    sim::load_bundled_registry();
    std::size_t entries_read = 0;
    for (auto const& dump : sim::bundled_registry_dumps())
    {
        if (dump.plane != "IOService")
            continue;
        for (auto const& held : dump.entries)
        {
            if (held.id == sim::root_entry_id)
                continue; // no service: ID matching never finds it
            auto const d = plinth::testing::find_device(held.id);
            ASSERT_TRUE(d) << held.id;
            auto const read = d.get_properties();
            // The dump's keys appear in the read in the dump's order (other planes'
            // dumps may add properties of their own).
            auto at = read.begin();
            for (auto const& [key, value] : held.properties)
            {
                at = std::find_if(at, read.end(), [&key = key](auto const& item) { return item.first == key; });
                ASSERT_NE(at, read.end()) << held.id << " " << key << ": missing or out of order";
                EXPECT_EQ(at->second, as_user_space_reads_it(value)) << held.id << " " << key;
            }
            ++entries_read;
        }
    }
    EXPECT_GT(entries_read, 100u);
}

} // namespace
