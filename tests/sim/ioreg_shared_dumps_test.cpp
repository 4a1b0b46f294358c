#include "sim/control/loaders.hpp"

#include "sim/io_registry_support.hpp"
#include "sim/ioreg_test_support.hpp"
#include "support/scratch_folder.hpp"
#include "support/sim_test.hpp"

#include <boost/archive/iterators/base64_from_binary.hpp>
#include <boost/archive/iterators/transform_width.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <set>
#include <string>

// The loaders against real `ioreg` output from real machines.
namespace {

namespace sim = plinth::sim;
namespace ioreg = plinth::testing::ioreg;
using namespace std::string_view_literals;

std::filesystem::path const shared_dir = PLINTH_SHARED_IOREG_DIR;

// The distinct entry IDs that a dump's tree lines show, counted independently of the reader.
std::size_t distinct_ids_in(std::string const& text)
{
    std::set<std::uint64_t> ids;
    for (std::size_t at = text.find(", id 0x"); at != std::string::npos; at = text.find(", id 0x", at + 1))
    {
        std::uint64_t id = 0;
        std::from_chars(text.data() + at + 7, text.data() + text.size(), id, 16);
        ids.insert(id);
    }
    return ids.size();
}

class ioreg_shared_dump : public plinth::testing::sim_test
{
protected:
    // Reads a shared dump, checking it against the IDs the file shows.
    static sim::dump read(std::string const& name)
    {
        auto const file = shared_dir / name;
        auto d = sim::read_dump_file(file);
        EXPECT_EQ(d.entries.size(), distinct_ids_in(plinth::testing::read_file(file))) << name;
        return d;
    }

