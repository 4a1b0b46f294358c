// Tests of report descriptor parsing: real Macs' descriptors against their published report sizes, the
// layout of fields, collections and reports, find(), and the byte and item named for each malformed input.
#include "hid/hex_bytes.hpp"
#include "hid/report_descriptor.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace plinth::apple;
using plinth::testing::from_hex;

constexpr auto input = hid_report_type::input;
constexpr auto output = hid_report_type::output;
constexpr auto feature = hid_report_type::feature;

hid_report_descriptor parse_hex(std::string_view hex)
{
    return hid_report_descriptor::parse(from_hex(hex));
}

std::vector<hid_usage_range> ranges(std::initializer_list<std::pair<std::uint32_t, std::uint32_t>> list)
{
    std::vector<hid_usage_range> out;
    for (auto [first, last] : list)
        out.push_back({first, last});
    return out;
}

// A HID device of an `ioreg -l` dump: its descriptor and the report sizes it publishes beside it.
struct dumped_device
{
    int line = 0;
    std::vector<std::uint8_t> descriptor;
    std::map<hid_report_type, std::size_t> max_sizes;
};

std::vector<dumped_device> hid_devices_of_dump(std::string const& path)
{
    std::ifstream file(path);
    std::regex const descriptor_line(R"re("ReportDescriptor" = <([0-9a-f]+)>)re");
    std::regex const size_line(R"re("Max(Input|Output|Feature)ReportSize" = (\d+))re");
    // Each entry's properties sit between a line of the tree's rules and "{" and one that closes it.
    std::regex const block_start(R"re(^[ |]*\{$)re");
    std::regex const block_end(R"re(^[ |]*\}$)re");
    std::vector<dumped_device> devices;
    std::optional<dumped_device> entry;
    std::string line;
    for (int number = 1; std::getline(file, line); ++number)
    {
        std::smatch match;
        if (std::regex_match(line, block_start))
            entry = dumped_device{number, {}, {}};
        else if (entry && std::regex_match(line, block_end))
        {
            if (!entry->descriptor.empty())
                devices.push_back(*entry);
            entry.reset();
        }
        else if (entry && std::regex_search(line, match, descriptor_line))
            entry->descriptor = from_hex(match[1].str());
        else if (entry && std::regex_search(line, match, size_line))
        {
            auto const type = match[1] == "Input" ? input : match[1] == "Output" ? output : feature;
            entry->max_sizes[type] = std::stoul(match[2].str());
        }
    }
    return devices;
}

TEST(report_descriptor_of_real_macs, gives_the_report_sizes_each_device_publishes)
{
    std::filesystem::path const dump(PLINTH_SHARED_IOREG_DIR "/macos13-intel-hackintosh-ioreg-l.txt");
    if (!std::filesystem::is_regular_file(dump))
        GTEST_SKIP() << "no shared dump at " << dump;
    auto const devices = hid_devices_of_dump(PLINTH_SHARED_IOREG_DIR "/macos13-intel-hackintosh-ioreg-l.txt");
    // A keyboard and a mouse, each as two drivers publish them, in two places of the tree.
    ASSERT_EQ(devices.size(), 8u);
    for (auto const& device : devices)
    {
        SCOPED_TRACE("entry at line " + std::to_string(device.line));
        auto const descriptor = hid_report_descriptor::parse(device.descriptor);
        ASSERT_EQ(device.max_sizes.size(), 3u);
        for (auto const& [type, size] : device.max_sizes)
            EXPECT_EQ(descriptor.max_report_size(type), size) << to_string(type);
    }
}

TEST(report_descriptor_of_real_macs, keeps_a_field_of_no_items_and_reads_the_mouse_axes_signed)
{
    // The mouse: 8 buttons, an Input of Report Count 0, then X, Y, wheel and AC Pan of 16 bits.
    auto const descriptor = parse_hex("05010902a1010509190129081500250195087501810295007501810005010901a1000930093116"
                                      "018026ff7f3600004600006500550009327510950381069501751016018026ff7f09388106c0c0");
    auto const& fields = descriptor.fields();
    ASSERT_EQ(fields.size(), 4u);
    EXPECT_EQ(fields[1].count, 0u);
    EXPECT_EQ(fields[1].bit_offset, 8u);
    EXPECT_EQ(fields[2].bit_offset, 8u);
    EXPECT_EQ(fields[2].usages, ranges({{0x10030, 0x10030}, {0x10031, 0x10031}, {0x10032, 0x10032}}));
    EXPECT_EQ(fields[2].logical_minimum, -32767);
    EXPECT_EQ(fields[2].logical_maximum, 32767);
    EXPECT_TRUE(fields[2].is_signed());
    EXPECT_TRUE(fields[2].flags.is_relative());
    EXPECT_EQ(fields[3].bit_offset, 56u);
    EXPECT_EQ(fields[3].usages, ranges({{0x10038, 0x10038}}));
    EXPECT_EQ(descriptor.reports().size(), 1u);
    EXPECT_EQ(descriptor.reports()[0].fields, (std::vector<std::size_t>{0, 1, 2, 3}));
    EXPECT_FALSE(descriptor.numbers_reports());
}

