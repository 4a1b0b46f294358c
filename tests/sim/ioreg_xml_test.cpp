// Tests of the `ioreg -a` XML loader.
#include "sim/control/loaders.hpp"

#include "sim/ioreg_test_support.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

namespace sim = plinth::sim;
namespace ioreg = plinth::testing::ioreg;
using ioreg::dump_error_of;

std::string plist(std::string const& body)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\">\n" +
           body + "</plist>\n";
}

// An entry dictionary as `ioreg -a` writes it; `more` holds further keys.
std::string entry(std::string const& name, std::string const& class_name, std::uint64_t id,
                  std::string const& more = {})
{
    return "<dict>\n"
           "<key>IOObjectClass</key><string>" +
           class_name +
           "</string>\n"
           "<key>IORegistryEntryID</key><integer>" +
           std::to_string(id) +
           "</integer>\n"
           "<key>IORegistryEntryName</key><string>" +
           name + "</string>\n" + more + "</dict>\n";
}

std::string children(std::string const& entries)
{
    return "<key>IORegistryEntryChildren</key><array>\n" + entries + "</array>\n";
}

TEST(ioreg_xml_entries, bookkeeping_keys_become_the_entry_and_leave_the_properties)
{
    std::string const device_keys = "<key>IORegistryEntryLocation</key><string>14200000</string>\n"
                                    "<key>IOObjectRetainCount</key><integer>37</integer>\n"
                                    "<key>IOServiceState</key><integer>30</integer>\n"
                                    "<key>IOServiceBusyState</key><integer>0</integer>\n"
                                    "<key>IOServiceBusyTime</key><integer>255</integer>\n"
                                    "<key>IOObjectInheritance</key><array><string>IOUSBDevice</string>"
                                    "<string>IOService</string><string>IORegistryEntry</string></array>\n"
                                    "<key>idVendor</key><integer>3141</integer>\n";
    std::string const unnamed = "<dict><key>IOObjectClass</key><string>IOUSBHostInterface</string>"
                                "<key>IORegistryEntryID</key><integer>4294968353</integer></dict>\n";
    auto const d = sim::read_ioreg_xml(
        plist(entry("Root", "IORegistryEntry", 0x100000100,
                    "<key>IOKitBuildVersion</key><string>Darwin</string>\n" +
                        children(entry("Webcam", "IOUSBHostDevice", 0x100000419, device_keys + children(unnamed))))),
        "IOUSB");

    EXPECT_EQ(d.plane, "IOUSB");
    ASSERT_EQ(d.entries.size(), 3u);
    EXPECT_EQ(d.tops, std::vector<sim::entry_id>{0x100000100});
    EXPECT_EQ(d.links, (std::vector<std::pair<sim::entry_id, sim::entry_id>>{{0x100000100, 0x100000419},
                                                                             {0x100000419, 0x100000421}}));
    ioreg::expect_entry(d, 0x100000100, "IORegistryEntry", "Root", {}, {{"IOKitBuildVersion", std::string("Darwin")}});
    // The chain starts with the entry's own class even when the dump lists only its
    // superclasses; an entry never named goes by its class.
    ioreg::expect_entry(d, 0x100000419, "IOUSBHostDevice", "Webcam", "14200000", {{"idVendor", sim::number{3141, 32}}},
                        {"IOUSBHostDevice", "IOUSBDevice", "IOService", "IORegistryEntry"});
    ioreg::expect_entry(d, 0x100000421, "IOUSBHostInterface", "IOUSBHostInterface");
}

TEST(ioreg_xml_entries, property_values_of_every_kind)
{
    struct case_t
    {
        char const* key;
        char const* xml;
        sim::value expected;
    };
    case_t const cases[] = {
        {"small", "<integer>1452</integer>", sim::number{1452, 32}},
        {"minus one", "<integer>-1</integer>", sim::number{-1, 32}},
        {"int32 min", "<integer>-2147483648</integer>", sim::number{INT32_MIN, 32}},
        {"uint32 max", "<integer>4294967295</integer>", sim::number{4294967295, 32}},
        {"wide", "<integer>1092497882443991</integer>", sim::number{1092497882443991, 64}},
        {"wide negative", "<integer>-4294967297</integer>", sim::number{-4294967297, 64}},
        {"real", "<real>2.5</real>", 2.5},
        {"yes", "<true/>", true},
        {"no", "<false/>", false},
        {"text", "<string>a &lt;b&gt; &amp; c</string>", std::string("a <b> & c")},
        {"data", "<data>hoAAAA==</data>", sim::data{0x86, 0x80, 0x00, 0x00}},
        {"date", "<date>2001-01-02T00:00:00Z</date>", std::string("2001-01-02T00:00:00Z")},
        {"list", "<array><integer>1</integer><string>x</string></array>",
         sim::array{sim::number{1, 32}, std::string("x")}},
        {"map", "<dict><key>z</key><integer>1</integer><key>a</key><dict/></dict>",
         sim::dictionary{{"z", sim::number{1, 32}}, {"a", sim::dictionary{}}}},
    };
    std::string values;
    sim::dictionary expected;
    for (auto const& c : cases)
    {
        values += std::string("<key>") + c.key + "</key>" + c.xml + "\n";
        expected.emplace_back(c.key, c.expected);
    }
    EXPECT_EQ(sim::read_ioreg_xml(plist(entry("Root", "IORegistryEntry", 1, values))).entries.at(0).properties,
              expected);
}

