// Visiting every entry of one plane once, depth first, handing each to the visitor by move.
#include "tools/plinth-ioreg/walk/plane_visit.hpp"

#include "io_kit/io_registry_entry.hpp"

#include <cstdint>
#include <unordered_set>
#include <utility>

namespace plinth::ioreg_tool {
namespace {

class plane_visit
{
public:
    plane_visit(plane p, plane_visitor const& visit) : plane_(p), visit_(visit) {}

    // The entries that `children` yields and those below them; whether it yielded any.
    bool below(apple::io_kit::io_iterator children, int weight)
    {
        bool any = false;
        while (auto object = children.next())
        {
            any = true;
            apple::device child(apple::io_kit::io_registry_entry(std::move(object)));
            if (!seen_.insert(child.get_id()).second)
                continue;
            // The child iterator is a snapshot of its own, so the entry can go to
            // the visitor before its children are walked.
            auto grandchildren = child.get_children(plane_);
            auto const own_weight = visit_(std::move(child), weight);
            below(std::move(grandchildren), weight + own_weight);
        }
        return any;
    }

private:
    plane plane_;
    plane_visitor const& visit_;
    std::unordered_set<std::uint64_t> seen_;
};

} // namespace

bool visit_plane(apple::tree const& registry, plane p, plane_visitor const& visit)
{
    return plane_visit(p, visit).below(registry.get_root_node().get_children(p), 0);
}

} // namespace plinth::ioreg_tool
