// Lookups into a dump for the loader tests.
#pragma once

#include "sim/control/dump.hpp"
#include "sim/control/loaders.hpp"
#include "sim/control/value.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// Lookups into a dump for the loader tests.
namespace plinth::testing::ioreg {

inline sim::dump_entry const& entry(sim::dump const& d, sim::entry_id id)
{
    auto const found = std::ranges::find(d.entries, id, &sim::dump_entry::id);
    if (found == d.entries.end())
        throw std::out_of_range("the dump has no entry " + std::to_string(id));
    return *found;
}

// Checks every field of the dump's entry `id`.
inline void expect_entry(sim::dump const& d, sim::entry_id id, std::string const& class_name, std::string const& name,
                         std::optional<std::string> const& location = {}, sim::dictionary const& properties = {},
                         std::vector<std::string> const& class_chain = {})
{
    auto const& actual = entry(d, id);
    auto const trace = "entry " + std::to_string(id);
    EXPECT_EQ(actual.class_name, class_name) << trace;
    EXPECT_EQ(actual.name, name) << trace;
    EXPECT_EQ(actual.location, location) << trace;
    EXPECT_EQ(actual.properties, properties) << trace;
    EXPECT_EQ(actual.class_chain, class_chain) << trace;
}

inline sim::value const* property(sim::dump_entry const& e, std::string_view key)
{
    auto const found =
        std::ranges::find(e.properties, key, [](auto const& item) -> std::string_view { return item.first; });
    return found == e.properties.end() ? nullptr : &found->second;
}

inline std::vector<sim::entry_id> parents(sim::dump const& d, sim::entry_id child)
{
    std::vector<sim::entry_id> found;
    for (auto const& [parent, c] : d.links)
        if (c == child)
            found.push_back(parent);
    return found;
}

// The message of the dump_error that `read` throws; a failure when it throws none.
inline std::string dump_error_of(std::function<void()> const& read)
{
    try
    {
        read();
    }
    catch (sim::dump_error const& e)
    {
        return e.what();
    }
    ADD_FAILURE() << "no dump_error was thrown";
    return {};
}

inline sim::data bytes(std::string_view text)
{
    return sim::data(text.begin(), text.end());
}

} // namespace plinth::testing::ioreg
