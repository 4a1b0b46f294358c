// The CFWriteStream object: a file opened to be replaced, or memory, written through a status machine.
#include "sim/detail/cf/cf_write_stream.hpp"

#include "sim/detail/cf/cf_type_registry.hpp"

#include <fcntl.h>

namespace plinth::sim::detail {

cf_write_stream::cf_write_stream(std::optional<std::string> path)
    : cf_object(class_type_id(), false), path_(std::move(path))
{
}

CFTypeID cf_write_stream::class_type_id()
{
    static CFTypeID const id = cf_type_registry::id_for("CFWriteStream");
    return id;
}

bool cf_write_stream::open()
{
    if (!state_.begin_open())
        return false;
    if (path_)
    {
        if (int const error = file_.open(*path_, O_WRONLY | O_CREAT | O_TRUNC); error != 0)
        {
            state_.fail(error);
            return false;
        }
    }
    else
        memory_.emplace();
    state_.set_status(kCFStreamStatusOpen);
    return true;
}

CFIndex cf_write_stream::write(std::span<UInt8 const> bytes)
{
    if (!state_.is_open())
        return -1;
    if (memory_)
        memory_->insert(memory_->end(), bytes.begin(), bytes.end());
    else if (int const error = file_.write_all(bytes); error != 0)
    {
        state_.fail(error);
        return -1;
    }
    return static_cast<CFIndex>(bytes.size());
}

void cf_write_stream::close()
{
    file_.close();
    state_.close();
}

} // namespace plinth::sim::detail
