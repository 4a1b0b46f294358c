// Tests of reading and loading dump files.
#include "sim/control/loaders.hpp"
#include "sim/control/registry.hpp"

#include "sim/ioreg_test_support.hpp"
#include "support/scratch_folder.hpp"
#include "support/sim_test.hpp"

#include <gtest/gtest.h>

#include <string>

namespace {

namespace sim = plinth::sim;
namespace ioreg = plinth::testing::ioreg;

constexpr auto text_dump = "machine:~ user$ ioreg -l\n"
                           "+-o Root  <class IORegistryEntry, id 0x100000100, retain 9>\n"
                           "  +-o J313AP  <class IOPlatformExpertDevice, id 0x100000113, registered, matched, active, "
                           "busy 0 (48836 ms), retain 44>\n"
                           "      {\n"
                           "        \"model\" = <\"MacBookAir10,1\">\n"
                           "      }\n";

constexpr auto xml_dump = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                          "<plist version=\"1.0\">\n"
                          "<dict>\n"
                          "  <key>IOObjectClass</key><string>IOUSBHostDevice</string>\n"
                          "  <key>IORegistryEntryID</key><integer>4294968345</integer>\n"
                          "  <key>IORegistryEntryName</key><string>Webcam</string>\n"
                          "  <key>idVendor</key><integer>3141</integer>\n"
                          "</dict>\n"
                          "</plist>\n";

// Each test writes its dump files into a folder of its own.
class ioreg_dump_file : public plinth::testing::sim_test
{
protected:
    plinth::testing::scratch_folder folder{::testing::UnitTest::GetInstance()->current_test_info()->name()};
};

TEST_F(ioreg_dump_file, the_form_is_told_by_the_first_characters)
{
    auto const text = sim::read_dump_file(folder.write("listing.txt", text_dump));
    EXPECT_EQ(text.entries.size(), 2u);
    EXPECT_EQ(ioreg::entry(text, 0x100000113).name, "J313AP");

    // The name of a file says nothing; leading blank lines and a byte order mark are passed over.
    auto const xml =
        sim::read_dump_file(folder.write("registry.txt", "\xEF\xBB\xBF\n  \n" + std::string(xml_dump)), "IOUSB");
    EXPECT_EQ(xml.plane, "IOUSB");
    ASSERT_EQ(xml.entries.size(), 1u);
    EXPECT_EQ(xml.entries[0].name, "Webcam");

    std::string bare_plist = xml_dump;
    bare_plist.erase(0, bare_plist.find("<plist"));
    EXPECT_EQ(sim::read_dump_file(folder.write("bare.plist", bare_plist)).entries.size(), 1u);
}

TEST_F(ioreg_dump_file, errors_name_the_file)
{
    auto const missing = folder.path() / "missing.txt";
    EXPECT_EQ(ioreg::dump_error_of([&] { sim::read_dump_file(missing); }),
              missing.string() + ": cannot open: No such file or directory");
    EXPECT_EQ(ioreg::dump_error_of([&] { sim::read_dump_file(folder.path()); }),
              folder.path().string() + ": is a directory, not a dump file");

    auto const broken_text =
        folder.write("broken.txt", std::string(text_dump) + "  +-o A  <class IOService, retain 1>\n");
    EXPECT_TRUE(ioreg::dump_error_of([&] {
                    sim::read_dump_file(broken_text);
                }).starts_with(broken_text.string() + ": line 7: the header has no entry ID"));

    std::string xml = xml_dump;
    xml.replace(xml.find("<integer>4294968345</integer>"), 29, "<string>4294968345</string>");
    auto const broken_xml = folder.write("broken.xml", xml);
    EXPECT_EQ(ioreg::dump_error_of([&] { sim::read_dump_file(broken_xml); }),
              broken_xml.string() + ": \"Webcam\": IORegistryEntryID is <string>, not an <integer>");

    auto const empty = folder.write("empty.txt", "");
    EXPECT_EQ(ioreg::dump_error_of([&] { sim::read_dump_file(empty); }),
              empty.string() + ": line 1: the dump is empty");
}

TEST_F(ioreg_dump_file, a_dump_joins_the_registry_only_when_it_reads_whole)
{
    std::string const text = text_dump;
    std::string const xml = xml_dump;
    EXPECT_THROW(sim::load_dump_file(folder.write("truncated.txt", text.substr(0, text.rfind("      }")))),
                 sim::dump_error);
    EXPECT_THROW(sim::load_dump_file(folder.write("truncated.xml", xml.substr(0, xml.find("</dict>")))),
                 sim::dump_error);
    EXPECT_THROW(sim::load_dump_file(folder.path() / "missing.xml"), sim::dump_error);
    EXPECT_EQ(sim::entry_count(), 1u) << "nothing merged";

    sim::load_dump_file(folder.write("listing.txt", text));
    EXPECT_TRUE(sim::contains(0x100000113));
    EXPECT_EQ(sim::entry_count(), 2u) << "the dump's Root is the registry's own root";
    sim::load_dump_file(folder.write("webcam.xml", xml));
    EXPECT_TRUE(sim::contains(4294968345));
    EXPECT_EQ(sim::entry_count(), 3u);
}

TEST_F(ioreg_dump_file, a_dump_that_hangs_the_root_below_an_entry_is_refused_naming_the_file)
{
    auto const file = folder.write("looped.txt", "+-o Camera  <class IOService, id 0x100000300, retain 4>\n"
                                                 "  +-o Root  <class IORegistryEntry, id 0x100000100, retain 9>\n");
    auto const message = ioreg::dump_error_of([&] { sim::load_dump_file(file); });
    EXPECT_NE(message.find("looped.txt: "), std::string::npos) << message;
    EXPECT_NE(message.find("root"), std::string::npos) << message;
    EXPECT_FALSE(sim::contains(0x100000300));
    EXPECT_EQ(sim::entry_count(), 1u);
}

} // namespace
