// The CFUUID object of the CF model.
#pragma once

#include "sim/detail/cf/cf_object.hpp"

#include <array>
#include <string>

namespace plinth::sim::detail {

// The 16 bytes of a UUID, in the order they are written.
using uuid_bytes = std::array<UInt8, 16>;

// An immutable CFUUID: its bytes. Equal bytes, equal UUIDs.
class cf_uuid final : public cf_object
{
public:
    explicit cf_uuid(uuid_bytes const& bytes, bool constant = false);

    static CFTypeID class_type_id();

    uuid_bytes const& bytes() const noexcept { return bytes_; }

    bool equals(cf_object const& other) const override;
    CFHashCode hash() const override;
    // "<CFUUID 0x...> 68753A44-4D6F-1226-9C60-0050E4C00067", as on a Mac.
    std::string description() const override;

private:
    uuid_bytes bytes_;
};

// The interned UUID that CFUUIDGetConstantUUIDWithBytes returns: one immortal
// object per distinct bytes, made on first use.
cf_uuid const& constant_uuid(uuid_bytes const& bytes);

// Fresh random bytes marked as a version-4, RFC 4122 variant UUID.
uuid_bytes random_uuid_bytes();

} // namespace plinth::sim::detail
