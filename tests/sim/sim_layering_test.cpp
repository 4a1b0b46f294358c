// The include rules of sim/README.md's layers, checked over sim/'s sources: no layer includes one built on it.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

fs::path const sim_dir = fs::path(PLINTH_SOURCE_DIR) / "sim";

// The property value model still lives among the control headers, on its way to
// a component below the simulation; the models and loaders may include it.
bool is_value_model(std::string const& header)
{
    return header == "sim/control/value.hpp";
}

// "file: #include "header"" for each project include in `folder` that `forbidden` rejects.
template <typename Forbidden>
std::vector<std::string> includes_breaking_rule(std::string const& folder, Forbidden forbidden)
{
    std::regex const include(R"(^\s*#\s*include\s*"([^"]+)\")");
    std::vector<std::string> broken;
    for (auto const& item : fs::recursive_directory_iterator(sim_dir / folder))
    {
        auto const extension = item.path().extension();
        if (extension != ".cpp" && extension != ".hpp" && extension != ".h")
            continue;
        std::ifstream in(item.path());
        for (std::string line; std::getline(in, line);)
        {
            std::smatch match;
            if (std::regex_search(line, match, include) && forbidden(match[1].str()))
                broken.push_back(item.path().lexically_relative(sim_dir).generic_string() + ": " + line);
        }
    }
    return broken;
}

std::string listed(std::vector<std::string> const& lines)
{
    std::string text;
    for (auto const& line : lines)
        text += "\n  " + line;
    return text;
}

bool starts_with(std::string const& text, char const* prefix)
{
    return text.rfind(prefix, 0) == 0;
}

TEST(sim_layering, entry_points_and_models_never_include_the_loaders_or_the_control_interface)
{
    auto const above_models = [](std::string const& header) {
        return starts_with(header, "sim/loaders/") || (starts_with(header, "sim/control/") && !is_value_model(header));
    };
    for (auto const* folder : {"CoreFoundation", "IOKit", "mach", "detail"})
        EXPECT_TRUE(includes_breaking_rule(folder, above_models).empty())
            << listed(includes_breaking_rule(folder, above_models));
}

TEST(sim_layering, loaders_read_text_into_descriptions_without_touching_the_live_registry)
{
    auto const beyond_loaders = [](std::string const& header) {
        if (starts_with(header, "sim/loaders/"))
            return false;
        if (starts_with(header, "sim/control/"))
            return !is_value_model(header);
        if (starts_with(header, "sim/detail/"))
            return header != "sim/detail/registry/registry_description.hpp" &&
                   header != "sim/detail/registry/keyed_dictionary.hpp" && // of the value model
                   header != "sim/detail/kernel/hex_text.hpp";
        return starts_with(header, "sim/");
    };
    EXPECT_TRUE(includes_breaking_rule("loaders", beyond_loaders).empty())
        << listed(includes_breaking_rule("loaders", beyond_loaders));
}

} // namespace
