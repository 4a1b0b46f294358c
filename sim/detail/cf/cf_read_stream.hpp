// The CFReadStream object of the CF model.
#pragma once

#include "sim/detail/cf/cf_object.hpp"
#include "sim/detail/cf/cf_stream_state.hpp"
#include "sim/detail/cf/posix_file.hpp"

#include <span>
#include <string>

namespace plinth::sim::detail {

// A CFReadStream over a file, by path. Its file is opened by open() and closed by
// close() or when the stream goes.
class cf_read_stream final : public cf_object
{
public:
    explicit cf_read_stream(std::string path);

    static CFTypeID class_type_id();

    cf_stream_state const& state() const noexcept { return state_; }

    bool open();
    // The bytes read, 0 at the end (and from then on), or -1.
    CFIndex read(std::span<UInt8> bytes);
    void close();

private:
    std::string path_;
    posix_file file_;
    cf_stream_state state_;
};

} // namespace plinth::sim::detail