TEST(ioreg_xml_entries, several_matches_and_several_parents)
{
    std::string const shared_child =
        entry("IOHIDSystem", "IOHIDSystem", 0x30, "<key>first</key><integer>1</integer>\n");
    std::string const shared_child_again =
        entry("IOHIDSystem", "IOHIDSystem", 0x30, "<key>first</key><integer>2</integer><key>second</key><true/>\n");
    auto const d = sim::read_ioreg_xml(
        plist("<array>\n" + entry("Keyboard", "IOHIDEventDriver", 0x10, children(shared_child)) +
              entry("Mouse", "IOHIDEventDriver", 0x20, children(shared_child_again)) + "</array>\n"));
    EXPECT_EQ(d.tops, (std::vector<sim::entry_id>{0x10, 0x20}));
    EXPECT_EQ(d.entries.size(), 3u);
    EXPECT_EQ(ioreg::parents(d, 0x30), (std::vector<sim::entry_id>{0x10, 0x20}));
    EXPECT_EQ(ioreg::entry(d, 0x30).properties, (sim::dictionary{{"first", sim::number{1, 32}}, {"second", true}}));
}

TEST(ioreg_xml_malformed, faults_in_entries_name_the_element_path)
{
    auto const error = [](std::string const& body) { return dump_error_of([&] { sim::read_ioreg_xml(plist(body)); }); };
    auto const under_root = [](std::string const& child) {
        return entry("Root", "IORegistryEntry", 1,
                     children(entry("J313AP", "IOPlatformExpertDevice", 2, children(child))));
    };
    std::string const slot = "\"Root\" > IORegistryEntryChildren[0] > \"J313AP\" > IORegistryEntryChildren[0]";
    std::string const path = slot + " > ";

    EXPECT_EQ(error(under_root("<dict><key>IOObjectClass</key><string>IOUSBHostDevice</string>"
                               "<key>IORegistryEntryName</key><string>Webcam</string>"
                               "<key>IORegistryEntryID</key><string>0x100000419</string></dict>")),
              path + "\"Webcam\": IORegistryEntryID is <string>, not an <integer>");
    EXPECT_EQ(error(under_root("<dict><key>IOObjectClass</key><string>IOService</string>"
                               "<key>IORegistryEntryName</key><string>Webcam</string></dict>")),
              path + "\"Webcam\": the entry has no IORegistryEntryID");
    EXPECT_EQ(error(under_root("<dict><key>IORegistryEntryID</key><integer>3</integer></dict>")),
              path + "(entry without a name): the entry has no IOObjectClass");
    EXPECT_EQ(
        error(under_root(entry("Webcam", "IOService", 3, "<key>IORegistryEntryLocation</key><integer>1</integer>"))),
        path + "\"Webcam\": IORegistryEntryLocation is <integer>, not a <string>");
    EXPECT_EQ(
        error(under_root(entry("Webcam", "IOService", 3, "<key>IOObjectInheritance</key><string>IOService</string>"))),
        path + "\"Webcam\": IOObjectInheritance is <string>, not an <array>");
    EXPECT_EQ(error(under_root(entry("Webcam", "IOService", 3,
                                     "<key>IOObjectInheritance</key><array><integer>1</integer></array>"))),
              path + "\"Webcam\": IOObjectInheritance[0] is <integer>, not a <string>");
    EXPECT_EQ(error(under_root(entry("Webcam", "IOService", 3, "<key>IOObjectRetainCount</key><string>9</string>"))),
              path + "\"Webcam\": IOObjectRetainCount is <string>, not an <integer>");
    EXPECT_EQ(error(under_root(entry("Webcam", "IOService", 3, "<key>IORegistryEntryChildren</key><dict/>"))),
              path + "\"Webcam\": IORegistryEntryChildren is <dict>, not an <array>");
    EXPECT_EQ(error(under_root("<string>Webcam</string>")), slot + ": <string> where a registry entry <dict> must be");
    EXPECT_EQ(error(under_root(entry("Webcam", "IORegistryEntry", 1))),
              path + "\"Webcam\": entry 0x1 is printed under 0x2, one of its own descendants");
    EXPECT_EQ(error(under_root(entry("Webcam", "IOService", 2))),
              path + "\"Webcam\": entry 0x2 is printed with class IOService but was printed before with class "
                     "IOPlatformExpertDevice");
}

