// The CFReadStream object: a file read through a status machine that ends AtEnd.
#include "sim/detail/cf/cf_read_stream.hpp"

#include "sim/detail/cf/cf_type_registry.hpp"

#include <fcntl.h>

namespace plinth::sim::detail {

cf_read_stream::cf_read_stream(std::string path) : cf_object(class_type_id(), false), path_(std::move(path)) {}

CFTypeID cf_read_stream::class_type_id()
{
    static CFTypeID const id = cf_type_registry::id_for("CFReadStream");
    return id;
}

bool cf_read_stream::open()
{
    if (!state_.begin_open())
        return false;
    if (int const error = file_.open(path_, O_RDONLY); error != 0)
    {
        state_.fail(error);
        return false;
    }
    state_.set_status(kCFStreamStatusOpen);
    return true;
}

CFIndex cf_read_stream::read(std::span<UInt8> bytes)
{
    if (state_.status() == kCFStreamStatusAtEnd)
        return 0;
    if (!state_.is_open())
        return -1;
    auto const count = file_.read(bytes);
    if (count < 0)
    {
        state_.fail(static_cast<int>(-count));
        return -1;
    }
    // A read of nothing into room for something is the end of the file.
    if (count == 0 && !bytes.empty())
        state_.set_status(kCFStreamStatusAtEnd);
    return static_cast<CFIndex>(count);
}

void cf_read_stream::close()
{
    file_.close();
    state_.close();
}

} // namespace plinth::sim::detail
