// The contract table of sim/README.md against the library's sources: the CF and IOKit functions it calls, and the files that call them.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

fs::path const source_dir = PLINTH_SOURCE_DIR;

std::string read_file(fs::path const& file)
{
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// C and C++ text without its comments and the contents of its string and
// character literals, so that only code is left to scan. Line breaks stay.
std::string code_only(std::string const& text)
{
    std::string code;
    code.reserve(text.size());
    for (std::size_t i = 0; i < text.size();)
    {
        if (text.compare(i, 2, "//") == 0)
        {
            i = text.find('\n', i);
            if (i == std::string::npos)
                break;
        }
        else if (text.compare(i, 2, "/*") == 0)
        {
            auto const end = text.find("*/", i + 2);
            for (auto j = i; j < std::min(end, text.size()); ++j)
                if (text[j] == '\n')
                    code += '\n';
            i = end == std::string::npos ? text.size() : end + 2;
        }
        else if (text.compare(i, 2, "R\"") == 0)
        {
            auto const open = text.find('(', i);
            auto const delimiter = ")" + text.substr(i + 2, open - i - 2) + "\"";
            auto const end = text.find(delimiter, open);
            code += "\"\"";
            i = end == std::string::npos ? text.size() : end + delimiter.size();
        }
        else if (text[i] == '"' || text[i] == '\'')
        {
            char const quote = text[i++];
            while (i < text.size() && text[i] != quote)
                i += text[i] == '\\' ? 2 : 1;
            code += quote;
            code += quote;
            ++i;
        }
        else
            code += text[i++];
    }
    return code;
}

bool is_source(fs::path const& file)
{
    auto const extension = file.extension();
    return extension == ".cpp" || extension == ".hpp" || extension == ".h";
}

std::regex const cf_or_io_call(R"(\b((?:CF|IO)[A-Z]\w*)\s*\()");
std::regex const cf_or_io_name(R"(\b(?:CF|IO)[A-Z]\w*\b)");

// What the simulated Apple-named headers declare: the functions, and every other
// CF or IOKit name (types, constants, macros).
struct apple_headers
{
    std::set<std::string> functions;
    std::set<std::string> other_names;
};

apple_headers read_apple_headers()
{
    apple_headers headers;
    std::set<std::string> all_names;
    for (auto const* folder : {"sim/CoreFoundation", "sim/IOKit", "sim/mach"})
        for (auto const& item : fs::recursive_directory_iterator(source_dir / folder))
        {
            if (item.path().extension() != ".h")
                continue;
            std::istringstream lines(code_only(read_file(item.path())));
            for (std::string line; std::getline(lines, line);)
            {
                for (std::sregex_iterator name(line.begin(), line.end(), cf_or_io_name), end; name != end; ++name)
                    all_names.insert(name->str());
                // A name followed by '(' outside the preprocessor's lines is a
                // function: function-pointer typedefs put the name inside "(*...)".
                if (line.find_first_not_of(" \t") != std::string::npos && line[line.find_first_not_of(" \t")] == '#')
                    continue;
                for (std::sregex_iterator call(line.begin(), line.end(), cf_or_io_call), end; call != end; ++call)
                    headers.functions.insert((*call)[1].str());
            }
        }
    std::ranges::set_difference(all_names, headers.functions,
                                std::inserter(headers.other_names, headers.other_names.end()));
    return headers;
}

// Function name -> the library's files (relative to the source tree) that call it.
using call_sites = std::map<std::string, std::set<std::string>>;

struct library_scan
{
    call_sites calls;              // of functions the simulated headers declare
    std::set<std::string> unknown; // called like a function, declared nowhere in them
};

library_scan scan_library(apple_headers const& headers)
{
    library_scan scan;
    for (auto const* folder : {"io_kit", "device", "error", "log", "utility"})
    {
        if (!fs::exists(source_dir / folder))
            continue;
        for (auto const& item : fs::recursive_directory_iterator(source_dir / folder))
        {
            if (!item.is_regular_file() || !is_source(item.path()))
                continue;
            auto const code = code_only(read_file(item.path()));
            auto const relative = item.path().lexically_relative(source_dir).generic_string();
            for (std::sregex_iterator call(code.begin(), code.end(), cf_or_io_call), end; call != end; ++call)
            {
                auto const name = (*call)[1].str();
                if (headers.functions.contains(name))
                    scan.calls[name].insert(relative);
                else if (!headers.other_names.contains(name)) // types in casts, macros such as CFSTR
                    scan.unknown.insert(name);
            }
        }
    }
    return scan;
}

// The contract table's rows: function -> the files its "called from" cell names.
call_sites read_contract_table()
{
    std::istringstream lines(read_file(source_dir / "sim/README.md"));
    std::regex const row(R"(^\|\s*`((?:CF|IO)[A-Z]\w*)`\s*\|([^|]*)\|)");
    std::regex const file(R"([\w/]+\.(?:cpp|hpp|h)\b)");
    call_sites table;
    bool in_contract = false;
    for (std::string line; std::getline(lines, line);)
    {
        if (line.starts_with("## "))
            in_contract = line == "## The contract";
        std::smatch match;
        if (!in_contract || !std::regex_search(line, match, row))
            continue;
        auto const cell = match[2].str();
        auto& files = table[match[1].str()];
        for (std::sregex_iterator named(cell.begin(), cell.end(), file), end; named != end; ++named)
            files.insert(named->str());
    }
    return table;
}

std::string joined(std::set<std::string> const& items)
{
    std::string text;
    for (auto const& item : items)
        text += (text.empty() ? "" : ", ") + item;
    return text;
}

// The scans read the whole library once for all tests.
class contract_table : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        headers = read_apple_headers();
        library = scan_library(headers);
        table = read_contract_table();
    }

    static inline apple_headers headers;
    static inline library_scan library;
    static inline call_sites table;
};