    void SetUp() override
    {
        sim_test::SetUp();
        if (!std::filesystem::is_directory(shared_dir))
            GTEST_SKIP() << "no shared dumps at " << shared_dir;
    }
};

TEST_F(ioreg_shared_dump, every_dump_with_ids_loads_every_entry_below_the_root)
{
    int dumps = 0;
    for (auto const& file : std::filesystem::directory_iterator(shared_dir))
    {
        if (file.path().extension() != ".txt" ||
            plinth::testing::read_file(file.path()).find(", id 0x") == std::string::npos)
            continue;
        ++dumps;
        SCOPED_TRACE(file.path().filename().string());
        auto const d = read(file.path().filename().string());
        sim::reset_registry();
        sim::load_dump_file(file.path());
        auto const has_root = std::ranges::any_of(d.entries, [](auto const& e) { return e.id == sim::root_entry_id; });
        EXPECT_EQ(sim::entry_count(), d.entries.size() + (has_root ? 0 : 1));
        auto const all = plinth::testing::io::registry_iterator(d.plane.c_str());
        EXPECT_EQ(plinth::testing::io::drain_names(all.get()).size() + 1, sim::entry_count())
            << "every entry hangs below the root";
    }
    EXPECT_EQ(dumps, 3);
}

TEST_F(ioreg_shared_dump, macos13_full_listing_with_properties)
{
    auto const d = read("macos13-intel-hackintosh-ioreg-l.txt");
    EXPECT_EQ(d.entries.size(), 574u);
    EXPECT_EQ(d.tops, std::vector<sim::entry_id>{0x100000100});
    EXPECT_EQ(ioreg::entry(d, 0x100000100).name, "Root");
    EXPECT_EQ(ioreg::parents(d, 0x1000003b7), (std::vector<sim::entry_id>{0x10000040c, 0x100000411, 0x10000011a}));
    EXPECT_EQ(ioreg::parents(d, 0x10000034e), (std::vector<sim::entry_id>{0x1000001dd, 0x1000001de}));

    auto const& mc = ioreg::entry(d, 0x1000002b7);
    EXPECT_EQ(mc.class_name, "IOPCIDevice");
    EXPECT_EQ(mc.name, "MC");
    EXPECT_EQ(mc.location, "0");
    ASSERT_NE(ioreg::property(mc, "vendor-id"), nullptr);
    EXPECT_EQ(*ioreg::property(mc, "vendor-id"), sim::value(sim::data{0x86, 0x80, 0x00, 0x00})) << "0x8086, little-endian";
    EXPECT_EQ(*ioreg::property(mc, "compatible"),
              sim::value(ioreg::bytes("pci1028,c1d\0pci8086,a708\0pciclass,060000\0MC\0"sv)));

    auto const& webcam = ioreg::entry(d, 0x100000419);
    EXPECT_EQ(webcam.class_name, "IOUSBHostDevice");
    EXPECT_EQ(webcam.location, "14200000");
    EXPECT_EQ(*ioreg::property(webcam, "idVendor"), sim::value(sim::number{3141, 32}));
    EXPECT_EQ(*ioreg::property(webcam, "USB Product Name"), sim::value(std::string("Integrated_Webcam_FHD")));
    EXPECT_EQ(*ioreg::property(ioreg::entry(d, 0x100000429), "idVendor"), sim::value(sim::number{32903, 32}));
    EXPECT_EQ(*ioreg::property(ioreg::entry(d, 0x100000118), "IOPlatformMaxBusDelay"),
              sim::value(sim::array{sim::number{-1, 64}, sim::number{0, 32}}));
}

TEST_F(ioreg_shared_dump, macos12_tree_without_properties)
{
    auto const d = read("macos12-qemu-macpro7,1-ioreg.txt");
    EXPECT_EQ(d.entries.size(), 351u);
    EXPECT_EQ(d.tops, std::vector<sim::entry_id>{0x100000100});
    EXPECT_EQ(ioreg::parents(d, 0x100000198), (std::vector<sim::entry_id>{0x1000001c6, 0x100000116}));
    // Printed twice under its one parent, the user client still hangs there once.
    EXPECT_EQ(ioreg::parents(d, 0x1000002c3), std::vector<sim::entry_id>{0x100000198});
    EXPECT_TRUE(std::ranges::all_of(d.entries, [](auto const& e) { return e.properties.empty(); }));
}

TEST_F(ioreg_shared_dump, pre_el_capitan_usb_matches_after_a_prompt_with_clipped_lines)
{
    auto const d = read("osx-pre10.11-imac-ioreg-Src-IOUSBDevice.txt");
    EXPECT_EQ(d.entries.size(), 74u);
    EXPECT_EQ(d.tops.size(), 12u) << "one top per match";
    EXPECT_EQ(d.tops.front(), 0x100000242u);

    auto const& receiver = ioreg::entry(d, 0x1000002a2);
    EXPECT_EQ(receiver.name, "IR Receiver");
    EXPECT_EQ(receiver.location, "4500000");
    EXPECT_EQ(*ioreg::property(receiver, "PortNum"), sim::value(sim::number{5, 32}));
    EXPECT_EQ(*ioreg::property(receiver, "locationID"), sim::value(sim::number{0x4500000, 32}));
    EXPECT_EQ(*ioreg::property(receiver, "non-removable"), sim::value(std::string("yes")));

    // The three clipped header lines were cut after the entry ID.
    EXPECT_EQ(ioreg::entry(d, 0x1000002f5).class_name, "BroadcomBluetoothHostControllerUSBTransport");
    EXPECT_EQ(ioreg::entry(d, 0x100000265).class_name, "com_apple_driver_AppleUSBCardReaderUMC");
    EXPECT_EQ(ioreg::entry(d, 0x100000270).class_name, "com_apple_driver_AppleUSBCardReaderSBC");
    EXPECT_EQ(ioreg::parents(d, 0x10000027e),
              (std::vector<sim::entry_id>{0x10000029f, 0x10000029e, 0x100000323, 0x100000324, 0x100000322}));
}

TEST_F(ioreg_shared_dump, class_chain_listings_are_not_registry_dumps)
{
    for (auto const* name : {"macos11-intel-t2-macbookair9,1-class-chains.txt", "macos11-m1-macbookair10,1-class-chains.txt",
                             "macos13-m1pro-macbookpro18,3-class-chains.txt"})
    {
        auto const message = ioreg::dump_error_of([&] { sim::read_dump_file(shared_dir / name); });
        EXPECT_NE(message.find(name), std::string::npos) << message;
        EXPECT_NE(message.find(": line 1: this is a listing of class chains"), std::string::npos) << message;
    }
}

// --- the same registry through the XML form -------------------------------------

std::string escaped(std::string_view text)
{
    std::string out;
    for (char const c : text)
        out += c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '>' ? "&gt;" : std::string(1, c);
    return out;
}

std::string base64(sim::data const& bytes)
{
    using namespace boost::archive::iterators;
    using encoder = base64_from_binary<transform_width<sim::data::const_iterator, 6, 8>>;
    std::string out(encoder(bytes.begin()), encoder(bytes.end()));
    return out.append((3 - bytes.size() % 3) % 3, '=');
}

// A value in the XML property-list form.
std::string xml_of(sim::value const& v)
{
    return std::visit(
        [](auto const& x) -> std::string {
            using T = std::decay_t<decltype(x)>;
            if constexpr (std::is_same_v<T, bool>)
                return x ? "<true/>" : "<false/>";
            else if constexpr (std::is_same_v<T, sim::number>)
                return "<integer>" + std::to_string(x.bits) + "</integer>";
            else if constexpr (std::is_same_v<T, double>)
                return "<real>" + std::to_string(x) + "</real>";
            else if constexpr (std::is_same_v<T, std::string>)
                return "<string>" + escaped(x) + "</string>";
            else if constexpr (std::is_same_v<T, sim::data>)
                return "<data>" + base64(x) + "</data>";
            else if constexpr (std::is_same_v<T, sim::dictionary>)
            {
                std::string out = "<dict>";
                for (auto const& [key, item] : x)
                    out += "<key>" + escaped(key) + "</key>" + xml_of(item) + "\n";
                return out + "</dict>\n";
            }
            else if constexpr (std::is_same_v<T, sim::array>)
            {
                std::string out = "<array>";
                for (auto const& item : x)
                    out += xml_of(item);
                return out + "</array>";
            }
            else
            {
                ADD_FAILURE() << "XML has no sets";
                return {};
            }
        },
        v.content);
}

// An entry the way `ioreg -a` writes it: under each of its parents, with its subtree.
sim::dictionary as_xml_entry(sim::dump const& d, sim::entry_id id)
{
    auto const& e = ioreg::entry(d, id);
    sim::dictionary out{{"IOObjectClass", e.class_name},
                        {"IORegistryEntryID", sim::number{static_cast<std::int64_t>(e.id), 64}},
                        {"IORegistryEntryName", e.name}};
    if (e.location)
        out.emplace_back("IORegistryEntryLocation", *e.location);
    out.insert(out.end(), e.properties.begin(), e.properties.end());
    sim::array children;
    for (auto const child : ioreg::children(d, id))
        children.emplace_back(as_xml_entry(d, child));
    if (!children.empty())
        out.emplace_back("IORegistryEntryChildren", std::move(children));
    return out;
}

// XML keeps no widths: numbers compare by value.
sim::value without_widths(sim::value v)
{
    if (auto* n = std::get_if<sim::number>(&v.content))
        n->width = 0;
    else if (auto* items = std::get_if<sim::array>(&v.content))
        for (auto& item : *items)
            item = without_widths(item);
    else if (auto* dictionary = std::get_if<sim::dictionary>(&v.content))
        for (auto& item : *dictionary)
            item.second = without_widths(item.second);
    return v;
}

TEST_F(ioreg_shared_dump, the_xml_form_of_a_dump_reads_as_the_same_registry)
{
    auto const from_text = read("macos13-intel-hackintosh-ioreg-l.txt");
    auto const from_xml = sim::read_ioreg_xml("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n" +
                                              xml_of(as_xml_entry(from_text, from_text.tops.at(0))) + "</plist>\n");
    EXPECT_EQ(from_xml.links, from_text.links);
    EXPECT_EQ(from_xml.tops, from_text.tops);
    ASSERT_EQ(from_xml.entries.size(), from_text.entries.size());
    for (std::size_t i = 0; i < from_text.entries.size(); ++i)
    {
        auto const& expected = from_text.entries[i];
        auto const& actual = from_xml.entries[i];
        ASSERT_EQ(actual.id, expected.id);
        EXPECT_EQ(std::tie(actual.name, actual.class_name, actual.location),
                  std::tie(expected.name, expected.class_name, expected.location));
        EXPECT_EQ(without_widths(actual.properties), without_widths(expected.properties)) << expected.name;
    }
}

} // namespace
