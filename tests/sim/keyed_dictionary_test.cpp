// Tests of the keyed dictionary that holds an entry's properties.
#include "sim/control/value.hpp"
#include "sim/detail/registry/keyed_dictionary.hpp"

#include <gtest/gtest.h>

#include <string>

namespace {

namespace sim = plinth::sim;
using plinth::sim::detail::keyed_dictionary;

sim::dictionary items(std::initializer_list<std::pair<char const*, int>> list)
{
    sim::dictionary result;
    for (auto const& [key, v] : list)
        result.emplace_back(key, sim::make_number(v));
    return result;
}

TEST(keyed_dictionary, keeps_the_order_keys_came_in_and_a_replaced_value_keeps_its_place)
{
    keyed_dictionary d;
    d.assign("b", sim::make_number(1));
    d.assign("a", sim::make_number(2));
    d.assign("c", sim::make_number(3));
    d.assign("a", sim::make_number(20));
    EXPECT_FALSE(d.insert("b", sim::make_number(10))) << "insert leaves a key it has alone";
    EXPECT_TRUE(d.insert("d", sim::make_number(4)));
    EXPECT_EQ(d.items(), items({{"b", 1}, {"a", 20}, {"c", 3}, {"d", 4}}));
}

TEST(keyed_dictionary, finds_every_key_after_one_in_front_of_it_is_erased)
{
    keyed_dictionary d;
    for (int i = 0; i < 100; ++i)
        d.assign("key" + std::to_string(i), sim::make_number(i));
    d.erase("key10");
    d.erase("absent");
    d.erase("key0");
    ASSERT_EQ(d.size(), 98u);
    EXPECT_EQ(d.find("key0"), nullptr);
    EXPECT_EQ(d.find("key10"), nullptr);
    for (int i : {1, 9, 11, 50, 99})
    {
        auto const* found = d.find("key" + std::to_string(i));
        ASSERT_NE(found, nullptr) << i;
        EXPECT_EQ(*found, sim::value(sim::make_number(i))) << i;
    }
    d.assign("key50", sim::make_number(-1));
    d.assign("key0", sim::make_number(0));
    EXPECT_EQ(d.items()[48], (std::pair<std::string, sim::value>{"key50", sim::make_number(-1)}));
    EXPECT_EQ(d.items().back().first, "key0") << "an erased key that comes back comes last";
}

} // namespace
