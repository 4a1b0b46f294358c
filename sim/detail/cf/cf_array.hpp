// The CFArray object of the CF model.
#pragma once

#include "sim/detail/cf/cf_callbacks.hpp"
#include "sim/detail/cf/cf_object.hpp"
#include "sim/detail/cf/cf_type_registry.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace plinth::sim::detail {

// A CFArray or CFMutableArray. It owns its values: they are retained through the
// callbacks on the way in and released on the way out. Indices are checked by the
// callers.
class cf_array final : public cf_object
{
public:
    cf_array(cf_callbacks callbacks, bool is_mutable);
    ~cf_array() override;

    static constexpr CFTypeID class_type_id() noexcept { return cf_array_type_id; }
    bool is_mutable() const noexcept { return mutable_; }

    cf_callbacks const& callbacks() const noexcept { return callbacks_; }
    std::vector<void const*> const& values() const noexcept { return values_; }
    std::size_t size() const noexcept { return values_.size(); }

    void insert(std::size_t index, void const* value);
    void replace(std::size_t index, void const* value);
    void remove(std::size_t index);
    void clear();
    // Orders the values in [from, to) by `compare`, stably.
    void sort(std::size_t from, std::size_t to, CFComparatorFunction compare, void* context);

    // Same count, and equal values at every index.
    bool equals(cf_object const& other) const override;
    CFHashCode hash() const override;
    std::string description() const override;

private:
    cf_callbacks callbacks_;
    std::vector<void const*> values_;
    bool mutable_;
};

} // namespace plinth::sim::detail
