// Tests of the built-in class table: sorted, rooted at OSObject alone, and agreeing with real class listings.
#include "sim/detail/registry/builtin_classes.hpp"

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using plinth::sim::detail::builtin_class_links;
using plinth::sim::detail::class_link;

std::optional<std::string_view> superclass_of(std::string_view name)
{
    auto const links = builtin_class_links();
    auto const found = std::ranges::lower_bound(links, name, {}, &class_link::name);
    if (found == links.end() || found->name != name)
        return std::nullopt;
    return found->superclass;
}

// Walks the links upwards; a chain longer than the table has a cycle.
bool conforms(std::string_view name, std::string_view wanted)
{
    auto current = std::optional<std::string_view>(name);
    for (std::size_t step = 0; current && !current->empty() && step <= builtin_class_links().size(); ++step)
    {
        if (*current == wanted)
            return true;
        current = superclass_of(*current);
    }
    return false;
}

TEST(builtin_classes, table_is_sorted_by_name_without_duplicates)
{
    auto const links = builtin_class_links();
    ASSERT_GT(links.size(), 500u);
    auto const out_of_order =
        std::ranges::adjacent_find(links, [](class_link const& a, class_link const& b) { return a.name >= b.name; });
    EXPECT_EQ(out_of_order, links.end()) << out_of_order->name << " is out of order or repeated";
}

TEST(builtin_classes, every_class_reaches_osobject_and_only_osobject_is_a_root)
{
    for (auto const& link : builtin_class_links())
    {
        if (link.name == "OSObject")
        {
            EXPECT_TRUE(link.superclass.empty());
            continue;
        }
        EXPECT_FALSE(link.superclass.empty()) << link.name << " has no superclass";
        EXPECT_TRUE(superclass_of(link.superclass)) << link.name << " derives from unknown " << link.superclass;
        EXPECT_TRUE(conforms(link.name, "OSObject")) << link.name << " never reaches OSObject";
    }
    EXPECT_EQ(superclass_of("IORegistryEntry"), "OSObject");
    EXPECT_EQ(superclass_of("IOService"), "IORegistryEntry");
}

TEST(builtin_classes, families_have_their_documented_bases)
{
    struct expectation
    {
        char const* name;
        char const* base;
        bool conforms;
    };
    // The classes the device kinds and the bundled registry rely on.
    std::vector<expectation> const cases{
        {"IOUSBHostDevice", "IOUSBDevice", true},
        {"AppleUSBDevice", "IOUSBHostDevice", true},
        // The 10.11 stack has no IOUSBNub: the macOS 11 Intel listing says otherwise
        // and must lose to the newer Apple Silicon one.
        {"IOUSBHostDevice", "IOUSBNub", false},
        {"AppleUSBRootHubDevice", "IOUSBHubDevice", true},
        {"AppleUSBRootHubDevice", "IOUSBHostDevice", false},
        {"IOUSBHostHIDDevice", "IOHIDDevice", true},
        {"AppleUserHIDDevice", "IOHIDDevice", true},
        {"IOModemSerialStreamSync", "IOSerialStreamSync", true},
        {"IOPCI2PCIBridge", "IOPCIBridge", true},
        {"IOAudioLevelControl", "IOAudioControl", true},
        {"IOAudioEngine", "IOAudioControl", false},
        {"AppleAPFSVolume", "IOMedia", true},
        {"IOVideoDevice", "IOService", true},
    };
    for (auto const& [name, base, expected] : cases)
        EXPECT_EQ(conforms(name, base), expected) << name << " and " << base;
    EXPECT_EQ(superclass_of("IOUSBDevice"), "IOService");
    EXPECT_FALSE(superclass_of("NoSuchClass"));
    // The newest release decides a disputed superclass: macOS 13 moved user clients
    // under IOUserClient2022, where macOS 11 had IOUserClient.
    EXPECT_EQ(superclass_of("IOHIDLibUserClient"), "IOUserClient2022");
    EXPECT_EQ(superclass_of("AppleEmbeddedPCIE"), "IOPCIHostBridge");
}

// ---------------------------------------------------------------------------
// The table against the real listings it was made from
// ---------------------------------------------------------------------------

using link_map = std::map<std::string, std::string>;

// "+-o name class: A:B:C" lines of a listing, as class -> superclass.
link_map read_listing(std::filesystem::path const& file)
{
    link_map links;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);)
    {
        auto const marker = line.rfind(" class: ");
        if (line.find("+-o ") == std::string::npos || marker == std::string::npos)
            continue;
        std::vector<std::string> chain;
        boost::split(chain, line.substr(marker + 8), boost::is_any_of(":"));
        for (std::size_t i = 1; i < chain.size(); ++i)
            links[chain[i]] = chain[i - 1];
    }
    return links;
}

TEST(builtin_classes, every_listed_chain_agrees_unless_a_newer_release_overrides_it)
{
    std::filesystem::path const folder = PLINTH_SHARED_IOREG_DIR;
    // Newest first, as the table was made.
    char const* const files[] = {"macos13-m1pro-macbookpro18,3-class-chains.txt",
                                 "macos11-m1-macbookair10,1-class-chains.txt",
                                 "macos11-intel-t2-macbookair9,1-class-chains.txt"};
    std::vector<link_map> listings;
    for (auto const* file : files)
    {
        if (!std::filesystem::exists(folder / file))
            GTEST_SKIP() << "no class listings in " << folder;
        listings.push_back(read_listing(folder / file));
        ASSERT_GT(listings.back().size(), 300u) << file;
    }
    for (std::size_t release = 0; release < listings.size(); ++release)
    {
        for (auto const& link : listings[release])
        {
            auto const& name = link.first;
            auto const& superclass = link.second;
            auto const table = superclass_of(name);
            ASSERT_TRUE(table) << name << " from " << files[release] << " is missing";
            if (*table == superclass)
                continue;
            bool const overridden =
                std::any_of(listings.begin(), listings.begin() + release, [&](link_map const& newer) {
                    auto const found = newer.find(name);
                    return found != newer.end() && found->second == *table;
                });
            EXPECT_TRUE(overridden) << files[release] << ": " << name << " -> " << superclass << ", table says "
                                    << *table;
        }
    }
}

} // namespace
