// Tests of the `ioreg` text loader.
#include "sim/control/loaders.hpp"

#include "sim/ioreg_test_support.hpp"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

namespace sim = plinth::sim;
namespace ioreg = plinth::testing::ioreg;
using namespace std::string_view_literals;
using ioreg::bytes;
using ioreg::dump_error_of;

// The value of one property, printed as `ioreg -l` prints it.
sim::value read_value(std::string const& printed)
{
    auto const d = sim::read_ioreg_text("+-o Root  <class IORegistryEntry, id 0x100000100, retain 4>\n"
                                        "    {\n"
                                        "      \"key\" = " +
                                        printed +
                                        "\n"
                                        "    }\n");
    return d.entries.at(0).properties.at(0).second;
}

std::string value_error(std::string const& printed)
{
    return dump_error_of([&] { read_value(printed); });
}

TEST(ioreg_text_values, every_form_ioreg_prints)
{
    sim::dictionary const dictionary{
        {"n", sim::number{1, 32}},
        {"s", std::string("a,b")},
        {"quoted", std::string("say \"hi\"")},
        {"d", sim::data{0x01}},
        {"empty", sim::dictionary{}},
        {"list", sim::array{sim::number{2, 32}, std::string("x")}},
    };
    std::pair<std::string, sim::value> const cases[] = {
        // Numbers load at the width that prints them back the same: ioreg prints a
        // long long unsigned, so from 2^31 up the number it read was a 64-bit one.
        {"0", sim::number{0, 32}},
        {"1452", sim::number{1452, 32}},
        {"2147483647", sim::number{2147483647, 32}},
        {"2147483648", sim::number{2147483648, 64}},
        {"3221225472", sim::number{3221225472, 64}},
        {"4294967295", sim::number{4294967295, 64}},
        {"4294967296", sim::number{4294967296, 64}},
        {"18446744073709551615", sim::number{-1, 64}},
        {"-5", sim::make_number(-5)},
        {"Yes", true},
        {"No", false},
        {"\"\"", std::string()},
        // Strings are printed without escapes; the property's own string runs to the end of the line.
        {"\"\"IO80211Legacy\" = x\"", std::string("\"IO80211Legacy\" = x")},
        {"<86800000>", sim::data{0x86, 0x80, 0x00, 0x00}},
        {"<>", sim::data{}},
        {"<AbCd>", sim::data{0xab, 0xcd}},
        // Printable data is a list of NUL-terminated strings whose NULs ioreg leaves out.
        {"<\"Mac\">", bytes("Mac\0"sv)},
        {"<\"pci1028,c1d\",\"MC\">", bytes("pci1028,c1d\0MC\0"sv)},
        {"<\"<array><string>x</string></array>\">", bytes("<array><string>x</string></array>\0"sv)},
        {"{\"n\"=1,\"s\"=\"a,b\",\"quoted\"=\"say \"hi\"\",\"d\"=<01>,\"empty\"={},\"list\"=(2,\"x\")}", dictionary},
        {"()", sim::array{}},
        {"(18446744073709551615,0)", sim::array{sim::number{-1, 64}, sim::number{0, 32}}},
        {"((\"a\",\"b\"))", sim::array{sim::value(sim::array{std::string("a"), std::string("b")})}},
        {"(<\"a\">,<\"b\",\"c\">)", sim::array{bytes("a\0"sv), bytes("b\0c\0"sv)}},
        {"[1,Yes]", sim::set{{sim::number{1, 32}, true}}},
        // An object ioreg cannot show prints as nothing inside a collection.
        {"{\"Codec\"=,\"LayoutID\"=69}", sim::dictionary{{"Codec", std::string()}, {"LayoutID", sim::number{69, 32}}}},
    };
    for (auto const& [printed, expected] : cases)
        EXPECT_EQ(read_value(printed), expected) << printed;
}

