// Tests of plinth-ioreg as a program: commands, options, text and JSON output, bad arguments and bad dumps.
#include "device/apple/device.hpp"
#include "device/apple/tree.hpp"
#include "io_kit/mach_port.hpp"
#include "support/scratch_folder.hpp"
#include "support/sim_test.hpp"

#if defined(PLINTH_IOREG_TOOL)
#include "tools/plinth-ioreg/command_line/options.hpp"
#include "tools/plinth-ioreg/registry/entry_lookup.hpp"
#include "tools/plinth-ioreg/walk/registry_search.hpp"
#endif

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

#if defined(PLINTH_IOREG_TOOL)

namespace fs = std::filesystem;
namespace sim = plinth::sim;
namespace tool = plinth::ioreg_tool;
using plinth::plane;
using plinth::apple::device;
using plinth::apple::tree;
using plinth::apple::io_kit::io_registry_entry;
using plinth::apple::io_kit::mach_port;
using plinth::testing::read_file;
using plinth::testing::scratch_folder;

constexpr plane all_planes[] = {plane::service, plane::power,    plane::device_tree,
                                plane::audio,   plane::firewire, plane::usb};

struct run_result
{
    int status = -1;
    std::string out;
    std::string err;
};

std::vector<std::string> lines_of(std::string const& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

std::string quoted(std::string const& arg)
{
    std::string result = "'";
    for (char const c : arg)
        result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return result + "'";
}

// Where the tool's standard streams lead, when not to the captured files.
struct redirection
{
    std::string input = "/dev/null";
    std::string output;    // standard output's file; captured when empty
    std::string directory; // the tool's working directory; the test's when empty
};

redirection input_from(fs::path const& file)
{
    redirection r;
    r.input = file.string();
    return r;
}

redirection output_to(std::string const& file)
{
    redirection r;
    r.output = file;
    return r;
}

redirection working_in(fs::path const& directory)
{
    redirection r;
    r.directory = directory.string();
    return r;
}

// Runs the built tool with `args`, capturing both streams and the exit status.
run_result run_tool(std::vector<std::string> const& args, redirection const& streams = {})
{
    static scratch_folder const scratch("ioreg-output");
    std::string command = quoted(PLINTH_IOREG_TOOL);
    for (auto const& arg : args)
        command += ' ' + quoted(arg);
    auto const out = scratch.path() / "stdout";
    auto const err = scratch.path() / "stderr";
    fs::remove(out);
    command += " <" + quoted(streams.input) + " >" + quoted(streams.output.empty() ? out.string() : streams.output) +
               " 2>" + quoted(err.string());
    if (!streams.directory.empty())
        command = "cd " + quoted(streams.directory) + " && " + command;
    auto const raw = std::system(command.c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, fs::exists(out) ? read_file(out) : std::string(), read_file(err)};
}

// Entries printed by a walk from the root, each once per parent it has, as the
// library itself sees them.
std::size_t count_appearances(device const& from, plane p)
{
    std::size_t count = 1;
    auto children = from.get_children(p);
    while (auto object = children.next())
        count += count_appearances(device(io_registry_entry(std::move(object))), p);
    return count;
}

// One tree line of ioreg or of the tool: its indentation, "name@location" and the
// ID (absent on a line that ioreg clipped).
struct tree_line
{
    std::string indent;
    std::string name;
    std::string id;
};

std::vector<tree_line> tree_lines(std::string const& text)
{
    static std::regex const line(R"(^([ |]*)\+-o (.*?)  <class [^,>]*(?:, id (0x[0-9a-f]+))?.*$)");
    std::vector<tree_line> found;
    for (auto const& text_line : lines_of(text))
    {
        std::smatch m;
        if (std::regex_match(text_line, m, line))
            found.push_back({m[1], m[2], m[3]});
    }
    return found;
}

// The tool's tree lines, without the root's, one level less indented: how a dump
// of matches (ioreg -r) shows them, the matches hanging under the root when loaded.
std::vector<tree_line> below_root(std::vector<tree_line> lines)
{
    lines.erase(lines.begin());
    for (auto& l : lines)
        l.indent.erase(0, 2);
    return lines;
}

// Every entry object of `tree --json`, depth first.
void collect_objects(nlohmann::json const& node, std::vector<nlohmann::json const*>& out)
{
    out.push_back(&node);
    for (auto const& child : node.at("children"))
        collect_objects(child, out);
}

// ---- The program itself ----------------------------------------------------

using ioreg_program_test = plinth::testing::sim_test;

TEST_F(ioreg_program_test, tree_of_the_bundled_registry_prints_every_entry_once_for_each_parent_in_every_plane)
{
    sim::load_bundled_registry();
    tree const registry(mach_port::master_port_default());
    static std::regex const header(R"(^[ |]*\+-o [^ ].*  <class [^,]+, id 0x[0-9a-f]+>$)");
    for (auto const p : all_planes)
    {
        auto const name = plinth::apple::to_string(p);
        auto const result = run_tool({"tree", "--plane", name});
        ASSERT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.err, "");
        auto const lines = lines_of(result.out);
        EXPECT_EQ(lines.size(), count_appearances(registry.get_root_node(), p)) << name;
        for (auto const& line : lines)
            EXPECT_TRUE(std::regex_match(line, header)) << name << ": " << line;
    }
}