// The descriptors of the bundled registry, as its generator writes them.
std::vector<std::uint8_t> bundled_descriptor(std::string const& name)
{
    std::ifstream file(PLINTH_SOURCE_DIR "/sim/bundled/generate_registry.py");
    std::stringstream text;
    text << file.rdbuf();
    std::smatch match;
    std::string const source = text.str();
    if (!std::regex_search(source, match, std::regex(name + R"re( = bytes\.fromhex\(([^)]*)\))re")))
        return {};
    std::string hex;
    std::string const strings = match[1].str();
    std::regex const quoted(R"re("([0-9a-fA-F]*)")re");
    for (std::sregex_iterator it(strings.begin(), strings.end(), quoted), end; it != end; ++it)
        hex += (*it)[1].str();
    return from_hex(hex);
}

TEST(report_descriptor_of_the_bundled_registry, gives_the_sizes_its_devices_publish)
{
    struct case_t
    {
        char const* name;
        std::size_t input_size;
        std::size_t output_size;
        std::size_t feature_size;
    };
    for (auto const& c : {case_t{"KEYBOARD_DESCRIPTOR", 8, 1, 0}, case_t{"MOUSE_DESCRIPTOR", 4, 0, 0},
                          case_t{"CONSUMER_DESCRIPTOR", 2, 0, 0}, case_t{"VENDOR_DESCRIPTOR", 64, 64, 8},
                          case_t{"GAMEPAD_DESCRIPTOR", 7, 0, 0}})
    {
        SCOPED_TRACE(c.name);
        auto const bytes = bundled_descriptor(c.name);
        ASSERT_FALSE(bytes.empty());
        auto const descriptor = hid_report_descriptor::parse(bytes);
        EXPECT_EQ(descriptor.max_report_size(input), c.input_size);
        EXPECT_EQ(descriptor.max_report_size(output), c.output_size);
        EXPECT_EQ(descriptor.max_report_size(feature), c.feature_size);
    }
}

