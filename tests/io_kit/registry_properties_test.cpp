// Tests of listing an entry's properties: lost keys, numbers at the wrong width, cut collections, null entries.
#include "io_kit/cf/array.hpp"
#include "io_kit/cf/dictionary_entries.hpp"
#include "io_kit/cf/number_value.hpp"
#include "io_kit/cf/set.hpp"
#include "io_kit/cf/string.hpp"
#include "io_kit/io_registry_entry.hpp"
#include "io_kit/io_registry_entry_properties.hpp"
#include "io_kit/mach_port.hpp"
#include "support/sim_test.hpp"

#include <boost/system/system_error.hpp>

#include <set>
#include <string>
#include <vector>

namespace {

namespace sim = plinth::sim;
using plinth::apple::io_kit::create_cf_properties;
using plinth::apple::io_kit::io_registry_entry_view;
using plinth::apple::io_kit::mach_port;

// Listing an entry's properties and walking the collections they hold, as a
// program that does not know the keys beforehand does.
class registry_properties_test : public plinth::testing::sim_test
{
protected:
    // The properties of the plane's top entry, whose path is the plane's root path.
    static CF::Dictionary top_properties()
    {
        return create_cf_properties(mach_port::master_port_default().io_registry_entry_from_path("IOService:/").view());
    }
};

TEST_F(registry_properties_test, lists_every_key_in_order_with_numbers_at_their_width_and_collections_whole)
{
    sim::add_entry({"IOService",
                    "probe",
                    {},
                    {{"wide", sim::number{-1, 64}},
                     {"narrow", sim::number{-1, 32}},
                     {"list", sim::array{std::string("a"), sim::number{7, 32}}},
                     {"set", sim::set{{std::string("x"), std::string("y")}}},
                     {"nested", sim::dictionary{{"k", true}}}}},
                   sim::root_entry_id);
    std::vector<std::string> keys;
    std::vector<CF::AutoPointer> values;
    for (auto const& [key, value] : CF::GetEntries(top_properties()))
    {
        keys.push_back(CF::String(key).GetValue());
        values.push_back(value);
    }
    ASSERT_EQ(keys, (std::vector<std::string>{"wide", "narrow", "list", "set", "nested"}));

    auto const wide = CF::GetNumberValue(CF::Number(values[0]));
    auto const narrow = CF::GetNumberValue(CF::Number(values[1]));
    EXPECT_EQ(wide.integer, -1);
    EXPECT_EQ(wide.byte_size, 8);
    EXPECT_EQ(narrow.integer, -1);
    EXPECT_EQ(narrow.byte_size, 4);
    EXPECT_FALSE(narrow.is_float);
    EXPECT_EQ(CF::GetNumberValue(CF::Number()).byte_size, 0);

    CF::Array const list(values[2]);
    ASSERT_EQ(list.GetCount(), 2);
    EXPECT_EQ(CF::String(list.GetValueAtIndex(0)).GetValue(), "a");
    EXPECT_EQ(static_cast<int>(CF::Number(list.GetValueAtIndex(1))), 7);
    EXPECT_FALSE(list.GetValueAtIndex(2).IsValid());
    EXPECT_FALSE(list.GetValueAtIndex(-1).IsValid());
    std::set<std::string> items;
    for (auto const& item : CF::Set(values[3]).GetValues())
        items.insert(CF::String(item).GetValue());
    EXPECT_EQ(items, (std::set<std::string>{"x", "y"}));

    // A wrapper of the wrong type is empty and hands out nothing.
    EXPECT_FALSE(CF::Array(values[3]).IsValid());
    EXPECT_EQ(CF::Array(values[3]).GetCount(), 0);
    EXPECT_TRUE(CF::Set(values[2]).GetValues().empty());
    EXPECT_TRUE(CF::GetEntries(CF::Dictionary(values[2])).empty());
}

TEST_F(registry_properties_test, an_entry_without_properties_gives_an_empty_dictionary_and_a_null_one_is_refused)
{
    sim::add_entry({"IOService", "bare"}, sim::root_entry_id);
    auto const dictionary = top_properties();
    EXPECT_TRUE(dictionary.IsValid());
    EXPECT_TRUE(CF::GetEntries(dictionary).empty());
    EXPECT_THROW(create_cf_properties(io_registry_entry_view()), boost::system::system_error);
}

} // namespace
