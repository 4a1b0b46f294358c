// Checks that every C++ block in the README and docs/ is an example program word for word, each saying what it does.
#include "support/scratch_folder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using plinth::testing::read_file;

fs::path const source_dir = PLINTH_SOURCE_DIR;

// A page's ```cpp blocks, without their fences.
std::vector<std::string> cpp_blocks(std::string const& markdown)
{
    std::string const open = "```cpp\n";
    std::vector<std::string> blocks;
    for (auto at = markdown.find(open); at != std::string::npos; at = markdown.find(open, at))
    {
        at += open.size();
        auto const end = markdown.find("```", at);
        if (end == std::string::npos)
            break;
        blocks.push_back(markdown.substr(at, end - at));
        at = end + 3;
    }
    return blocks;
}

// The example programs, as CI builds and runs them.
std::vector<std::string> example_programs()
{
    std::vector<std::string> programs;
    for (auto const& file : fs::directory_iterator(source_dir / "examples"))
        if (file.path().extension() == ".cpp" || file.path().extension() == ".hpp")
            programs.push_back(read_file(file.path()));
    return programs;
}

// CI builds and runs every program in examples/; the README may only show those
// and the header they share.
TEST(readme_code, every_cpp_block_is_an_example_program_word_for_word)
{
    auto const programs = example_programs();
    auto const blocks = cpp_blocks(read_file(source_dir / "README.md"));
    EXPECT_GE(blocks.size(), 2u);
    for (auto const& block : blocks)
        EXPECT_NE(std::find(programs.begin(), programs.end(), block), programs.end()) << "not in examples/:\n" << block;
}

// The pages of docs/ hold to the same rule.
TEST(readme_code, every_cpp_block_of_docs_is_an_example_program_word_for_word)
{
    auto const programs = example_programs();
    std::size_t shown = 0;
    for (auto const& file : fs::directory_iterator(source_dir / "docs"))
    {
        if (file.path().extension() != ".md")
            continue;
        for (auto const& block : cpp_blocks(read_file(file.path())))
        {
            ++shown;
            EXPECT_NE(std::find(programs.begin(), programs.end(), block), programs.end())
                << file.path().filename().string() << ": not in examples/:\n"
                << block;
        }
    }
    EXPECT_GE(shown, 1u);
}

// A page quotes a program from its first line, which says what the program does:
// one comment line, then code.
TEST(readme_code, every_example_program_opens_with_one_line_saying_what_it_does)
{
    for (auto const& file : fs::directory_iterator(source_dir / "examples"))
    {
        if (file.path().extension() != ".cpp" && file.path().extension() != ".hpp")
            continue;
        auto const text = read_file(file.path());
        auto const first_end = text.find('\n');
        EXPECT_TRUE(text.starts_with("// ") && first_end != std::string::npos &&
                    !text.substr(first_end + 1).starts_with("//"))
            << file.path().filename().string();
    }
}

} // namespace