TEST(report_descriptor_of_the_bundled_registry, lays_out_the_boot_keyboard)
{
    auto const descriptor = hid_report_descriptor::parse(bundled_descriptor("KEYBOARD_DESCRIPTOR"));
    auto const& fields = descriptor.fields();
    ASSERT_EQ(fields.size(), 5u);

    auto const& modifiers = fields[0];
    EXPECT_EQ(modifiers.type, input);
    EXPECT_EQ(modifiers.bit_offset, 0u);
    EXPECT_EQ(modifiers.bit_size, 1u);
    EXPECT_EQ(modifiers.count, 8u);
    EXPECT_TRUE(modifiers.flags.is_variable());
    EXPECT_EQ(modifiers.usages, ranges({{0x700E0, 0x700E7}}));
    EXPECT_EQ(modifiers.usage_of_item(7), (hid_usage{7, 0xE7}));

    auto const& reserved = fields[1];
    EXPECT_EQ(reserved.bit_offset, 8u);
    EXPECT_EQ(reserved.bit_size, 8u);
    EXPECT_TRUE(reserved.is_padding());

    auto const& leds = fields[2];
    EXPECT_EQ(leds.type, output);
    EXPECT_EQ(leds.bit_offset, 0u);
    EXPECT_EQ(leds.count, 5u);
    EXPECT_EQ(leds.usages, ranges({{0x80001, 0x80005}}));
    auto const& led_padding = fields[3];
    EXPECT_EQ(led_padding.type, output);
    EXPECT_EQ(led_padding.bit_offset, 5u);
    EXPECT_EQ(led_padding.bit_size, 3u);
    EXPECT_TRUE(led_padding.is_padding());

    auto const& keys = fields[4];
    EXPECT_EQ(keys.type, input);
    EXPECT_EQ(keys.bit_offset, 16u);
    EXPECT_EQ(keys.bit_size, 8u);
    EXPECT_EQ(keys.count, 6u);
    EXPECT_TRUE(keys.flags.is_array());
    EXPECT_EQ(keys.logical_maximum, 0x65);
    EXPECT_EQ(keys.usage_of_value(4), (hid_usage{7, 4}));
    EXPECT_EQ(keys.usage_of_value(0x66), std::nullopt);
    EXPECT_EQ(keys.bit_end(), 64u);

    ASSERT_EQ(descriptor.collections().size(), 1u);
    EXPECT_EQ(descriptor.collections()[0].usage, (hid_usage{1, 6}));
    EXPECT_EQ(descriptor.collections()[0].type, 1);
    for (auto const& f : fields)
        EXPECT_EQ(f.collection, 0u);

    auto const& reports = descriptor.reports();
    ASSERT_EQ(reports.size(), 2u);
    EXPECT_EQ(reports[0].type, input);
    EXPECT_EQ(reports[0].fields, (std::vector<std::size_t>{0, 1, 4}));
    EXPECT_EQ(reports[1].type, output);
    EXPECT_EQ(reports[1].bit_size, 8u);

    // An array field's ref names the usage by its position among the field's usages.
    EXPECT_EQ(descriptor.find(input, {7, 4}), (hid_field_ref{4, 4}));
    EXPECT_EQ(descriptor.find(input, {7, 0xE1}), (hid_field_ref{0, 1}));
    EXPECT_EQ(descriptor.find(output, {8, 2}), (hid_field_ref{2, 1}));
    EXPECT_EQ(descriptor.find(input, {8, 2}), std::nullopt);
    EXPECT_EQ(descriptor.find(input, {7, 0x66}), std::nullopt);
}

TEST(report_descriptor, nests_collections_and_finds_a_usage_within_a_subtree)
{
    auto const descriptor = parse_hex("05 01 09 02 A1 01" // Application: Mouse
                                      "  09 01 A1 00"     // Physical: Pointer
                                      "    05 09 19 01 29 03 15 00 25 01 75 01 95 03 81 02"
                                      "    75 05 95 01 81 01" // padding
                                      "    05 01 09 30 09 31 15 81 25 7F 75 08 95 02 81 06"
                                      "  C0"
                                      "  A1 02" // Logical, no usage
                                      "    09 31 09 30 15 00 26 FF 00 75 08 95 02 81 02"
                                      "  C0"
                                      "C0"
                                      "09 30 75 08 95 01 81 02"); // at the top level
    auto const& collections = descriptor.collections();
    ASSERT_EQ(collections.size(), 3u);
    EXPECT_EQ(collections[0].parent, hid_collection::no_parent);
    EXPECT_EQ(collections[0].depth, 0u);
    EXPECT_EQ(collections[0].offset, 4u);
    EXPECT_EQ(collections[1].parent, 0u);
    EXPECT_EQ(collections[1].depth, 1u);
    EXPECT_EQ(collections[1].usage, (hid_usage{1, 1}));
    EXPECT_EQ(collections[1].type, 0);
    EXPECT_EQ(collections[2].parent, 0u);
    EXPECT_EQ(collections[2].usage, (hid_usage{0, 0}));
    EXPECT_EQ(collections[2].type, 2);

    auto const& fields = descriptor.fields();
    ASSERT_EQ(fields.size(), 5u);
    EXPECT_EQ(fields[0].collection, 1u);
    EXPECT_EQ(fields[1].bit_offset, 3u);
    EXPECT_EQ(fields[2].bit_offset, 8u);
    EXPECT_EQ(fields[3].collection, 2u);
    EXPECT_EQ(fields[3].bit_offset, 24u);
    EXPECT_EQ(fields[4].collection, hid_collection::no_parent);
    EXPECT_EQ(fields[4].offset, fields[3].offset + 10);

    hid_usage const x{1, 0x30};
    hid_usage const y{1, 0x31};
    EXPECT_EQ(descriptor.find(input, x), (hid_field_ref{2, 0}));
    EXPECT_EQ(descriptor.find(input, x, 0), (hid_field_ref{2, 0}));
    EXPECT_EQ(descriptor.find(input, x, 1), (hid_field_ref{2, 0}));
    EXPECT_EQ(descriptor.find(input, x, 2), (hid_field_ref{3, 1}));
    EXPECT_EQ(descriptor.find(input, y, 2), (hid_field_ref{3, 0}));
    EXPECT_EQ(descriptor.find(input, {9, 2}, 2), std::nullopt);
    EXPECT_EQ(descriptor.find(input, {9, 2}, 1), (hid_field_ref{0, 1}));
    EXPECT_EQ(descriptor.find(input, x, 7), std::nullopt);
}