TEST_F(ioreg_program_test, tree_of_every_dump_with_ids_repeats_the_dumps_entry_lines)
{
    fs::path const shared(PLINTH_SHARED_IOREG_DIR);
    if (!fs::is_directory(shared))
        GTEST_SKIP() << "no shared dumps at " << shared;
    int dumps = 0;
    for (auto const& file : fs::directory_iterator(shared))
    {
        auto const text = read_file(file.path());
        // The class-chain listings show no IDs: no registry can be built from them.
        if (file.path().extension() != ".txt" || text.find(", id 0x") == std::string::npos)
            continue;
        ++dumps;
        auto const result = run_tool({"--registry", file.path().string(), "tree"});
        ASSERT_EQ(result.status, 0) << file.path() << ": " << result.err;
        auto expected = tree_lines(text);
        auto ours = tree_lines(result.out);
        // A dump of matches (ioreg -S -r -c) does not start at the root: its matches
        // hang under the root once loaded, which adds the root's line, and as siblings
        // there they are joined by "| " where ioreg printed each as a tree of its own;
        // so only the depth is compared. An entry printed more than once (several
        // parents, or a match repeated inside another's subtree) is one entry with
        // several links, printed as often as the dump printed it.
        if (expected.front().name != "Root")
        {
            ours = below_root(ours);
            for (auto* lines : {&ours, &expected})
                for (auto& l : *lines)
                    std::ranges::replace(l.indent, '|', ' ');
        }
        ASSERT_EQ(ours.size(), expected.size()) << file.path();
        for (std::size_t i = 0; i < ours.size(); ++i)
        {
            // ioreg clipped some long lines before their ID.
            auto const id = expected[i].id.empty() ? std::string() : ours[i].id;
            EXPECT_EQ(std::tie(ours[i].indent, ours[i].name, id),
                      std::tie(expected[i].indent, expected[i].name, expected[i].id))
                << file.path() << " line " << i;
        }
    }
    EXPECT_GE(dumps, 1);
}

TEST_F(ioreg_program_test, properties_of_an_ioreg_listing_come_back_as_ioreg_printed_them)
{
    scratch_folder const scratch("ioreg-input");
    // Values at the edges of ioreg's syntax: 32- and 64-bit numbers with the top bit
    // set, text, binary and empty data, nested collections and sets, an entry
    // without properties, and one printed under each of its two parents.
    std::string const listing = R"(+-o Root  <class IORegistryEntry, id 0x100000100, retain 9>
  | {
  |   "IOKitBuildVersion" = "Darwin Kernel Version 22.6.0"
  | }
  | 
  +-o Mac  <class IOPlatformExpertDevice, id 0x100000110, registered, matched, active, busy 0 (5 ms), retain 20>
    | {
    |   "locationID" = 4294967295
    |   "sessionID" = 18446744073709551615
    |   "model" = <"Mac","mini">
    |   "clock-frequency" = <0084d717>
    |   "empty" = <>
    |   "Built-In" = Yes
    |   "IOPowerManagement" = {"CurrentPowerState"=2,"Names"=("On","Off"),"Set"=[1]}
    | }
    | 
    +-o port@1  <class IOService, id 0x100000111, registered, matched, active, busy 0, retain 5>
    | | {
    | | }
    | | 
    | +-o leaf  <class IOService, id 0x100000112, retain 4>
    |     {
    |       "name" = "first"
    |     }
    |     
    +-o other  <class IOService, id 0x100000113, retain 4>
      | {
      | }
      | 
      +-o leaf  <class IOService, id 0x100000112, retain 4>
          {
            "name" = "first"
          }
          
)";
    auto const file = scratch.write("listing.txt", listing);
    auto const result = run_tool({"--registry", file.string(), "tree", "--properties"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, std::regex_replace(listing, std::regex(R"((id 0x[0-9a-f]+)[^>]*>)"), "$1>"));

    // JSON keeps numbers at their full width and shows data in hex.
    auto const shown = run_tool({"--json", "--registry", file.string(), "show", "--id", "0x100000110"});
    auto const properties = nlohmann::json::parse(shown.out).at("properties");
    EXPECT_EQ(properties["sessionID"].get<std::uint64_t>(), UINT64_MAX);
    EXPECT_EQ(properties["clock-frequency"], nlohmann::json({{"data", "0084d717"}}));
    EXPECT_EQ(properties["empty"], nlohmann::json({{"data", ""}}));
    EXPECT_EQ(properties["IOPowerManagement"]["Set"], nlohmann::json::array({1}));
    auto const tree = nlohmann::json::parse(run_tool({"--json", "--registry", file.string(), "tree"}).out);
    EXPECT_FALSE(tree.contains("properties")) << "properties only when asked for";
}