// Found by xml_dump_fuzzer: the root nested in another entry's children read
// without complaint, and only merging the dump refused it, without naming where.
TEST(ioreg_xml_malformed, the_root_among_an_entrys_children_is_an_error)
{
    auto const root = entry("Root", "IORegistryEntry", 0x100000100);
    EXPECT_EQ(
        dump_error_of([&] { sim::read_ioreg_xml(plist(entry("Mac", "IOPlatformExpertDevice", 2, children(root)))); }),
        "\"Mac\" > IORegistryEntryChildren[0] > \"Root\": the root entry 0x100000100 is printed under 0x2; "
        "the root has no parent");
}

TEST(ioreg_xml_malformed, documents_that_hold_no_entries)
{
    auto const error = [](std::string const& xml) { return dump_error_of([&] { sim::read_ioreg_xml(xml); }); };
    EXPECT_EQ(error(""), "the XML property list is empty");
    EXPECT_EQ(error(plist("<array/>\n")), "the property list holds no registry entry");
    EXPECT_EQ(error(plist("<string>Root</string>\n")),
              "the property list holds <string>, not a registry entry <dict> or an <array> of them");
    EXPECT_EQ(error(plist("<array><integer>1</integer></array>\n")),
              "[0]: <integer> where a registry entry <dict> must be");
}

TEST(ioreg_xml_malformed, xml_that_libplist_rejects_names_the_first_unpaired_tag)
{
    auto const error = [](std::string const& xml) { return dump_error_of([&] { sim::read_ioreg_xml(xml); }); };
    auto const line_of = [](std::string const& text, std::size_t at) {
        return "line " +
               std::to_string(1 + std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at), '\n'));
    };
    std::string const whole = plist(entry("Root", "IORegistryEntry", 1, children(entry("A", "IOService", 2))));

    std::string wrong_closer = whole;
    std::size_t const array_closer = wrong_closer.rfind("</array>");
    wrong_closer.replace(array_closer, 8, "</dict>");
    EXPECT_EQ(error(wrong_closer), "libplist rejects the XML property list: " + line_of(whole, array_closer) +
                                       ": </dict> closes <array> opened at " + line_of(whole, whole.find("<array>")));

    std::size_t const cut = whole.find("<key>IORegistryEntryName</key><string>A");
    EXPECT_EQ(error(whole.substr(0, cut)), "libplist rejects the XML property list: " +
                                               line_of(whole, whole.rfind("<dict>", cut)) + ": <dict> is never closed");

    EXPECT_EQ(error("<?xml version=\"1.0\"?>\n<plist><dict><key>a</key><integer>1</integer></plist>\n"),
              "libplist rejects the XML property list: line 2: </plist> closes <dict> opened at line 2");
    EXPECT_TRUE(error("<?xml version=\"1.0\"?>\n<plist><dict><key>a</key><bogus/></dict></plist>\n")
                    .starts_with("libplist rejects the XML property list (its tags pair up"));
}

