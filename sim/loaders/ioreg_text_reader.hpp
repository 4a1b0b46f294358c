// The reader of `ioreg` and `ioreg -l` text, line by line.
#pragma once

#include "sim/detail/registry/registry_description.hpp"
#include "sim/loaders/dump_builder.hpp"
#include "sim/loaders/text_line.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace plinth::sim::detail {

// Reads the text that `ioreg` and `ioreg -l` print, line by line: tree lines
// ("+-o name  <class …, id …>") indented two columns per level, each optionally
// followed by its property block. Every error names the line.
class ioreg_text_reader
{
public:
    explicit ioreg_text_reader(std::string plane) : builder_(std::move(plane)) {}

    dump read(std::string_view text) &&;

private:
    struct open_block
    {
        std::size_t opened_at; // line number of the '{'
        std::size_t column;    // where '{' and '}' stand
        entry_id owner;
    };

    void read_line(text_line const& line);
    void read_tree_line(text_line const& line);
    void open_property_block(text_line const& line);
    void read_block_line(text_line const& line);
    void read_property(text_line const& line);
    [[noreturn]] void fail(text_line const& line, std::string const& what) const;
    [[noreturn]] void fail(std::size_t line_number, std::string const& what) const;

    dump_builder builder_;
    std::vector<entry_id> path_; // the entries on the way to the last tree line, by depth
    std::optional<open_block> block_;
    bool last_entry_has_block_ = false; // the last tree line's entry already showed its properties
};

} // namespace plinth::sim::detail