TEST_F(ioreg_program_test, a_script_reading_json_tells_data_strings_and_numbers_apart_and_ids_match_the_text)
{
    scratch_folder const scratch("ioreg-input");
    // The same digits as a string, as data and as a number, and an entry ID above
    // 2^53, which a JSON reader with double numbers would round.
    auto const file = scratch.write("typed.txt", R"(+-o Root  <class IORegistryEntry, id 0x100000100>
  +-o Mac  <class IOPlatformExpertDevice, id 0xfedcba9876543211>
      {
        "as-string" = "0084d717"
        "as-data" = <0084d717>
        "as-number" = 84
        "as-text-data" = <"Mac">
        "nested" = {"data"=<01>,"list"=(<02>,"03",4)}
        "flag" = No
      }
)");
    auto const result = run_tool({"--json", "--registry", file.string(), "tree", "-l"});
    ASSERT_EQ(result.status, 0) << result.err;
    auto const mac = nlohmann::json::parse(result.out).at("children").at(0);
    EXPECT_EQ(mac["id"], "0xfedcba9876543211");
    auto const& p = mac["properties"];
    EXPECT_EQ(p["as-string"], "0084d717");
    EXPECT_EQ(p["as-data"], nlohmann::json({{"data", "0084d717"}}));
    EXPECT_EQ(p["as-number"], 84);
    EXPECT_TRUE(p["as-number"].is_number_unsigned());
    EXPECT_EQ(p["as-text-data"], nlohmann::json({{"data", "4d616300"}}));
    EXPECT_EQ(p["nested"]["data"], nlohmann::json({{"data", "01"}}));
    EXPECT_EQ(p["nested"]["list"], nlohmann::json::parse(R"([{"data": "02"}, "03", 4])"));
    EXPECT_EQ(p["flag"], false);

    // The ID that JSON gives is the one the text shows, and show --id takes it back.
    auto const text = run_tool({"--registry", file.string(), "tree"});
    EXPECT_NE(text.out.find("<class IOPlatformExpertDevice, id 0xfedcba9876543211>"), std::string::npos) << text.out;
    auto const shown = run_tool({"--json", "--registry", file.string(), "show", "--id", mac["id"]});
    ASSERT_EQ(shown.status, 0) << shown.err;
    EXPECT_EQ(nlohmann::json::parse(shown.out)["id"], mac["id"]);
}

TEST_F(ioreg_program_test, json_listings_give_ids_as_tree_and_show_do)
{
    std::set<std::string> tree_ids;
    std::vector<nlohmann::json const*> objects;
    auto const document = nlohmann::json::parse(run_tool({"--json", "tree"}).out);
    collect_objects(document, objects);
    for (auto const* object : objects)
        tree_ids.insert(object->at("id").get<std::string>());
    for (auto const* command : {"usb", "pci", "serial"})
    {
        auto const listing = nlohmann::json::parse(run_tool({"--json", command}).out);
        ASSERT_FALSE(listing.empty()) << command;
        for (auto const& item : listing)
            EXPECT_TRUE(tree_ids.contains(item.at("id").get<std::string>())) << command << ": " << item["id"];
    }
}

TEST_F(ioreg_program_test, registry_files_merge_by_id_across_planes)
{
    scratch_folder const scratch("ioreg-input");
    auto const service = scratch.write("service.txt", R"(+-o Root  <class IORegistryEntry, id 0x100000100>
  +-o Mac  <class IOPlatformExpertDevice, id 0x100000110>
    +-o gpu@2  <class IOPCIDevice, id 0x100000120>
)");
    auto const device_tree = scratch.write("device_tree.txt", R"(+-o Root  <class IORegistryEntry, id 0x100000100>
  +-o device-tree  <class IOPlatformExpertDevice, id 0x100000110>
    +-o GFX0@2,1  <class IOPCIDevice, id 0x100000120>
)");
    auto const result = run_tool({"--json", "--registry", service.string(), "--registry",
                                  "IODeviceTree=" + device_tree.string(), "show", "--id", "0x100000120"});
    ASSERT_EQ(result.status, 0) << result.err;
    auto const shown = nlohmann::json::parse(result.out);
    EXPECT_EQ(shown["planes"]["IOService"]["path"], "IOService:/gpu@2");
    EXPECT_EQ(shown["planes"]["IODeviceTree"]["path"], "IODeviceTree:/GFX0@2,1");
    EXPECT_EQ(shown["planes"]["IODeviceTree"]["location"], "2,1");
    ASSERT_EQ(shown["parents"].size(), 1u);
    EXPECT_EQ(shown["parents"][0]["id"], "0x100000110");
}