TEST(ioreg_text_values, syntax_errors_name_the_line_the_key_and_the_column)
{
    EXPECT_EQ(value_error("<123>"), "line 3: the value of \"key\" does not read: the data has an odd number of "
                                    "hex digits (column 15)");
    std::pair<std::string, char const*> const cases[] = {
        {"<12g4>", "not a hex digit"},
        {"<0102", "not closed"},
        {"(1,2", "not closed with ')'"},
        {"{\"k\"=1\"x\"}", "expected ',' or '}'"},
        {"{k=1}", "quoted dictionary key"},
        {"(1;2)", "expected ',' or ')'"},
        {"(1)x", "unexpected text after the value"},
        {"maybe", "expected a value"},
        {"99999999999999999999", "does not fit in 64 bits"},
        {"\"open", "string is not closed"},
        {"(\"open)", "string is not closed"},
        {std::string(300, '(') + std::string(300, ')'), "nested more than"},
        // A deep plist: far deeper than the stack could take by recursion.
        {std::string(100'000, '(') + std::string(100'000, ')'), "nested more than"},
        {std::string(100'000, '[') + std::string(100'000, ']'), "nested more than"},
    };
    for (auto const& [printed, fragment] : cases)
    {
        auto const error = value_error(printed);
        EXPECT_TRUE(error.starts_with("line 3: the value of \"key\" does not read: ")) << error;
        EXPECT_NE(error.find(fragment), std::string::npos) << error;
    }
}

constexpr auto small_tree = R"(+-o Root  <class IORegistryEntry, id 0x100000100, retain 9>
  | {
  |   "IOKitBuildVersion" = "Darwin"
  | }
  | 
  +-o MacPro7,1  <class IOPlatformExpertDevice, id 0x100000113, registered, matched, active, busy 0 (48836 ms), retain 44>
    +-o AppleACPIPlatformExpert  <class AppleACPIPlatformExpert, id 0x100000114, registered, matched, active, busy 0 (8694 ms), retain 40>
    | +-o C000@0  <class IOACPIPlatformDevice, id 0x100000134, registered, matched, active, busy 0 (408 ms), retain 8>
    | |   {
    | |     "name" = <"CPU0">
    | |   }
    | |   
    | +-o OHCI Root Hub Simulation@4,1  <class IOUSBRootHubDevice, id 0x100000242, !registered, !matched, active, busy 0, retain 15>
    +-o IOResources  <class IOResources, id 0x100000115, registered, matched, active, busy 0 (0 ms), retain 30>
        {
          "IOKit" = "IOService"
        }
        
)";

TEST(ioreg_text_tree, entries_links_and_locations)
{
    auto const d = sim::read_ioreg_text(small_tree, "IOService");
    EXPECT_EQ(d.plane, "IOService");
    ASSERT_EQ(d.entries.size(), 6u);
    std::vector<sim::entry_id> ids;
    for (auto const& e : d.entries)
        ids.push_back(e.id);
    EXPECT_EQ(ids, (std::vector<sim::entry_id>{0x100000100, 0x100000113, 0x100000114, 0x100000134, 0x100000242,
                                               0x100000115}));
    using link = std::pair<sim::entry_id, sim::entry_id>;
    EXPECT_EQ(d.links, (std::vector<link>{{0x100000100, 0x100000113},
                                          {0x100000113, 0x100000114},
                                          {0x100000114, 0x100000134},
                                          {0x100000114, 0x100000242},
                                          {0x100000113, 0x100000115}}));
    EXPECT_EQ(d.tops, std::vector<sim::entry_id>{0x100000100});

    ioreg::expect_entry(d, 0x100000100, "IORegistryEntry", "Root", {}, {{"IOKitBuildVersion", std::string("Darwin")}});
    ioreg::expect_entry(d, 0x100000242, "IOUSBRootHubDevice", "OHCI Root Hub Simulation", "4,1");
    ioreg::expect_entry(d, 0x100000134, "IOACPIPlatformDevice", "C000", "0", {{"name", bytes("CPU0\0"sv)}});
    ioreg::expect_entry(d, 0x100000115, "IOResources", "IOResources", {}, {{"IOKit", std::string("IOService")}});
}

TEST(ioreg_text_tree, an_entry_printed_under_each_parent_is_one_entry_with_several_links)
{
    constexpr auto text = R"(+-o Root  <class IORegistryEntry, id 0x1, retain 9>
  +-o KeyboardDriver  <class IOHIDEventDriver, id 0x10, registered, matched, active, busy 0, retain 5>
  | +-o IOHIDSystem  <class IOHIDSystem, id 0x30, registered, matched, active, busy 0, retain 23>
  |   | {
  |   |   "first" = 1
  |   | }
  |   | 
  |   +-o IOHIDStackShotUserClient  <class IOHIDStackShotUserClient, id 0x31, !registered, !matched, active, busy 0, retain 5>
  +-o MouseDriver  <class IOHIDEventDriver, id 0x20, registered, matched, active, busy 0, retain 5>
    +-o IOHIDSystem  <class IOHIDSystem, id 0x30, registered, matched, active, busy 0, retain 22>
      | {
      |   "first" = 2
      |   "second" = Yes
      | }
      | 
      +-o IOHIDStackShotUserClient  <class IOHIDStackShotUserClient, id 0x31, !registered, !matched, active, busy 0, retain 5>
)";
    auto const d = sim::read_ioreg_text(text);
    EXPECT_EQ(d.entries.size(), 5u);
    EXPECT_EQ(ioreg::parents(d, 0x30), (std::vector<sim::entry_id>{0x10, 0x20}));
    EXPECT_EQ(ioreg::parents(d, 0x31), std::vector<sim::entry_id>{0x30}) << "a reprinted subtree adds no link";
    EXPECT_EQ(d.links.size(), 5u);
    // The first printing wins; a later one only adds what the first did not show.
    EXPECT_EQ(ioreg::entry(d, 0x30).properties, (sim::dictionary{{"first", sim::number{1, 32}}, {"second", true}}));
}

