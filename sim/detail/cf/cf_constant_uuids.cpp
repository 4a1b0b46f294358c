// The constant UUIDs of CFUUIDGetConstantUUIDWithBytes: one immortal CFUUID per distinct bytes.
#include "sim/detail/cf/cf_live_objects.hpp"
#include "sim/detail/cf/cf_uuid.hpp"

#include <map>
#include <mutex>

namespace plinth::sim::detail {
namespace {

struct constant_uuid_table
{
    std::mutex mutex;
    std::map<uuid_bytes, cf_uuid const*> uuids;
};

// Never destroyed, like the constants themselves: code running at exit may still
// use a UUID constant.
constant_uuid_table& uuid_table()
{
    static auto* const instance = new constant_uuid_table;
    return *instance;
}

} // namespace

cf_uuid const& constant_uuid(uuid_bytes const& bytes)
{
    auto& t = uuid_table();
    std::lock_guard lock(t.mutex);
    auto const found = t.uuids.find(bytes);
    if (found != t.uuids.end())
        return *found->second;
    auto const* uuid = new cf_uuid(bytes, true);
    cf_live_objects::instance().add_constant(uuid);
    t.uuids.emplace(bytes, uuid);
    return *uuid;
}

} // namespace plinth::sim::detail