TEST_F(ioreg_program_test, json_tree_has_every_entry_with_its_fields_and_show_by_path_or_id_agrees)
{
    auto const text = run_tool({"tree"});
    auto const result = run_tool({"tree", "--json", "--properties"});
    ASSERT_EQ(result.status, 0) << result.err;
    auto const document = nlohmann::json::parse(result.out);
    std::vector<nlohmann::json const*> objects;
    collect_objects(document, objects);
    EXPECT_EQ(objects.size(), lines_of(text.out).size());
    // Paths that name one entry only: siblings of one name and no location share a
    // path, which IOKit resolves to the first of them.
    std::map<std::string, std::set<std::uint64_t>> ids_by_path;
    for (auto const* object : objects)
    {
        EXPECT_TRUE(std::regex_match(object->at("id").get<std::string>(), std::regex("0x[0-9a-f]+")));
        EXPECT_TRUE(object->at("class").is_string());
        EXPECT_TRUE(object->at("name").is_string());
        EXPECT_TRUE(object->at("location").is_string() || object->at("location").is_null());
        EXPECT_TRUE(object->at("path").is_string() || object->at("path").is_null());
        EXPECT_TRUE(object->at("properties").is_object());
        if (object->at("path").is_string())
            ids_by_path[object->at("path")].insert(*tool::parse_entry_id(object->at("id")));
    }
    EXPECT_EQ(document["name"], "Root");
    EXPECT_TRUE(document["path"].is_null());
    EXPECT_EQ(document["children"][0]["path"], "IOService:/");

    int compared = 0;
    auto const step = std::max<std::size_t>(1, objects.size() / 8);
    for (std::size_t i = 1; i < objects.size() && compared < 8; i += step)
    {
        auto const& object = *objects[i];
        if (!object.at("path").is_string() || ids_by_path[object.at("path")].size() != 1)
            continue;
        auto const path = object.at("path").get<std::string>();
        auto const id = *tool::parse_entry_id(object.at("id"));
        auto const by_path = run_tool({"show", path});
        ASSERT_EQ(by_path.status, 0) << path << ": " << by_path.err;
        EXPECT_EQ(by_path.out, run_tool({"show", "--id", std::to_string(id)}).out) << path;
        EXPECT_NE(by_path.out.find(fmt::format("id {:#x}>", id)), std::string::npos) << by_path.out;
        auto const shown = nlohmann::json::parse(run_tool({"show", "--json", "--id", fmt::format("{:#x}", id)}).out);
        EXPECT_EQ(shown["path"], path);
        EXPECT_EQ(shown["id"], object.at("id"));
        EXPECT_EQ(shown["children"].size(), object.at("children").size()) << path;
        ++compared;
    }
    EXPECT_GE(compared, 4);
}

TEST_F(ioreg_program_test, show_by_id_finds_the_root_that_tree_prints_first)
{
    auto const listed = tree_lines(run_tool({"tree"}).out);
    ASSERT_FALSE(listed.empty());
    auto const result = run_tool({"show", "--id", listed.front().id});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out.rfind("Root  <class IORegistryEntry, id " + listed.front().id + ">\n", 0), 0u) << result.out;
}

TEST_F(ioreg_program_test, failures_say_one_line_and_exit_one)
{
    scratch_folder const scratch("ioreg-input");
    auto const malformed = scratch.write("malformed.txt", "this is no registry\n");
    auto const missing = (scratch.path() / "missing.xml").string();
    struct failure
    {
        std::vector<std::string> args;
        std::string message;
    };
    std::vector<failure> const failures = {
        {{"tree", "--plane", "IOFoo"}, R"(plinth-ioreg: unknown plane "IOFoo")"},
        {{"show", "IOService:/NoSuchEntry"}, R"(plinth-ioreg: no entry at path "IOService:/NoSuchEntry")"},
        {{"show", "--id", "0x7fffffff"}, "plinth-ioreg: no entry with id 0x7fffffff"},
        {{"--registry", missing, "tree"}, "plinth-ioreg: cannot read \"" + missing + "\""},
        {{"--registry", "IOFoo=" + malformed.string(), "tree"}, R"(plinth-ioreg: unknown plane "IOFoo")"},
        {{"--registry", malformed.string(), "tree"}, "plinth-ioreg: " + malformed.string() + ": line 1"},
        // Every --registry argument is checked before the first dump is read.
        {{"--registry", missing, "--registry", "IOFoo=" + malformed.string(), "tree"},
         R"(plinth-ioreg: unknown plane "IOFoo")"},
        // A name longer than the system takes names no file: it is split, and then cannot be read.
        {{"--registry", "IOUSB=" + std::string(5000, 'a'), "tree"}, "plinth-ioreg: cannot read \"aaaa"},
    };
    for (auto const& f : failures)
    {
        auto const result = run_tool(f.args);
        EXPECT_EQ(result.status, 1) << f.message;
        EXPECT_EQ(result.out, "") << f.message;
        EXPECT_EQ(result.err.rfind(f.message, 0), 0u) << result.err;
        EXPECT_EQ(lines_of(result.err).size(), 1u) << result.err;
    }
}

