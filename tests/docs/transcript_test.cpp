// Checks that every plinth-ioreg transcript in the README and docs/ is what the tool really prints.
#include "support/scratch_folder.hpp"

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

#if defined(PLINTH_IOREG_TOOL)

namespace fs = std::filesystem;
using plinth::testing::read_file;
using plinth::testing::scratch_folder;

fs::path const source_dir = PLINTH_SOURCE_DIR;

// One command that a page shows with what it prints.
struct transcript
{
    std::string page; // the markdown file, relative to the source folder
    std::vector<std::string> args;
    std::vector<std::string> expected; // "..." stands for any lines
    int status = 0;
};

std::vector<std::string> lines_of(std::string const& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

// Words as a shell splits them, with double quotes around a word that has spaces.
std::vector<std::string> shell_words(std::string const& line)
{
    std::vector<std::string> words;
    std::string word;
    bool quoted_word = false;
    bool in_word = false;
    for (char const c : line)
    {
        if (c == '"')
        {
            quoted_word = !quoted_word;
            in_word = true;
        }
        else if (c == ' ' && !quoted_word)
        {
            if (in_word)
                words.push_back(std::exchange(word, {}));
            in_word = false;
        }
        else
        {
            word += c;
            in_word = true;
        }
    }
    if (in_word)
        words.push_back(word);
    return words;
}

// The markdown pages that may show the tool at work: the top folder's, those of
// docs/ and each folder's README.
std::vector<fs::path> markdown_pages()
{
    std::vector<fs::path> pages;
    for (auto const& file : fs::directory_iterator(source_dir))
    {
        if (file.is_regular_file() && file.path().extension() == ".md")
            pages.push_back(file.path());
        else if (file.is_directory() && fs::exists(file.path() / "README.md"))
            pages.push_back(file.path() / "README.md");
    }
    if (fs::is_directory(source_dir / "docs"))
        for (auto const& file : fs::directory_iterator(source_dir / "docs"))
            if (file.path().extension() == ".md")
                pages.push_back(file.path());
    return pages;
}

// The "$ scripts/plinth-ioreg ..." commands of `page`'s plain ``` blocks, each with
// the lines below it in its block. A line that ends in "(exit status N)" gives the
// status the command ends with.
std::vector<transcript> transcripts_of(fs::path const& page)
{
    static std::string const prompt = "$ scripts/plinth-ioreg ";
    static std::regex const status_note(R"(^(.*?) +\(exit status (\d+)\)$)");
    auto const name = fs::relative(page, source_dir).string();
    std::vector<transcript> found;
    bool in_block = false;
    bool in_output_block = false;
    bool after_prompt = false; // lines before a block's first prompt belong to no command
    for (auto const& line : lines_of(read_file(page)))
    {
        if (line.starts_with("```"))
        {
            in_output_block = !in_block && line == "```";
            in_block = !in_block;
            after_prompt = false;
            continue;
        }
        if (!in_output_block)
            continue;
        if (line.starts_with(prompt))
        {
            found.push_back({name, shell_words(line.substr(prompt.size())), {}, 0});
            after_prompt = true;
            continue;
        }
        if (!after_prompt)
            continue;
        std::smatch m;
        if (std::regex_match(line, m, status_note))
        {
            found.back().expected.push_back(m[1]);
            found.back().status = std::stoi(m[2]);
        }
        else
        {
            found.back().expected.push_back(line);
        }
    }
    for (auto& example : found)
        while (!example.expected.empty() && example.expected.back().empty())
            example.expected.pop_back();
    return found;
}

std::string quoted(std::string const& arg)
{
    std::string result = "'";
    for (char const c : arg)
        result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return result + "'";
}

struct run_result
{
    int status = -1;
    std::string out;
    std::string err;
};

// Runs the built tool with `args` and nothing on standard input, capturing both
// streams and the exit status.
run_result run_tool(std::vector<std::string> const& args)
{
    static scratch_folder const scratch("transcript-output");
    std::string command = quoted(PLINTH_IOREG_TOOL);
    for (auto const& arg : args)
        command += ' ' + quoted(arg);
    auto const out = scratch.path() / "stdout";
    auto const err = scratch.path() / "stderr";
    command += " </dev/null >" + quoted(out.string()) + " 2>" + quoted(err.string());
    auto const raw = std::system(command.c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, read_file(out), read_file(err)};
}

// Whether `actual` is `expected`, where a "..." line stands for any lines.
bool matches_with_gaps(std::vector<std::string> const& expected, std::vector<std::string> const& actual)
{
    std::size_t a = 0;
    for (std::size_t e = 0; e < expected.size(); ++e)
    {
        if (expected[e] != "...")
        {
            if (a == actual.size() || actual[a] != expected[e])
                return false;
            ++a;
            continue;
        }
        if (e + 1 == expected.size())
            return true;
        while (a < actual.size() && actual[a] != expected[e + 1])
            ++a;
    }
    return a == actual.size();
}

// What the README and docs/ show the registry tool print is what it prints, on the
// bundled registry: a change of output shows here as a page to update.
TEST(transcripts, every_command_the_pages_show_prints_what_they_say)
{
    std::vector<transcript> examples;
    for (auto const& page : markdown_pages())
        for (auto& example : transcripts_of(page))
            examples.push_back(std::move(example));
    EXPECT_GE(examples.size(), 8u);
    for (auto const& example : examples)
    {
        // A command shown stopped by Ctrl-C runs until it is stopped (watch): its
        // own tests run it.
        if (!example.expected.empty() && example.expected.back() == "^C")
            continue;
        auto const result = run_tool(example.args);
        auto const printed = lines_of(result.out + result.err);
        EXPECT_EQ(result.status, example.status) << example.page << ": " << testing::PrintToString(example.args);
        EXPECT_TRUE(matches_with_gaps(example.expected, printed))
            << example.page << ": " << testing::PrintToString(example.args) << " printed:\n"
            << result.out << result.err;
    }
}

#else

TEST(transcripts, need_the_tool)
{
    GTEST_SKIP() << "plinth-ioreg is not built (PLINTH_BUILD_TOOLS is off)";
}

#endif

} // namespace
