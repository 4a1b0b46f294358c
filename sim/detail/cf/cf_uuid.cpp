// The CFUUID object: its bytes, equality, hashing, description, and random UUIDs.
#include "sim/detail/cf/cf_uuid.hpp"

#include "sim/detail/cf/cf_type_registry.hpp"
#include "sim/detail/cf/cf_uuid_text.hpp"

#include <functional>
#include <random>
#include <string_view>

namespace plinth::sim::detail {

cf_uuid::cf_uuid(uuid_bytes const& bytes, bool constant) : cf_object(class_type_id(), constant), bytes_(bytes) {}

CFTypeID cf_uuid::class_type_id()
{
    static CFTypeID const id = cf_type_registry::id_for("CFUUID");
    return id;
}

bool cf_uuid::equals(cf_object const& other) const
{
    return bytes_ == static_cast<cf_uuid const&>(other).bytes_;
}

CFHashCode cf_uuid::hash() const
{
    std::string_view const view(reinterpret_cast<char const*>(bytes_.data()), bytes_.size());
    return std::hash<std::string_view>{}(view);
}

std::string cf_uuid::description() const
{
    return description_head() + ' ' + uuid_text(bytes_);
}

uuid_bytes random_uuid_bytes()
{
    // One engine per thread, seeded from the system's entropy: UUIDs made on
    // different threads never share a sequence, and no lock is needed.
    thread_local std::mt19937_64 engine = [] {
        std::random_device device;
        std::seed_seq seed{device(), device(), device(), device(), device(), device(), device(), device()};
        return std::mt19937_64(seed);
    }();
    uuid_bytes bytes{};
    for (std::size_t at = 0; at < bytes.size(); at += 8)
    {
        auto bits = engine();
        for (std::size_t i = 0; i < 8; ++i, bits >>= 8)
            bytes[at + i] = static_cast<UInt8>(bits & 0xFF);
    }
    bytes[6] = static_cast<UInt8>((bytes[6] & 0x0F) | 0x40); // version 4: random
    bytes[8] = static_cast<UInt8>((bytes[8] & 0x3F) | 0x80); // the RFC 4122 variant
    return bytes;
}

} // namespace plinth::sim::detail
