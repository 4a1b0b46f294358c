// watch_errc: the "plinth.watch" error category and its message.
#include "error/apple/watch_errc.hpp"

#include <string>

namespace plinth::apple {
namespace {

class watch_error_category final : public boost::system::error_category
{
public:
    char const* name() const noexcept override { return "plinth.watch"; }

    std::string message(int value) const override
    {
        switch (static_cast<watch_errc>(value))
        {
        case watch_errc::overflow: return "device events were dropped: the watcher's queue was full";
        }
        return "unknown watch error " + std::to_string(value);
    }
};

} // namespace

boost::system::error_category const& watch_category() noexcept
{
    static watch_error_category const category;
    return category;
}

boost::system::error_code make_error_code(watch_errc e) noexcept
{
    return {static_cast<int>(e), watch_category()};
}

} // namespace plinth::apple
