// An open file descriptor: open, write everything, read, and close exactly once.
#include "sim/detail/cf/posix_file.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace plinth::sim::detail {

posix_file::~posix_file()
{
    close();
}

int posix_file::open(std::string const& path, int flags) noexcept
{
    close();
    do
        fd_ = ::open(path.c_str(), flags | O_CLOEXEC, 0666);
    while (fd_ < 0 && errno == EINTR);
    return fd_ < 0 ? errno : 0;
}

void posix_file::close() noexcept
{
    if (fd_ >= 0)
        ::close(fd_); // the descriptor is gone whatever close says, so it is not retried
    fd_ = -1;
}

int posix_file::write_all(std::span<UInt8 const> bytes) noexcept
{
    while (!bytes.empty())
    {
        auto const written = ::write(fd_, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return errno;
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return 0;
}

long posix_file::read(std::span<UInt8> bytes) noexcept
{
    while (true)
    {
        auto const count = ::read(fd_, bytes.data(), bytes.size());
        if (count >= 0)
            return static_cast<long>(count);
        if (errno != EINTR)
            return -errno;
    }
}

} // namespace plinth::sim::detail
