// The CFDictionary object of the CF model.
#pragma once

#include "sim/detail/cf/cf_hash_table.hpp"
#include "sim/detail/cf/cf_object.hpp"
#include "sim/detail/cf/cf_type_registry.hpp"

#include <string>

namespace plinth::sim::detail {

// A CFDictionary or CFMutableDictionary.
class cf_dictionary final : public cf_object
{
public:
    cf_dictionary(cf_callbacks key_callbacks, cf_callbacks value_callbacks, bool is_mutable);

    static constexpr CFTypeID class_type_id() noexcept { return cf_dictionary_type_id; }
    bool is_mutable() const noexcept { return mutable_; }

    cf_hash_table& table() noexcept { return table_; }
    cf_hash_table const& table() const noexcept { return table_; }

    // Same count, and every key of this one maps in the other to an equal value.
    bool equals(cf_object const& other) const override;
    // The count, as CF hashes collections.
    CFHashCode hash() const override;
    std::string description() const override;

private:
    cf_hash_table table_;
    bool mutable_;
};

} // namespace plinth::sim::detail