TEST_F(contract_table, the_scans_find_what_they_look_for)
{
    // A scan that finds nothing would pass every comparison below.
    EXPECT_TRUE(headers.functions.contains("CFRetain"));
    EXPECT_TRUE(headers.functions.contains("IOObjectRelease"));
    EXPECT_FALSE(headers.functions.contains("CFSTR")) << "a macro is no function";
    EXPECT_TRUE(library.calls.contains("IOObjectRelease"));
    EXPECT_TRUE(table.contains("IOObjectRelease"));
}

TEST_F(contract_table, library_calls_only_functions_the_simulated_headers_declare)
{
    EXPECT_TRUE(library.unknown.empty()) << "the library calls, and sim/'s Apple-named headers do not declare: "
                                         << joined(library.unknown);
}

TEST_F(contract_table, has_a_row_for_each_function_the_library_calls_and_no_other)
{
    for (auto const& [function, files] : library.calls)
        EXPECT_TRUE(table.contains(function))
            << function << " is called by " << joined(files) << " but has no row in sim/README.md's contract table";
    for (auto const& [function, files] : table)
        EXPECT_TRUE(library.calls.contains(function))
            << function << " has a row in sim/README.md's contract table but the library does not call it";
}

TEST_F(contract_table, names_exactly_the_files_that_call_each_function)
{
    for (auto const& [function, named] : table)
    {
        auto const found = library.calls.find(function);
        if (found == library.calls.end())
            continue; // reported by the test above
        std::set<std::string> missing;
        std::set<std::string> stale;
        std::ranges::set_difference(found->second, named, std::inserter(missing, missing.end()));
        std::ranges::set_difference(named, found->second, std::inserter(stale, stale.end()));
        EXPECT_TRUE(missing.empty()) << function << ": the table does not name the callers " << joined(missing);
        EXPECT_TRUE(stale.empty()) << function << ": the table names files that do not call it: " << joined(stale);
    }
}

} // namespace