TEST_F(ioreg_program_test, a_mistyped_command_line_is_named_in_one_line_and_exits_two)
{
    struct mistake
    {
        std::vector<std::string> args;
        std::string message;
    };
    std::vector<mistake> const mistakes = {
        {{}, "plinth-ioreg: a command (tree, show, usb, pci, serial, watch or hid) is required"},
        {{"frobnicate"}, R"(plinth-ioreg: unknown command "frobnicate")"},
        {{"--json", "frobnicate", "--plane", "IOUSB"}, R"(plinth-ioreg: unknown command "frobnicate")"},
        {{"tree", "--no-such-option"}, R"(plinth-ioreg: unknown option "--no-such-option")"},
        {{"tree", "IOService:/"}, R"(plinth-ioreg: unexpected argument "IOService:/")"},
        {{"show"}, "plinth-ioreg: show: the entry's path or --id is required"},
        {{"show", "--id", "0x"}, "plinth-ioreg: --id: not a registry entry ID: 0x"},
        {{"show", "--id", "12z"}, "plinth-ioreg: --id: not a registry entry ID: 12z"},
        {{"show", "IOService:/", "--id", "1"}, "plinth-ioreg: show: takes a path or --id, not both"},
        {{"tree", "-d", "0"}, "plinth-ioreg: --depth: not a depth of 1 or more: 0"},
        {{"tree", "-r"}, "plinth-ioreg: -r: needs something to look for: -c, -n or -k"},
    };
    for (auto const& m : mistakes)
    {
        auto const result = run_tool(m.args);
        EXPECT_EQ(result.status, 2) << m.message;
        EXPECT_EQ(result.out, "") << m.message;
        EXPECT_EQ(result.err, m.message + "\n");
    }
}

TEST_F(ioreg_program_test, asking_for_help_or_the_version_prints_it_and_exits_zero)
{
    auto const version = run_tool({"--version"});
    EXPECT_EQ(version.status, 0) << version.err;
    EXPECT_EQ(version.out, "plinth-ioreg " PLINTH_PROJECT_VERSION "\n");
    EXPECT_EQ(version.err, "");

    auto const help = run_tool({"tree", "--help"});
    EXPECT_EQ(help.status, 0);
    for (auto const* option : {"--plane", "-c,--class", "-n,--name", "-k,--key", "-r,--subtrees", "-d,--depth"})
        EXPECT_NE(help.out.find(option), std::string::npos) << option;
    EXPECT_NE(run_tool({"--help"}).out.find("An existing FILE is always read as it is named"), std::string::npos);
}

TEST_F(ioreg_program_test, writing_to_a_full_disk_fails_in_one_line)
{
    for (auto const& args : std::vector<std::vector<std::string>>{{"tree"}, {"tree", "--json", "-l"}, {"--help"}})
    {
        auto const result = run_tool(args, output_to("/dev/full"));
        EXPECT_EQ(result.status, 1) << testing::PrintToString(args);
        EXPECT_EQ(result.err.rfind("plinth-ioreg: cannot write the output", 0), 0u) << result.err;
        EXPECT_EQ(lines_of(result.err).size(), 1u) << result.err;
    }
}

constexpr char two_entry_listing[] = R"(+-o Root  <class IORegistryEntry, id 0x100000100>
  +-o Mac  <class IOPlatformExpertDevice, id 0x100000110>
)";

TEST_F(ioreg_program_test, a_dump_piped_to_standard_input_is_read_once)
{
    scratch_folder const scratch("ioreg-input");
    auto const listing = scratch.write("listing.txt", two_entry_listing);
    auto const piped = run_tool({"--registry", "-", "tree"}, input_from(listing));
    ASSERT_EQ(piped.status, 0) << piped.err;
    EXPECT_EQ(piped.out, two_entry_listing);

    auto const usb = run_tool({"--registry", "IOUSB=-", "tree", "--plane", "IOUSB"}, input_from(listing));
    ASSERT_EQ(usb.status, 0) << usb.err;
    EXPECT_EQ(usb.out, two_entry_listing);

    auto const bad = scratch.write("bad.txt", "this is no registry\n");
    auto const refused = run_tool({"--registry", "-", "tree"}, input_from(bad));
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.err.rfind("plinth-ioreg: standard input: line 1", 0), 0u) << refused.err;

    auto const twice = run_tool({"--registry", "-", "--registry", "IOUSB=-", "tree"}, input_from(listing));
    EXPECT_EQ(twice.status, 1);
    EXPECT_EQ(twice.err, "plinth-ioreg: standard input (-) can be given only once\n");
}

// A mouse recorded on Linux: three reports, a tenth of a second apart.
constexpr char const* recorded_mouse =
    "# recorded on Linux\n"
    "D: 0\n"
    "R: 25 05 01 09 02 a1 01 85 01 05 09 19 01 29 03 15 00 25 01 75 08 95 03 81 02 c0\n"
    "N: Replayed Mouse\n"
    "I: 3 046d c077\n"
    "E: 000000.100000 4 01 01 00 00\n"
    "E: 000000.200000 4 01 00 01 00\n"
    "E: 000000.300000 4 01 00 00 01\n";