TEST(ioreg_text_tree, several_matches_after_a_shell_prompt_are_tops_unless_printed_inside_another)
{
    constexpr auto text =
        "kios-imac:dev kio$ ioreg -Src IOUSBDevice\r\n"
        "+-o IR Receiver@4500000  <class IOUSBDevice, id 0x1000002a2, registered, matched, active, busy 0 (621 ms), "
        "retain 10>\r\n"
        "  | {\r\n"
        "  |   \"PortNum\" = 5\r\n"
        "  | }\r\n"
        "  | \r\n"
        "  +-o IOUSBInterface@0  <class IOUSBInterface, id 0x1000002a5, registered, matched, active, busy 0 (527 ms), "
        "retain 9>\r\n"
        "\r\n"
        "+-o Keyboard Hub@4400000  <class IOUSBHubDevice, id 0x1000002b0, registered, matched, active, busy 0 (61 ms), "
        "retain 11>\r\n"
        "  +-o Mouse  <class IORegistryEntry:IOService:IOUSBDevice:IOUSBHostDevice, id 0x42, retain 3>\r\n"
        "\r\n"
        "+-o Mouse  <class IORegistryEntry:IOService:IOUSBDevice:IOUSBHostDevice, id 0x42, retain 3>\r\n"
        "\r\n";
    auto const d = sim::read_ioreg_text(text);
    EXPECT_EQ(d.tops, (std::vector<sim::entry_id>{0x1000002a2, 0x1000002b0}));
    EXPECT_EQ(d.links,
              (std::vector<std::pair<sim::entry_id, sim::entry_id>>{{0x1000002a2, 0x1000002a5}, {0x1000002b0, 0x42}}));
    ioreg::expect_entry(d, 0x1000002a2, "IOUSBDevice", "IR Receiver", "4500000", {{"PortNum", sim::number{5, 32}}});
    // A header showing the class chain gives it most derived first.
    ioreg::expect_entry(d, 0x42, "IOUSBHostDevice", "Mouse", {}, {},
                        {"IOUSBHostDevice", "IOUSBDevice", "IOService", "IORegistryEntry"});
}

TEST(ioreg_text_tree, clipped_lines_keep_what_they_show)
{
    constexpr auto text =
        "+-o Root  <class IORegistryEntry, id 0x1, retain 9>\n"
        "  +-o BroadcomBluetoothHostControllerUSBTransport  <class BroadcomBluetoothHostControllerUSBTransport, id "
        "0x1000002f5, registered, matched, active, busy 0 (0$\n"
        "      {\n"
        "        \"shown\" = \"a long text that the termin$\n"
        "        \"numbers\" = (1,2,3$\n"
        "        \"a very long ke$\n"
        "        \"after\" = 7\n"
        "      }\n";
    auto const d = sim::read_ioreg_text(text);
    EXPECT_EQ(ioreg::parents(d, 0x1000002f5), std::vector<sim::entry_id>{0x1});
    // A cut value reads as the text it shows; a property whose key was cut is left out.
    ioreg::expect_entry(d, 0x1000002f5, "BroadcomBluetoothHostControllerUSBTransport",
                        "BroadcomBluetoothHostControllerUSBTransport", {},
                        {{"shown", std::string("a long text that the termin")},
                         {"numbers", std::string("(1,2,3")},
                         {"after", sim::number{7, 32}}});
}