TEST(report_descriptor, restores_the_global_items_at_pop)
{
    auto const descriptor = parse_hex("05 01 15 81 25 7F 75 08 95 01 55 0E"
                                      "A4 05 09 15 00 25 01 75 01 95 08 55 00 19 01 29 08 81 02 B4"
                                      "09 30 81 06");
    auto const& fields = descriptor.fields();
    ASSERT_EQ(fields.size(), 2u);
    EXPECT_EQ(fields[0].usages, ranges({{0x90001, 0x90008}}));
    EXPECT_EQ(fields[0].logical_minimum, 0);
    EXPECT_EQ(fields[1].usages, ranges({{0x10030, 0x10030}}));
    EXPECT_EQ(fields[1].bit_offset, 8u);
    EXPECT_EQ(fields[1].bit_size, 8u);
    EXPECT_EQ(fields[1].count, 1u);
    EXPECT_EQ(fields[1].logical_minimum, -127);
    EXPECT_EQ(fields[1].logical_maximum, 127);
    EXPECT_EQ(fields[1].unit_exponent, -2);
    EXPECT_EQ(fields[1].collection, hid_collection::no_parent);
}

TEST(report_descriptor, keeps_usages_as_ranges_in_order_with_extended_usages_on_their_own_pages)
{
    // X; Button 1 as a four-byte usage; Usage Minimum/Maximum on page 1; AC Pan as two bytes on page 0x0C.
    auto const descriptor = parse_hex("05 01 09 30 0B 01 00 09 00 19 01 29 02 05 0C 0A 38 02"
                                      "15 00 25 0F 75 04 95 07 81 02"
                                      "1B 00 00 00 00 2B FF FF FF FF 95 01 81 00"); // every usage there is
    auto const& fields = descriptor.fields();
    ASSERT_EQ(fields.size(), 2u);
    EXPECT_EQ(fields[0].usages,
              ranges({{0x10030, 0x10030}, {0x90001, 0x90001}, {0x10001, 0x10002}, {0xC0238, 0xC0238}}));
    EXPECT_EQ(fields[0].usage_of_item(1), (hid_usage{9, 1}));
    EXPECT_EQ(fields[0].usage_of_item(3), (hid_usage{1, 2}));
    EXPECT_EQ(fields[0].usage_of_item(6), (hid_usage{0x0C, 0x238})); // the last usage repeats
    EXPECT_EQ(fields[0].usage_of_item(7), std::nullopt);
    EXPECT_EQ(fields[1].usages, ranges({{0, 0xFFFFFFFF}}));
    EXPECT_EQ(fields[1].usages[0].size(), 0x100000000u);

    EXPECT_EQ(descriptor.find(input, {1, 2}), (hid_field_ref{0, 3}));
    EXPECT_EQ(descriptor.find(input, {0x0C, 0x238}), (hid_field_ref{0, 4}));
    // The array's logical range (0..15) selects only its first 16 usages.
    EXPECT_EQ(descriptor.find(input, {0, 15}), (hid_field_ref{1, 15}));
    EXPECT_EQ(descriptor.find(input, {0, 16}), std::nullopt);
    EXPECT_EQ(descriptor.find(input, {1, 0x30}), (hid_field_ref{0, 0}));
}

