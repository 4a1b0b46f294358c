// The CFSet object of the CF model.
#pragma once

#include "sim/detail/cf/cf_hash_table.hpp"
#include "sim/detail/cf/cf_object.hpp"
#include "sim/detail/cf/cf_type_registry.hpp"

#include <string>

namespace plinth::sim::detail {

// A CFSet or CFMutableSet: each value is stored as its own key.
class cf_set final : public cf_object
{
public:
    cf_set(cf_callbacks callbacks, bool is_mutable);

    static constexpr CFTypeID class_type_id() noexcept { return cf_set_type_id; }
    bool is_mutable() const noexcept { return mutable_; }

    cf_hash_table& table() noexcept { return table_; }
    cf_hash_table const& table() const noexcept { return table_; }

    // Same count, and every value of this one is in the other.
    bool equals(cf_object const& other) const override;
    CFHashCode hash() const override;
    std::string description() const override;

private:
    cf_hash_table table_;
    bool mutable_;
};

} // namespace plinth::sim::detail
