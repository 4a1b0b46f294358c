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

#include <map>
#include <set>
#include <string>

namespace {

namespace sim = plinth::sim;
using plinth::apple::io_kit::create_cf_properties;
using plinth::apple::io_kit::io_registry_entry;
using plinth::apple::io_kit::io_registry_entry_view;
using plinth::apple::io_kit::mach_port;

// Listing an entry's properties and walking the collections they hold, as a
// program that does not know the keys beforehand does.
class registry_properties_test : public plinth::testing::sim_test
{
protected:
    void SetUp() override
    {
        sim_test::SetUp();
        id_ = sim::add_entry({"IOService",
                              "probe",
                              std::nullopt,
                              {{"wide", sim::number{-1, 64}},
                               {"narrow", sim::number{-1, 32}},
                               {"list", sim::array{std::string("a"), sim::number{7, 32}}},
                               {"set", sim::set{{std::string("x"), std::string("y")}}},
                               {"nested", sim::dictionary{{"k", true}}}},
                              std::nullopt},
                             sim::root_entry_id);
    }

    // The probe is the plane's top entry, whose path is the plane's root path.
    io_registry_entry entry() const
    {
        return mach_port::master_port_default().io_registry_entry_from_path("IOService:/");
    }

    // The entry's properties by key, each value still wrapped.
    std::map<std::string, CF::AutoPointer> properties() const
    {
        std::map<std::string, CF::AutoPointer> by_key;
        for (auto const& [key, value] : CF::GetEntries(create_cf_properties(entry().view())))
            by_key[CF::String(key).GetValue()] = value;
        return by_key;
    }

    sim::entry_id id_ = 0;
};

TEST_F(registry_properties_test, ListsEveryKeyInTheRegistrysOrder)
{
    std::vector<std::string> keys;
    for (auto const& [key, value] : CF::GetEntries(create_cf_properties(entry().view())))
        keys.push_back(CF::String(key).GetValue());
    EXPECT_EQ(keys, (std::vector<std::string>{"wide", "narrow", "list", "set", "nested"}));
}

TEST_F(registry_properties_test, NumbersKeepTheirWidth)
{
    auto const values = properties();
    auto const wide = CF::GetNumberValue(CF::Number(values.at("wide")));
    auto const narrow = CF::GetNumberValue(CF::Number(values.at("narrow")));
    EXPECT_EQ(wide.integer, -1);
    EXPECT_EQ(wide.byte_size, 8);
    EXPECT_EQ(narrow.integer, -1);
    EXPECT_EQ(narrow.byte_size, 4);
    EXPECT_FALSE(narrow.is_float);
    EXPECT_EQ(CF::GetNumberValue(CF::Number()).byte_size, 0);
}

TEST_F(registry_properties_test, ArraysAndSetsHandOutTheirValues)
{
    auto const values = properties();
    CF::Array const list(values.at("list"));
    ASSERT_EQ(list.GetCount(), 2);
    EXPECT_EQ(CF::String(list.GetValueAtIndex(0)).GetValue(), "a");
    EXPECT_EQ(static_cast<int>(CF::Number(list.GetValueAtIndex(1))), 7);
    EXPECT_FALSE(list.GetValueAtIndex(2).IsValid());
    EXPECT_FALSE(list.GetValueAtIndex(-1).IsValid());

    CF::Set const set(values.at("set"));
    std::set<std::string> items;
    for (auto const& item : set.GetValues())
        items.insert(CF::String(item).GetValue());
    EXPECT_EQ(items, (std::set<std::string>{"x", "y"}));

    // A wrapper of the wrong type is empty and hands out nothing.
    EXPECT_FALSE(CF::Array(values.at("set")).IsValid());
    EXPECT_EQ(CF::Array(values.at("set")).GetCount(), 0);
    EXPECT_TRUE(CF::Set(values.at("list")).GetValues().empty());
    EXPECT_TRUE(CF::GetEntries(CF::Dictionary(values.at("list"))).empty());
}

TEST_F(registry_properties_test, AnEntryWithoutPropertiesGivesAnEmptyDictionary)
{
    sim::remove_entry(id_);
    sim::add_entry({"IOService", "bare", std::nullopt, {}, std::nullopt}, sim::root_entry_id);
    auto const dictionary =
        create_cf_properties(mach_port::master_port_default().io_registry_entry_from_path("IOService:/").view());
    EXPECT_TRUE(dictionary.IsValid());
    EXPECT_TRUE(CF::GetEntries(dictionary).empty());
}

TEST_F(registry_properties_test, ANullEntryIsRefused)
{
    EXPECT_THROW(create_cf_properties(io_registry_entry_view()), boost::system::system_error);
}

} // namespace