TEST(report_descriptor, reads_minimum_and_maximum_signed_or_unsigned_by_the_minimum)
{
    struct case_t
    {
        char const* globals;
        std::int32_t minimum;
        std::int32_t maximum;
    };
    for (auto const& c : {
             case_t{"15 00 25 FF", 0, 255},
             case_t{"15 81 25 7F", -127, 127},
             case_t{"15 FF 25 01", -1, 1},
             case_t{"25 FF 15 F6", -10, -1}, // the maximum's sign follows the minimum in effect at the Main item
             case_t{"16 00 80 26 FF 7F", -32768, 32767},
             case_t{"15 00 26 FF FF", 0, 65535},
             case_t{"17 00 00 00 80 27 FF FF FF 7F", INT32_MIN, INT32_MAX},
             case_t{"15 00 27 FF FF FF FF", 0, INT32_MAX}, // past int32_t: its largest value
             case_t{"14 24", 0, 0},
         })
    {
        SCOPED_TRACE(c.globals);
        auto const descriptor = parse_hex(std::string(c.globals) + "75 20 95 01 09 30 81 02");
        ASSERT_EQ(descriptor.fields().size(), 1u);
        EXPECT_EQ(descriptor.fields()[0].logical_minimum, c.minimum);
        EXPECT_EQ(descriptor.fields()[0].logical_maximum, c.maximum);
    }

    auto const physical = parse_hex("35 00 46 FF 00 75 08 95 01 81 02 35 F6 45 0A 81 02").fields();
    EXPECT_EQ(physical[0].physical_maximum, 255);
    EXPECT_EQ(physical[1].physical_minimum, -10);
    EXPECT_EQ(physical[1].physical_maximum, 10);
}

TEST(report_descriptor, reads_the_unit_exponent_from_its_low_nibble)
{
    for (auto const& [item, exponent] : std::vector<std::pair<char const*, int>>{
             {"55 0F", -1}, {"55 FE", -2}, {"55 07", 7}, {"55 08", -8}, {"55 F8", -8}, {"56 0D 00", -3}, {"54", 0}})
    {
        auto const descriptor = parse_hex(std::string(item) + "66 11 F0 75 08 95 01 81 01");
        EXPECT_EQ(descriptor.fields()[0].unit_exponent, exponent) << item;
        EXPECT_EQ(descriptor.fields()[0].unit, 0xF011u) << item;
    }
}

TEST(report_descriptor, accumulates_bits_per_report_type_and_id)
{
    auto const descriptor = parse_hex("05 01 09 02 A1 01"
                                      "85 01 05 09 19 01 29 03 15 00 25 01 75 01 95 03 81 02 75 05 95 01 81 03"
                                      "85 02 05 01 09 38 15 81 25 7F 75 08 95 01 81 06"
                                      "85 01 09 30 09 31 95 02 81 06" // back in input report 1: after its 8 bits
                                      "85 01 09 3B 95 01 91 02"       // output report 1 starts from bit 0
                                      "85 03 06 00 FF 09 01 15 00 26 FF 00 95 04 B1 02"
                                      "C0");
    EXPECT_TRUE(descriptor.numbers_reports());
    auto const& fields = descriptor.fields();
    ASSERT_EQ(fields.size(), 6u);
    EXPECT_EQ(fields[2].report_id, 2u);
    EXPECT_EQ(fields[2].bit_offset, 0u);
    EXPECT_EQ(fields[3].report_id, 1u);
    EXPECT_EQ(fields[3].bit_offset, 8u);
    EXPECT_EQ(fields[4].type, output);
    EXPECT_EQ(fields[4].bit_offset, 0u);

    auto const& reports = descriptor.reports();
    ASSERT_EQ(reports.size(), 4u);
    EXPECT_EQ((std::pair{reports[0].type, reports[0].id}), (std::pair{input, std::uint8_t{1}}));
    EXPECT_EQ((std::pair{reports[1].type, reports[1].id}), (std::pair{input, std::uint8_t{2}}));
    EXPECT_EQ((std::pair{reports[2].type, reports[2].id}), (std::pair{output, std::uint8_t{1}}));
    EXPECT_EQ((std::pair{reports[3].type, reports[3].id}), (std::pair{feature, std::uint8_t{3}}));
    EXPECT_EQ(reports[0].fields, (std::vector<std::size_t>{0, 1, 3}));
    EXPECT_EQ(reports[0].bit_size, 24u);
    EXPECT_EQ(reports[0].byte_size(), 4u); // the report ID byte included
    EXPECT_EQ(descriptor.report(input, 2)->byte_size(), 2u);
    EXPECT_EQ(descriptor.report(input, 3), nullptr);
    EXPECT_EQ(descriptor.max_report_size(input), 4u);
    EXPECT_EQ(descriptor.max_report_size(output), 2u);
    EXPECT_EQ(descriptor.max_report_size(feature), 5u);
}

