#include "sim/control/loaders.hpp"
#include "sim/control/registry.hpp"

#include "sim/ioreg_test_support.hpp"
#include "support/sim_test.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace sim = plinth::sim;
namespace ioreg = plinth::testing::ioreg;

constexpr auto text_dump = "machine:~ user$ ioreg -l\n"
                           "+-o Root  <class IORegistryEntry, id 0x100000100, retain 9>\n"
                           "  +-o J313AP  <class IOPlatformExpertDevice, id 0x100000113, registered, matched, active, busy 0 (48836 ms), retain 44>\n"
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
    void SetUp() override
    {
        sim_test::SetUp();
        auto const* test = ::testing::UnitTest::GetInstance()->current_test_info();
        folder_ = std::filesystem::temp_directory_path() /
                  ("plinth-" + std::string(test->name()) + "-" + std::to_string(::getpid()));
        std::filesystem::create_directories(folder_);
    }

    void TearDown() override
    {
        std::filesystem::remove_all(folder_);
        sim_test::TearDown();
    }

    std::filesystem::path write(std::string const& name, std::string const& contents)
    {
        auto const file = folder_ / name;
        std::ofstream(file, std::ios::binary) << contents;
        return file;
    }

    std::filesystem::path folder_;
};

TEST_F(ioreg_dump_file, the_form_is_told_by_the_first_characters)
{
    auto const text = sim::read_dump_file(write("listing.txt", text_dump));
    EXPECT_EQ(text.entries.size(), 2u);
    EXPECT_EQ(ioreg::entry(text, 0x100000113).name, "J313AP");

    // The name of a file says nothing; leading blank lines and a byte order mark are passed over.
    auto const xml = sim::read_dump_file(write("registry.txt", "\xEF\xBB\xBF\n  \n" + std::string(xml_dump)), "IOUSB");
    EXPECT_EQ(xml.plane, "IOUSB");
    ASSERT_EQ(xml.entries.size(), 1u);
    EXPECT_EQ(xml.entries[0].name, "Webcam");

    std::string bare_plist = xml_dump;
    bare_plist.erase(0, bare_plist.find("<plist"));
    EXPECT_EQ(sim::read_dump_file(write("bare.plist", bare_plist)).entries.size(), 1u);
}

TEST_F(ioreg_dump_file, errors_name_the_file)
{
    auto const missing = folder_ / "missing.txt";
    EXPECT_EQ(ioreg::dump_error_of([&] { sim::read_dump_file(missing); }),
              missing.string() + ": cannot open: No such file or directory");
    EXPECT_EQ(ioreg::dump_error_of([&] { sim::read_dump_file(folder_); }),
              folder_.string() + ": is a directory, not a dump file");

    auto const broken_text = write("broken.txt", std::string(text_dump) + "  +-o A  <class IOService, retain 1>\n");
    EXPECT_TRUE(ioreg::dump_error_of([&] { sim::read_dump_file(broken_text); })
                    .starts_with(broken_text.string() + ": line 7: the header has no entry ID"));

    std::string xml = xml_dump;
    xml.replace(xml.find("<integer>4294968345</integer>"), 29, "<string>4294968345</string>");
    auto const broken_xml = write("broken.xml", xml);
    EXPECT_EQ(ioreg::dump_error_of([&] { sim::read_dump_file(broken_xml); }),
              broken_xml.string() + ": \"Webcam\": IORegistryEntryID is <string>, not an <integer>");

    auto const empty = write("empty.txt", "");
    EXPECT_EQ(ioreg::dump_error_of([&] { sim::read_dump_file(empty); }), empty.string() + ": line 1: the dump is empty");
}

TEST_F(ioreg_dump_file, a_loaded_dump_joins_the_registry)
{
    std::size_t const before = sim::entry_count();
    sim::load_dump_file(write("listing.txt", text_dump));
    EXPECT_TRUE(sim::contains(0x100000113));
    EXPECT_EQ(sim::entry_count(), before + 1) << "the dump's Root is the registry's own root";

    sim::load_dump_file(write("webcam.xml", xml_dump));
    EXPECT_TRUE(sim::contains(4294968345));
    EXPECT_EQ(sim::entry_count(), before + 2);
}

TEST_F(ioreg_dump_file, a_dump_that_does_not_read_merges_nothing)
{
    std::size_t const before = sim::entry_count();
    std::string const truncated_text = std::string(text_dump).substr(0, std::string(text_dump).rfind("      }"));
    EXPECT_THROW(sim::load_dump_file(write("truncated.txt", truncated_text)), sim::dump_error);

    std::string const truncated_xml = std::string(xml_dump).substr(0, std::string(xml_dump).find("</dict>"));
    EXPECT_THROW(sim::load_dump_file(write("truncated.xml", truncated_xml)), sim::dump_error);

    EXPECT_THROW(sim::load_dump_file(folder_ / "missing.xml"), sim::dump_error);

    EXPECT_EQ(sim::entry_count(), before);
    EXPECT_FALSE(sim::contains(0x100000113));
    EXPECT_FALSE(sim::contains(4294968345));
}

TEST_F(ioreg_dump_file, each_shared_dump_gives_the_registry_its_entries)
{
    std::filesystem::path const shared = PLINTH_SHARED_IOREG_DIR;
    if (!std::filesystem::is_directory(shared))
        GTEST_SKIP() << "no shared dumps at " << shared;
    for (auto const* name : {"macos13-intel-hackintosh-ioreg-l.txt", "macos12-qemu-macpro7,1-ioreg.txt",
                             "osx-pre10.11-imac-ioreg-Src-IOUSBDevice.txt"})
    {
        sim::reset_registry();
        auto const d = sim::read_dump_file(shared / name);
        auto const new_entries = std::ranges::count_if(d.entries, [](auto const& e) { return e.id != sim::root_entry_id; });
        sim::load_dump_file(shared / name);
        EXPECT_EQ(sim::entry_count(), 1 + static_cast<std::size_t>(new_entries)) << name;
        for (auto const& e : d.entries)
            EXPECT_TRUE(sim::contains(e.id)) << name << ": " << e.name;
    }
    sim::reset_registry();
}

} // namespace
