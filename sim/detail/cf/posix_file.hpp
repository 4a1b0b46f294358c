// An open file descriptor, closed when its owner lets it go: the file under a CF file stream.
#pragma once

#include <CoreFoundation/CFBase.h>

#include <span>
#include <string>

namespace plinth::sim::detail {

// One file descriptor, or none. Moves, never copies, and closes what it holds.
class posix_file
{
public:
    posix_file() noexcept = default;
    posix_file(posix_file const&) = delete;
    posix_file& operator=(posix_file const&) = delete;
    ~posix_file();

    // Opens `path` with open(2)'s `flags` (created with mode 0666 less the umask);
    // 0, or the errno of the failure.
    int open(std::string const& path, int flags) noexcept;
    bool is_open() const noexcept { return fd_ >= 0; }
    void close() noexcept;

    // Writes all the bytes, going on after short writes and interruptions; 0, or
    // the errno of the failure.
    int write_all(std::span<UInt8 const> bytes) noexcept;
    // Up to bytes.size() bytes: their count, 0 at the end, or -errno.
    long read(std::span<UInt8> bytes) noexcept;

private:
    int fd_ = -1;
};

} // namespace plinth::sim::detail
