// The CFData object of the CF model.
#pragma once

#include "sim/detail/cf/cf_object.hpp"
#include "sim/detail/cf/cf_type_registry.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace plinth::sim::detail {

// A CFData or CFMutableData: its own copy of the bytes.
class cf_data final : public cf_object
{
public:
    // `capacity` limits a mutable data's length; 0 means no limit.
    cf_data(std::vector<UInt8> bytes, bool is_mutable, std::size_t capacity = 0);

    static constexpr CFTypeID class_type_id() noexcept { return cf_data_type_id; }
    bool is_mutable() const noexcept { return mutable_; }
    std::size_t capacity() const noexcept { return capacity_; }

    std::vector<UInt8>& bytes() noexcept { return bytes_; }
    std::vector<UInt8> const& bytes() const noexcept { return bytes_; }

    bool equals(cf_object const& other) const override;
    CFHashCode hash() const override;
    std::string description() const override;

private:
    std::vector<UInt8> bytes_;
    bool mutable_;
    std::size_t capacity_;
};

} // namespace plinth::sim::detail