TEST_F(ioreg_program_test, a_replayed_recording_is_a_hid_device_that_every_command_sees_and_reads)
{
    scratch_folder const scratch("ioreg-replay");
    auto const file = scratch.write("mouse.hid", recorded_mouse).string();
    auto const listed = run_tool({"--replay", file, "--json", "hid"});
    ASSERT_EQ(listed.status, 0) << listed.err;
    std::string id;
    for (auto const& item : nlohmann::json::parse(listed.out))
        if (item["product"] == "Replayed Mouse")
        {
            id = item["id"].get<std::string>();
            EXPECT_EQ(item["path"], "IOService:/Replayed Mouse/IOUSBHostInterface@0/IOUSBHostHIDDevice");
        }
    ASSERT_FALSE(id.empty()) << listed.out;

    auto const read = run_tool({"--replay", file, "hid", "read", id, "--count", "3"});
    ASSERT_EQ(read.status, 0) << read.err;
    auto const lines = lines_of(read.out);
    ASSERT_EQ(lines.size(), 3u) << read.out;
    EXPECT_TRUE(lines[0].ends_with("  id 1  01 01 00 00")) << lines[0];
    EXPECT_TRUE(lines[2].ends_with("  id 1  01 00 00 01")) << lines[2];

    auto const decoded = run_tool({"--replay", file, "hid", "read", id, "--count", "1", "--decode"});
    EXPECT_TRUE(decoded.out.ends_with("  id 1  Button 1 = 1, Button 2 = 0, Button 3 = 0\n")) << decoded.out;

    auto const bad = scratch.write("bad.hid", "R: 2 a1 c0\nE: 0.1 2 00\n").string();
    auto const refused = run_tool({"--replay", bad, "hid"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.err, "plinth-ioreg: " + bad + ": line 2: the length says 2 bytes, the line has 1\n");
    auto const empty = scratch.write("empty.hid", "# nothing recorded\n").string();
    EXPECT_EQ(run_tool({"--replay", empty, "hid"}).err, "plinth-ioreg: " + empty + ": the recording holds no device\n");
}

TEST_F(ioreg_program_test, a_dump_with_an_equals_sign_in_its_file_name_is_read)
{
    scratch_folder const scratch("ioreg-input");
    auto const odd = scratch.write("IOUSB=odd.txt", two_entry_listing);
    // The file exists, so the whole argument is its name, not IOUSB and "odd.txt".
    auto const as_named = run_tool({"--registry", "IOUSB=odd.txt", "tree"}, working_in(scratch.path()));
    ASSERT_EQ(as_named.status, 0) << as_named.err;
    EXPECT_EQ(as_named.out, two_entry_listing);

    // A name that is no file is split at its first '=': a plane, then the file.
    auto const split = run_tool({"--registry", "IOUSB=" + odd.string(), "tree", "--plane", "IOUSB"});
    ASSERT_EQ(split.status, 0) << split.err;
    EXPECT_EQ(split.out, two_entry_listing);
    auto const in_service = run_tool({"--registry", "IOUSB=" + odd.string(), "tree"});
    EXPECT_EQ(lines_of(in_service.out).size(), 1u) << "the dump went to IOUSB, not IOService";
}

// ---- Searching ------------------------------------------------------------

// A small registry for searches: "leaf@2" has two parents, "port@1" and "other",
// so that it shows under each; "wanted" is on two entries.
constexpr char search_listing[] = R"(+-o Root  <class IORegistryEntry, id 0x100000100>
  | {
  | }
  | 
  +-o Mac  <class IOPlatformExpertDevice, id 0x100000110>
    | {
    | }
    | 
    +-o port@1  <class IOService, id 0x100000111>
    | | {
    | |   "wanted" = Yes
    | | }
    | | 
    | +-o leaf@2  <class IOService, id 0x100000112>
    |     {
    |       "wanted" = No
    |     }
    |     
    +-o leaf@3  <class IOService, id 0x100000113>
    |   {
    |   }
    |   
    +-o other  <class IOService, id 0x100000114>
      | {
      | }
      | 
      +-o leaf@2  <class IOService, id 0x100000112>
          {
            "wanted" = No
          }
          
)";

class ioreg_search_test : public plinth::testing::sim_test
{
protected:
    run_result search(std::vector<std::string> const& tree_args)
    {
        std::vector<std::string> args = {"--registry", listing_.string(), "tree"};
        args.insert(args.end(), tree_args.begin(), tree_args.end());
        auto result = run_tool(args);
        EXPECT_EQ(result.err, "") << testing::PrintToString(tree_args);
        EXPECT_EQ(result.status, 0) << testing::PrintToString(tree_args);
        return result;
    }

private:
    scratch_folder scratch_{"ioreg-search"};
    fs::path listing_ = scratch_.write("search.txt", search_listing);
};