TEST(ioreg_text_malformed, errors_and_contradictions_between_printings_name_the_line)
{
    auto const error = [](std::string const& text) { return dump_error_of([&] { sim::read_ioreg_text(text); }); };
    std::string const root = "+-o Root  <class IORegistryEntry, id 0x1, retain 9>\n";
    std::string const child = "  +-o A  <class IOService, id 0x2, retain 1>\n";

    EXPECT_EQ(error(""), "line 1: the dump is empty");
    EXPECT_EQ(error("\n\n"), "line 2: the text holds no registry entry (+-o name  <class …, id 0x…>)");
    EXPECT_EQ(error("hello world\n" + root), "line 1: expected a tree line (+-o name  <class …, id 0x…>)");
    EXPECT_EQ(error(root + child + "  garbage\n"), "line 3: expected a tree line (+-o name  <class …, id 0x…>)");
    EXPECT_EQ(error(root + "  | {\n  |   \"k\" = 1\n"),
              "line 3: the property block opened at line 2 is not closed before the end of the text");
    EXPECT_EQ(error(root + "  | {\n  |   \"k\" = 1\n" + child),
              "line 4: the property block opened at line 2 is not closed with '}' before the next entry");
    EXPECT_EQ(error(root + "  | {\n  |   \"k\" = 1\n  |\n  | }\n"),
              "line 4: the property block opened at line 2 ends without '}'");
    EXPECT_EQ(error(root + "  | {\n  |   k = 1\n  | }\n"),
              "line 3: expected a property (\"key\" = value) or the '}' closing the property block opened at line 2");
    EXPECT_EQ(error(root + "  | {\n  |   \"k\" 1\n  | }\n"), "line 3: expected a property (\"key\" = value)");
    EXPECT_EQ(error(root + "      +-o A  <class IOService, id 0x2, retain 1>\n"),
              "line 2: the entry is indented 3 levels, more than one below the entry before it (0)");
    EXPECT_EQ(error("  " + root), "line 1: the first entry is indented; it must start the line");
    EXPECT_EQ(error(root + " | +-o A  <class IOService, id 0x2, retain 1>\n"),
              "line 2: the tree drawing left of '+-o' is not made of \"| \" and \"  \" steps");
    EXPECT_EQ(error(root + "  +-o A  <class IOService, retain 1>\n"),
              "line 2: the header has no entry ID (id 0x…) (column 28)");
    EXPECT_EQ(error(root + "  +-o A  <class IOService, id 12, retain 1>\n").substr(0, 48),
              "line 2: the entry ID is not a hexadecimal number");
    EXPECT_EQ(error(root + "  +-o A  <class IOService, id 0x2, retain 1\n").substr(0, 47),
              "line 2: the header is not closed with '>' (colu");
    EXPECT_EQ(error(root + "  +-o A  <class IOService, id 0x2$\n").substr(0, 57),
              "line 2: the line is clipped before the end of the entry's");
    EXPECT_TRUE(error(root + "  +-o Some long na$\n")
                    .starts_with("line 2: the line is clipped before the entry's <class …, id …> header"));
    EXPECT_EQ(error(root + "  +-o A  <class IOService, id 0x2, retain 1>\n      {\n      }\n      {\n"),
              "line 5: a second property block for the same entry");
    EXPECT_EQ(error(root + "  {\n  }\n"),
              "line 2: the '{' stands at column 3; the block of the entry above belongs at column 5");
    EXPECT_EQ(error(root + "}\n"), "line 2: '}' closes no property block");

    // Printings of one entry that contradict each other.
    EXPECT_EQ(error("+-o A  <class IOService, id 0x1, retain 1>\n"
                    "  +-o A  <class IOService, id 0x1, retain 1>\n"),
              "line 2: entry 0x1 is printed under itself");
    EXPECT_EQ(error("+-o A  <class IOService, id 0x1, retain 1>\n"
                    "  +-o B  <class IOService, id 0x2, retain 1>\n"
                    "+-o B  <class IOService, id 0x2, retain 1>\n"
                    "  +-o A  <class IOService, id 0x1, retain 1>\n"),
              "line 4: entry 0x1 is printed under 0x2, one of its own descendants");
    EXPECT_EQ(error("+-o A  <class IOService, id 0x1, retain 1>\n"
                    "+-o A  <class IOUSBDevice, id 0x1, retain 1>\n"),
              "line 2: entry 0x1 is printed with class IOUSBDevice but was printed before with class IOService");
}

// Found by text_dump_fuzzer: the root printed under another entry read without
// complaint, and only merging the dump refused it, without naming the line.
TEST(ioreg_text_malformed, the_root_printed_under_an_entry_is_an_error)
{
    EXPECT_EQ(dump_error_of([] {
                  sim::read_ioreg_text("+-o Mac  <class IOPlatformExpertDevice, id 0x200000200, retain 1>\n"
                                       "  +-o Root  <class IORegistryEntry, id 0x100000100, retain 9>\n");
              }),
              "line 2: the root entry 0x100000100 is printed under 0x200000200; the root has no parent");
}

} // namespace