TEST(report_descriptor, counts_only_the_first_usage_of_a_delimiter_set)
{
    auto const descriptor = parse_hex("A9 01 05 01 09 02 09 01 A9 00 A1 01"   // the collection's usage: 1:2
                                      "  A9 01 09 30 09 31 19 01 29 05 A9 00" // X stands for the set
                                      "  09 32 A9 01 19 40 29 41 09 33 A9 00" // Z, then the range 1:40..41
                                      "  75 08 95 04 81 02"
                                      "C0");
    EXPECT_EQ(descriptor.collections()[0].usage, (hid_usage{1, 2}));
    EXPECT_EQ(descriptor.fields()[0].usages, ranges({{0x10030, 0x10030}, {0x10032, 0x10032}, {0x10040, 0x10041}}));
}

TEST(report_descriptor, skips_long_items_and_reserved_tags_and_clears_local_items_at_each_main_item)
{
    auto const descriptor = parse_hex("FE 02 10 AA BB 05 01 FE 00 11 F5 12 FC 09 30"
                                      "D1 00"                   // a reserved Main tag: not a Main item
                                      "75 08 95 01 81 02 81 02" // the second Input has no usage left
                                      "09 31 A1 00 C0 81 02 FE 03 00 01 02 03");
    auto const& fields = descriptor.fields();
    ASSERT_EQ(fields.size(), 3u);
    EXPECT_EQ(fields[0].usages, ranges({{0x10030, 0x10030}}));
    EXPECT_TRUE(fields[1].usages.empty());
    EXPECT_FALSE(fields[1].is_padding()); // data, though it says nothing
    EXPECT_TRUE(fields[2].usages.empty());
    EXPECT_EQ(descriptor.collections()[0].usage, (hid_usage{1, 0x31}));
    EXPECT_EQ(descriptor.max_report_size(input), 3u);
}

TEST(report_descriptor, parses_the_empty_descriptor_and_keeps_wide_constant_fields)
{
    auto const empty = hid_report_descriptor::parse({});
    EXPECT_TRUE(empty.fields().empty());
    EXPECT_TRUE(empty.reports().empty());
    EXPECT_EQ(empty.max_report_size(input), 0u);
    EXPECT_EQ(empty, hid_report_descriptor());

    // Padding may be of any size; data items of no bits are fine when there are none.
    auto const padding = parse_hex("75 28 95 02 81 01 75 00 95 00 81 02 75 00 95 03 81 03");
    EXPECT_EQ(padding.max_report_size(input), 10u);
    EXPECT_EQ(padding, parse_hex("75 28 95 02 81 01 75 00 95 00 81 02 75 00 95 03 81 03"));
    EXPECT_NE(padding, parse_hex("75 28 95 02 81 01"));

    // A report of exactly 64 KiB, in each of two types.
    auto const largest = parse_hex("75 20 96 00 40 81 01 91 01");
    EXPECT_EQ(largest.max_report_size(input), 65536u);
    EXPECT_EQ(largest.max_report_size(output), 65536u);
}

struct malformed_case
{
    char const* name;
    char const* hex;
    std::size_t offset;
    std::uint8_t prefix;
    char const* problem_part;
};

class report_descriptor_malformed : public ::testing::TestWithParam<malformed_case>
{
};

TEST_P(report_descriptor_malformed, is_rejected_naming_the_byte_and_the_item)
{
    auto const& c = GetParam();
    auto const bytes = from_hex(c.hex);
    try
    {
        (void)hid_report_descriptor::parse(bytes);
        ADD_FAILURE() << "parsed";
    }
    catch (hid_descriptor_error const& e)
    {
        EXPECT_EQ(e.code(), hid_errc::bad_report_descriptor);
        EXPECT_EQ(e.problem().offset, c.offset);
        EXPECT_EQ(e.problem().prefix, c.prefix);
        EXPECT_NE(e.problem().problem.find(c.problem_part), std::string::npos) << e.problem().problem;
        EXPECT_TRUE(std::string(e.what()).starts_with(e.problem().message())) << e.what();
    }

    boost::system::error_code ec;
    hid_descriptor_problem problem;
    auto const descriptor = hid_report_descriptor::parse(bytes, ec, &problem);
    EXPECT_EQ(ec, hid_errc::bad_report_descriptor);
    EXPECT_EQ(problem.offset, c.offset);
    EXPECT_EQ(problem.prefix, c.prefix);
    EXPECT_EQ(descriptor, hid_report_descriptor());
    hid_report_descriptor::parse(bytes, ec); // no problem asked for
    EXPECT_EQ(ec, hid_errc::bad_report_descriptor);
}

