// device: registry queries by plane, and the conversion of a CF property value into property_type.
#include "device/apple/device.hpp"

#include "device/apple/abort_enum_out_of_range.hpp"
#include "device/apple/detail/property_value_from_cf.hpp"
#include "error/errc.hpp"
#include "io_kit/cf/auto_pointer.hpp"
#include "io_kit/cf/boolean.hpp"
#include "io_kit/cf/data.hpp"
#include "io_kit/cf/number.hpp"
#include "io_kit/cf/string.hpp"
#include "io_kit/io_registry_entry_properties.hpp"
#include "io_kit/io_registry_entry_view.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <boost/system/system_error.hpp>

#include <cstring>
#include <utility>

namespace plinth::apple {
namespace {

// The plane's name in the zero-filled io_name_t buffer that IOKit's plane
// arguments are declared as.
class plane_argument
{
public:
    explicit plane_argument(plane p) noexcept
    {
        auto const* name = to_string(p);
        std::memcpy(name_, name, std::strlen(name));
    }

    operator char const*() const noexcept { return name_; } // NOLINT(google-explicit-constructor)

private:
    io_name_t name_ = {};
};

[[noreturn]] void throw_property_error(errc e, char const* key)
{
    throw boost::system::system_error(make_error_code(e), std::string("make_property_type(") + key + ")");
}

// Booleans are tested first: CoreFoundation booleans are not numbers, but the
// order is fixed so that no value could ever be taken by two alternatives.
device::property_type make_property_type(CF::AutoPointer const& value, char const* key)
{
    if (!value.GetTypeRef())
        throw_property_error(errc::property_not_found, key);

    if (CF::Boolean const boolean(value); boolean.IsValid())
        return static_cast<bool>(boolean);
    if (CF::Number const number(value); number.IsValid())
        return static_cast<int>(number);
    if (CF::String const string(value); string.IsValid())
        return string.GetValue(kCFStringEncodingUTF8);
    if (CF::Data const data(value); data.IsValid())
    {
        auto const length = data.GetLength();
        if (length == 0)
            return std::vector<std::byte>();
        // A negative length becomes a size beyond max_size(): the vector throws
        // std::length_error rather than copying from a bad range.
        std::vector<std::byte> copy(static_cast<std::size_t>(length));
        std::memcpy(copy.data(), data.GetBytePtr(), copy.size());
        return copy;
    }
    throw_property_error(errc::unsupported_property_type, key);
}

// A new copy of the property `key`; empty when it is absent or the device empty.
CF::AutoPointer copy_property(io_kit::io_registry_entry const& entry, char const* key)
{
    CF::String const cf_key(key, kCFStringEncodingUTF8);
    return io_kit::io_registry_entry_view(entry.get()).create_cf_property_(cf_key, 0);
}

} // namespace

device::device(io_kit::io_registry_entry e) noexcept : entry_(std::move(e)) {}

device::operator bool() const noexcept
{
    return static_cast<bool>(entry_);
}

bool device::operator==(device const& o) const noexcept
{
    return entry_ == o.entry_;
}

device device::get_parent(plane p) const
{
    return device(entry_.get_parent_entry(plane_argument(p)));
}

io_kit::io_iterator device::get_parents(plane p) const
{
    return entry_.get_parent_iterator(plane_argument(p));
}

io_kit::io_iterator device::get_children(plane p) const
{
    return entry_.get_child_iterator(plane_argument(p));
}

device::property_type device::get_property(char const* key) const
{
    CF::AutoPointer value;
    {
        CF::String const cf_key(key, kCFStringEncodingUTF8);
        value = io_kit::io_registry_entry_view(entry_.get()).create_cf_property_(cf_key, 0);
    }
    return make_property_type(value, key);
}

property::value device::get_property_value(char const* key) const
{
    boost::system::error_code ec;
    auto value = get_property_value(key, ec);
    if (!value)
        throw boost::system::system_error(ec, std::string("get_property_value(") + key + ")");
    return std::move(*value);
}

std::optional<property::value> device::get_property_value(char const* key, boost::system::error_code& ec) const
{
    auto const cf_value = copy_property(entry_, key);
    if (!cf_value.IsValid())
    {
        ec = make_error_code(errc::property_not_found);
        return std::nullopt;
    }
    auto value = detail::property_value_from_cf(cf_value);
    if (!value)
    {
        ec = make_error_code(errc::unsupported_property_type);
        return std::nullopt;
    }
    ec.clear();
    return value;
}

property::dictionary device::get_properties() const
{
    boost::system::error_code ec;
    auto properties = get_properties(ec);
    if (!properties)
        throw boost::system::system_error(ec, "get_properties");
    return std::move(*properties);
}

std::optional<property::dictionary> device::get_properties(boost::system::error_code& ec) const
{
    CF::Dictionary cf_properties;
    try
    {
        cf_properties = io_kit::create_cf_properties(io_kit::io_registry_entry_view(entry_.get()));
    }
    catch (boost::system::system_error const& e)
    {
        ec = e.code();
        return std::nullopt;
    }
    auto properties = detail::property_dictionary_from_cf(cf_properties);
    if (!properties)
    {
        ec = make_error_code(errc::unsupported_property_type);
        return std::nullopt;
    }
    ec.clear();
    return properties;
}

std::uint64_t device::get_id() const
{
    return entry_.get_registry_entry_id();
}

std::string device::get_class() const
{
    return entry_.get_class();
}

std::string device::get_name() const
{
    return entry_.get_name();
}

std::string device::get_name(plane p) const
{
    return entry_.get_name_in_plane(plane_argument(p));
}

std::string device::get_path(plane p) const
{
    return entry_.get_path(plane_argument(p));
}

std::string device::get_location(plane p) const
{
    return entry_.get_location_in_plane(plane_argument(p));
}

bool device::conforms_to_class(std::string const& class_name) const noexcept
{
    return entry_.conforms_to(class_name.c_str());
}

bool device::is_in_plane(plane p) const noexcept
{
    return entry_.in_plane(to_string(p));
}

io_kit::io_registry_entry const& device::get_entry() const noexcept
{
    return entry_;
}

bool operator!=(device const& a, device const& b)
{
    return !(a == b);
}

} // namespace plinth::apple
