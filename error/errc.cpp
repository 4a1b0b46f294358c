// errc: the "plinth" error category and its messages for the registry model's own failures.
#include "error/errc.hpp"

#include <string>

namespace plinth {
namespace {

class plinth_category final : public boost::system::error_category
{
public:
    char const* name() const noexcept override { return "plinth"; }

    std::string message(int value) const override
    {
        switch (static_cast<errc>(value))
        {
        case errc::unsupported_property_type: return "property value of an unsupported type";
        case errc::property_not_found: return "property not found";
        case errc::invalid_port_size: return "parent port value is not four bytes long";
        case errc::no_service_parent: return "entry has no parent in the IOService plane";
        case errc::unknown_plane: return "unknown registry plane";
        }
        return "unknown plinth error " + std::to_string(value);
    }
};

} // namespace

boost::system::error_category const& error_category() noexcept
{
    static plinth_category const category;
    return category;
}

boost::system::error_code make_error_code(errc e) noexcept
{
    return {static_cast<int>(e), error_category()};
}

} // namespace plinth