TEST_F(ioreg_search_test, looking_for_a_name_shows_each_match_with_its_properties_under_its_ancestors)
{
    EXPECT_EQ(search({"-n", "leaf"}).out, R"(+-o Root  <class IORegistryEntry, id 0x100000100>
  +-o Mac  <class IOPlatformExpertDevice, id 0x100000110>
    +-o port@1  <class IOService, id 0x100000111>
    | +-o leaf@2  <class IOService, id 0x100000112>
    |     {
    |       "wanted" = No
    |     }
    |     
    +-o leaf@3  <class IOService, id 0x100000113>
    |   {
    |   }
    |   
    +-o other  <class IOService, id 0x100000114>
      +-o leaf@2  <class IOService, id 0x100000112>
          {
            "wanted" = No
          }
          
)");
    // The name as the tree prints it, with its location, picks one of them.
    EXPECT_EQ(search({"-n", "leaf@3"}).out, R"(+-o Root  <class IORegistryEntry, id 0x100000100>
  +-o Mac  <class IOPlatformExpertDevice, id 0x100000110>
    +-o leaf@3  <class IOService, id 0x100000113>
        {
        }
        
)");
    // -l adds the properties of the entries on the way.
    auto const with_all = lines_of(search({"-n", "leaf@3", "-l"}).out);
    EXPECT_EQ(with_all.size(), 12u) << "three entries, each with its block";
    EXPECT_EQ(search({"-n", "nothing"}).out, "") << "no match, nothing shown";
    EXPECT_EQ(search({"-n", "nothing", "-r"}).out, "");
}

TEST_F(ioreg_search_test, looking_for_a_key_and_a_name_shows_only_entries_that_have_both)
{
    auto const key_only = tree_lines(search({"-k", "wanted"}).out);
    std::vector<std::string> names;
    for (auto const& line : key_only)
        names.push_back(line.name);
    EXPECT_EQ(names, (std::vector<std::string>{"Root", "Mac", "port@1", "leaf@2", "other", "leaf@2"}));

    auto const both = tree_lines(search({"-k", "wanted", "-n", "port"}).out);
    ASSERT_EQ(both.size(), 3u);
    EXPECT_EQ(both.back().name, "port@1");
    EXPECT_EQ(search({"-k", "no-such-key"}).out, "");
}

TEST_F(ioreg_search_test, limiting_the_depth_stops_the_walk_and_the_search)
{
    EXPECT_EQ(search({"-d", "2"}).out, R"(+-o Root  <class IORegistryEntry, id 0x100000100>
  +-o Mac  <class IOPlatformExpertDevice, id 0x100000110>
)");
    EXPECT_EQ(search({"-d", "1", "-l"}).out, R"(+-o Root  <class IORegistryEntry, id 0x100000100>
    {
    }
    
)");
    // leaf@2 is on the fourth level, leaf@3 on the third.
    auto const shallow = tree_lines(search({"-n", "leaf", "-d", "3"}).out);
    ASSERT_EQ(shallow.size(), 3u);
    EXPECT_EQ(shallow.back().name, "leaf@3");
}

TEST_F(ioreg_search_test, asking_for_subtrees_shows_each_match_as_a_tree_of_its_own)
{
    // port@1 matches, and leaf@2 below it matches again: ioreg -r shows it once
    // inside port@1's tree and once on its own for each of its parents.
    EXPECT_EQ(search({"-r", "-k", "wanted"}).out, R"(+-o port@1  <class IOService, id 0x100000111>
  | {
  |   "wanted" = Yes
  | }
  | 
  +-o leaf@2  <class IOService, id 0x100000112>
      {
        "wanted" = No
      }
      
+-o leaf@2  <class IOService, id 0x100000112>
    {
      "wanted" = No
    }
    
+-o leaf@2  <class IOService, id 0x100000112>
    {
      "wanted" = No
    }
    
)");
    // The depth counts from each match: 1 is the match alone, also inside another.
    auto const alone = tree_lines(search({"-r", "-k", "wanted", "-d", "1"}).out);
    ASSERT_EQ(alone.size(), 3u);
    for (auto const& line : alone)
        EXPECT_EQ(line.indent, "") << line.name;
    EXPECT_EQ(search({"-r", "-n", "Mac", "-d", "1"}).out, R"(+-o Mac  <class IOPlatformExpertDevice, id 0x100000110>
    {
    }
    
)");
    auto const two_levels = tree_lines(search({"-r", "-n", "Mac", "-d", "2"}).out);
    EXPECT_EQ(two_levels.size(), 4u);

    // JSON: an array of the subtrees; without -r the pruned tree, or null.
    auto const subtrees = nlohmann::json::parse(search({"--json", "-r", "-k", "wanted"}).out);
    ASSERT_TRUE(subtrees.is_array());
    ASSERT_EQ(subtrees.size(), 3u);
    EXPECT_EQ(subtrees[0]["id"], "0x100000111");
    EXPECT_EQ(subtrees[0]["properties"]["wanted"], true);
    EXPECT_EQ(nlohmann::json::parse(search({"--json", "-r", "-n", "nothing"}).out), nlohmann::json::array());
    EXPECT_TRUE(nlohmann::json::parse(search({"--json", "-n", "nothing"}).out).is_null());
    auto const pruned = nlohmann::json::parse(search({"--json", "-n", "leaf@3"}).out);
    EXPECT_EQ(pruned["children"][0]["children"][0]["id"], "0x100000113");
    EXPECT_FALSE(pruned.contains("properties")) << "only matches show their properties";
}

