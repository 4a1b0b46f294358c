#include "support/scratch_folder.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using plinth::testing::read_file;

fs::path const source_dir = PLINTH_SOURCE_DIR;

// The README's ```cpp blocks, without their fences.
std::vector<std::string> cpp_blocks(std::string const& markdown)
{
    std::string const open = "```cpp\n";
    std::vector<std::string> blocks;
    for (auto at = markdown.find(open); at != std::string::npos; at = markdown.find(open, at)) {
        at += open.size();
        auto const end = markdown.find("```", at);
        if (end == std::string::npos)
            break;
        blocks.push_back(markdown.substr(at, end - at));
        at = end + 3;
    }
    return blocks;
}

// CI builds and runs every program in examples/; the README may only show those
// and the header they share.
TEST(readme_code, every_cpp_block_is_an_example_program_word_for_word)
{
    std::vector<std::string> programs;
    for (auto const& file : fs::directory_iterator(source_dir / "examples"))
        if (file.path().extension() == ".cpp" || file.path().extension() == ".hpp")
            programs.push_back(read_file(file.path()));
    auto const blocks = cpp_blocks(read_file(source_dir / "README.md"));
    EXPECT_GE(blocks.size(), 2u);
    for (auto const& block : blocks)
        EXPECT_NE(std::find(programs.begin(), programs.end(), block), programs.end())
            << "not in examples/:\n" << block;
}

} // namespace