// libplist reads every one of these without a word (abc as 0, bad base64 as no
// bytes, 010 as octal 8); the loader names the element and its line instead.
TEST(ioreg_xml_malformed, a_value_that_is_not_what_its_element_says)
{
    struct case_t
    {
        char const* xml;
        char const* message; // after "line 4: "
    };
    case_t const cases[] = {
        {"<integer>abc</integer>", "<integer> holds \"abc\", not a whole number"},
        {"<integer></integer>", "<integer> holds \"\", not a whole number"},
        {"<integer>12abc</integer>", "<integer> holds \"12abc\", not a whole number"},
        {"<integer>0xfg</integer>", "<integer> holds \"0xfg\", not a whole number"},
        {"<integer>1.5</integer>", "<integer> holds \"1.5\", not a whole number"},
        {"<integer>010</integer>",
         "<integer> holds \"010\", a whole number with a leading zero (libplist would read it as octal)"},
        {"<integer>18446744073709551616</integer>",
         "<integer> holds \"18446744073709551616\", a whole number beyond 64 bits"},
        {"<integer>-9223372036854775809</integer>",
         "<integer> holds \"-9223372036854775809\", a whole number beyond 64 bits"},
        {"<real>abc</real>", "<real> holds \"abc\", not a number"},
        {"<real>1.5.2</real>", "<real> holds \"1.5.2\", not a number"},
        {"<data>!!!!</data>", "<data> holds \"!!!!\", not base64 (a character outside A-Z a-z 0-9 + /)"},
        {"<data>QUJ</data>", "<data> holds \"QUJ\", base64 of a length that is not whole groups of four"},
        {"<data>QQ==QUJD</data>", "<data> holds \"QQ==QUJD\", base64 that goes on after its '=' padding"},
        {"<date>yesterday</date>", "<date> holds \"yesterday\", not a date of the form 2001-01-01T00:00:00Z"},
        {"<date>2020-13-01T00:00:00Z</date>",
         "<date> holds \"2020-13-01T00:00:00Z\", not a date of the form 2001-01-01T00:00:00Z"},
        {"<true>yes</true>", "<true> holds \"yes\", but the element holds nothing"},
        {"<false>0</false>", "<false> holds \"0\", but the element holds nothing"},
        {"<integer><string>1</string></integer>", "<integer> holds markup, not a value"},
    };
    for (auto const& c : cases)
    {
        std::string const body = entry("Root", "IORegistryEntry", 1, std::string("<key>bad</key>") + c.xml + "\n");
        EXPECT_EQ(dump_error_of([&] { sim::read_ioreg_xml(plist(body)); }), std::string("line 8: ") + c.message)
            << c.xml;
    }

    // Their well-formed neighbours read as before.
    char const* const good[] = {"<integer> 12 </integer>",
                                "<integer>-9223372036854775808</integer>",
                                "<integer>0x1F</integer>",
                                "<integer>0</integer>",
                                "<real>-2.5e3</real>",
                                "<real>nan</real>",
                                "<data>QUJD\n QQ==</data>",
                                "<data></data>",
                                "<date>2001-01-01T00:00:00Z</date>",
                                "<true></true>",
                                "<false/>"};
    for (char const* xml : good)
        EXPECT_NO_THROW(
            sim::read_ioreg_xml(plist(entry("Root", "IORegistryEntry", 1, std::string("<key>ok</key>") + xml))))
            << xml;
}

// Nesting deep enough to exhaust the stack in libplist's recursive parse and free
// is refused before libplist sees it, naming the element and its line.
TEST(ioreg_xml_malformed, a_deep_plist)
{
    constexpr std::size_t levels = 100'000;
    for (std::string const element : {"array", "dict"})
    {
        std::string nested;
        nested.reserve(levels * 24);
        for (std::size_t i = 0; i < levels; ++i)
            nested += element == "dict" ? "<dict><key>k</key>\n" : "<array>\n";
        for (std::size_t i = 0; i < levels; ++i)
            nested += "</" + element + ">";
        std::string const body = entry("Root", "IORegistryEntry", 1, "<key>deep</key>" + nested + "\n");
        auto const message = dump_error_of([&] { sim::read_ioreg_xml(plist(body)); });
        // <plist>, the entry's <dict>, then one nested element a line from line 8;
        // a <dict>'s <key> stands a level below it.
        EXPECT_EQ(message,
                  element == "dict"
                      ? "line " + std::to_string(8 + 1533) + ": <key> is nested more than 1536 elements deep"
                      : "line " + std::to_string(8 + 1534) + ": <array> is nested more than 1536 elements deep");
    }

    // As deep as libplist is let to go: values nested beyond the loader's own
    // limit are an error naming their path, not a crash.
    constexpr int deepest = 1536 - 2 - 1; // below <plist> and the entry's <dict>, with the <integer> innermost
    std::string within;
    for (int i = 0; i < deepest; ++i)
        within += "<array>";
    within += "<integer>1</integer>";
    for (int i = 0; i < deepest; ++i)
        within += "</array>";
    auto const message = dump_error_of(
        [&] { sim::read_ioreg_xml(plist(entry("Root", "IORegistryEntry", 1, "<key>deep</key>" + within))); });
    EXPECT_NE(message.find("values nested more than"), std::string::npos) << message;
}

} // namespace
