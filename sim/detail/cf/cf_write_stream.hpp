// The CFWriteStream object of the CF model.
#pragma once

#include "sim/detail/cf/cf_object.hpp"
#include "sim/detail/cf/cf_stream_state.hpp"
#include "sim/detail/cf/posix_file.hpp"

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace plinth::sim::detail {

// A CFWriteStream into a file (by path) or into memory it owns. Its file is
// opened by open() and closed by close() or when the stream goes.
class cf_write_stream final : public cf_object
{
public:
    // Into the file at `path`, or into memory for nullopt.
    explicit cf_write_stream(std::optional<std::string> path);

    static CFTypeID class_type_id();

    cf_stream_state const& state() const noexcept { return state_; }

    bool open();
    // The bytes written, or -1.
    CFIndex write(std::span<UInt8 const> bytes);
    void close();

    // What a memory stream holds; nullopt for a file stream.
    std::optional<std::vector<UInt8>> const& memory() const noexcept { return memory_; }

private:
    std::optional<std::string> path_;
    posix_file file_;
    std::optional<std::vector<UInt8>> memory_;
    cf_stream_state state_;
};

} // namespace plinth::sim::detail