INSTANTIATE_TEST_SUITE_P(
    every_fault, report_descriptor_malformed,
    ::testing::Values(
        malformed_case{"truncated_item", "05 01 26 FF", 2, 0x26, "past the end"},
        malformed_case{"truncated_four_byte_item", "05 01 27 FF FF FF", 2, 0x27, "past the end"},
        malformed_case{"truncated_long_item", "05 01 FE 05 10 AA", 2, 0xFE, "past the end"},
        malformed_case{"long_item_without_its_header", "05 01 FE 01", 2, 0xFE, "past the end"},
        malformed_case{"pop_without_push", "05 01 A4 B4 B4", 4, 0xB4, "Pop without a Push"},
        malformed_case{"end_collection_without_collection", "09 01 A1 01 C0 C0", 5, 0xC0, "without a Collection"},
        malformed_case{"collection_left_open", "05 01 09 02 A1 01 09 01 A1 00 C0", 4, 0xA1, "never closed"},
        malformed_case{"inner_collection_left_open", "A1 01 A1 00", 2, 0xA1, "never closed"},
        malformed_case{"variable_of_no_bits", "75 00 95 01 09 30 81 02", 6, 0x81, "Report Size 0"},
        malformed_case{"variable_of_33_bits", "75 21 95 01 09 30 B1 02", 6, 0xB1, "Report Size 33"},
        malformed_case{"array_of_33_bits", "75 21 95 01 19 00 29 10 81 00", 8, 0x81, "Report Size 33"},
        malformed_case{"report_past_64_kib", "75 20 96 00 40 81 01 75 01 95 01 81 01", 11, 0x81, "64 KiB"},
        malformed_case{"report_of_2_to_the_38_bits", "77 00 00 08 00 97 00 00 08 00 91 01", 10, 0x91, "64 KiB"},
        malformed_case{"numbered_report_past_64_kib", "85 07 75 20 96 00 40 81 01 85 08 81 01 85 07 81 01", 15, 0x81,
                       "input report 7"},
        malformed_case{"usage_minimum_without_maximum", "05 09 19 01 75 01 95 01 81 02", 2, 0x19,
                       "Usage Minimum without a Usage Maximum"},
        malformed_case{"usage_maximum_without_minimum", "05 09 09 01 29 03 A1 01 C0", 4, 0x29,
                       "Usage Maximum without a Usage Minimum"},
        malformed_case{"two_usage_minimums", "05 09 19 01 19 02 29 03", 2, 0x19, "Usage Minimum without"},
        malformed_case{"usage_minimum_above_maximum", "05 09 19 05 29 01", 4, 0x29, "above Usage Maximum"},
        malformed_case{"extended_minimum_above_maximum", "1B 01 00 09 00 2B 01 00 01 00", 5, 0x2B, "above"},
        malformed_case{"report_id_0", "05 01 85 00", 2, 0x85, "Report ID 0"},
        malformed_case{"report_id_256", "86 00 01", 0, 0x86, "Report ID 256"},
        malformed_case{"report_count_past_64_kib", "97 01 00 08 00", 0, 0x97, "Report Count 524289"},
        malformed_case{"report_size_past_64_kib", "77 01 00 08 00", 0, 0x77, "Report Size 524289"}),
    [](auto const& test) { return std::string(test.param.name); });

TEST(report_descriptor_malformed_message, names_the_byte_the_prefix_and_the_item)
{
    EXPECT_EQ((hid_descriptor_problem{12, 0xB4, "Pop without a Push"}.message()),
              "byte 12, item 0xB4 (Pop): Pop without a Push");
    EXPECT_EQ((hid_descriptor_problem{0, 0x2B, "x"}.message()), "byte 0, item 0x2B (Usage Maximum): x");
    EXPECT_EQ((hid_descriptor_problem{3, 0xFE, "x"}.message()), "byte 3, item 0xFE (Long item): x");
    EXPECT_EQ((hid_descriptor_problem{3, 0xF1, "x"}.message()), "byte 3, item 0xF1 (Reserved item): x");

    boost::system::error_code ec = hid_errc::bad_report_descriptor;
    hid_descriptor_problem problem{1, 2, "stale"};
    auto const descriptor = hid_report_descriptor::parse(from_hex("05 01 09 30 75 08 95 01 81 02"), ec, &problem);
    EXPECT_FALSE(ec);
    EXPECT_EQ(descriptor.fields().size(), 1u);
}

} // namespace
