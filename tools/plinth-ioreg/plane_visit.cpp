#include "tools/plinth-ioreg/plane_visit.hpp"

#include "io_kit/io_registry_entry.hpp"

#include <cstdint>
#include <unordered_set>

namespace plinth::ioreg_tool {
namespace {

class plane_visit
{
public:
    plane_visit(plane p, plane_visitor const& visit) : plane_(p), visit_(visit) {}

    // The children of `parent`; whether it had any.
    bool below(apple::device const& parent, int weight)
    {
        bool any = false;
        auto children = parent.get_children(plane_);
        while (auto object = children.next()) {
            any = true;
            apple::device const child(apple::io_kit::io_registry_entry(std::move(object)));
            if (!seen_.insert(child.get_id()).second)
                continue;
            below(child, weight + visit_(child, weight));
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
    return plane_visit(p, visit).below(registry.get_root_node(), 0);
}

} // namespace plinth::ioreg_tool