// The library's own view of a search by class: each entry conforming to the
// class, once per place the walk from `from` reaches it, in walk order.
void collect_conforming(device const& from, plane p, std::string const& class_name, std::vector<std::uint64_t>& ids)
{
    if (from.conforms_to_class(class_name))
        ids.push_back(from.get_id());
    auto children = from.get_children(p);
    while (auto object = children.next())
        collect_conforming(device(io_registry_entry(std::move(object))), p, class_name, ids);
}

void collect_nodes(tool::tree_node const& node, std::vector<tool::tree_node const*>& out)
{
    out.push_back(&node);
    for (auto const& child : node.children)
        collect_nodes(child, out);
}

using ioreg_search_in_process_test = plinth::testing::sim_test;

TEST_F(ioreg_search_in_process_test, looking_for_a_class_finds_what_the_library_says_conforms_and_leaks_nothing)
{
    sim::load_bundled_registry();
    tree const registry(mach_port::master_port_default());
    for (auto const* class_name : {"IOUSBHostDevice", "IOPCIDevice", "IOSerialBSDClient"})
    {
        std::vector<std::uint64_t> expected;
        collect_conforming(registry.get_root_node(), plane::service, class_name, expected);
        ASSERT_FALSE(expected.empty()) << class_name;

        tool::search_criteria criteria;
        criteria.class_name = class_name;
        tool::search_scope scope;
        scope.subtrees = true;
        scope.depth = 1;
        tool::registry_search const subtrees(plane::service, criteria, scope, false);
        std::vector<std::uint64_t> found;
        for (auto const& match : subtrees.subtrees_of_matches(tool::find_root(registry)))
        {
            found.push_back(match.summary.id);
            EXPECT_TRUE(match.children.empty()) << "depth 1 is the match alone";
            EXPECT_TRUE(match.properties.has_value());
        }
        EXPECT_EQ(found, expected) << class_name;

        // Above the matches: every entry shown is a match (with its properties)
        // or leads to one, and every match is there.
        auto const pruned =
            tool::registry_search(plane::service, criteria, {}, false).entries_above_matches(tool::find_root(registry));
        ASSERT_TRUE(pruned.has_value());
        std::vector<tool::tree_node const*> nodes;
        collect_nodes(*pruned, nodes);
        std::vector<std::uint64_t> shown_matches;
        for (auto const* node : nodes)
        {
            if (node->properties)
                shown_matches.push_back(node->summary.id);
            else
                EXPECT_FALSE(node->children.empty()) << class_name << ": " << node->summary.name << " leads nowhere";
        }
        EXPECT_EQ(shown_matches, expected) << class_name;
    }
}

TEST_F(ioreg_search_in_process_test, subtrees_of_matches_inside_matches_each_have_their_own_depth)
{
    sim::load_bundled_registry();
    tree const registry(mach_port::master_port_default());
    // Every entry conforms to IOService but the root: each is a match, inside the
    // trees of all the matches above it.
    std::vector<std::uint64_t> expected;
    collect_conforming(registry.get_root_node(), plane::service, "IOService", expected);
    tool::search_criteria criteria;
    criteria.class_name = "IOService";
    for (std::size_t const depth : {1u, 2u, 3u})
    {
        tool::search_scope scope;
        scope.subtrees = true;
        scope.depth = depth;
        auto const found = tool::registry_search(plane::service, criteria, scope, false)
                               .subtrees_of_matches(tool::find_root(registry));
        ASSERT_EQ(found.size(), expected.size());
        for (std::size_t i = 0; i < found.size(); ++i)
        {
            EXPECT_EQ(found[i].summary.id, expected[i]);
            // The whole tree below the match, down to the depth: what a plain walk
            // from the match gives, cut at that depth.
            auto const entry = tool::find_by_id(registry, expected[i]);
            std::size_t walked = 0;
            std::function<void(tool::tree_node const&, std::size_t)> count = [&](auto const& n, std::size_t level) {
                ++walked;
                if (level < depth)
                    for (auto const& c : n.children)
                        count(c, level + 1);
            };
            count(tool::registry_walker(plane::service, false).walk(entry), 1);
            EXPECT_EQ(tool::count_nodes(found[i]), walked) << found[i].summary.name << " depth " << depth;
        }
    }
}

// ---- The options, in-process -----------------------------------------------

TEST(ioreg_options_test, entry_ids_are_decimal_or_hex)
{
    EXPECT_EQ(tool::parse_entry_id("4294967552"), 0x100000100u);
    EXPECT_EQ(tool::parse_entry_id("0x100000100"), 0x100000100u);
    EXPECT_EQ(tool::parse_entry_id("0XfF"), 255u);
    EXPECT_EQ(tool::parse_entry_id("18446744073709551615"), UINT64_MAX);
    for (auto const* bad : {"", "0x", "-1", "12z", "0x1g", "18446744073709551616", " 1"})
        EXPECT_FALSE(tool::parse_entry_id(bad).has_value()) << bad;
}

#else

TEST(plinth_ioreg_test, needs_the_tool)
{
    GTEST_SKIP() << "plinth-ioreg is not built (PLINTH_BUILD_TOOLS is off)";
}

#endif

} // namespace
