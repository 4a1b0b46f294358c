// device: a value handle on one I/O Registry entry, asking the registry for its properties and relations.
#pragma once

#include "device/apple/plane.hpp"
#include "io_kit/io_iterator.hpp"
#include "io_kit/io_registry_entry.hpp"
#include "property/value.hpp"
#include "utility/mpark_variant.hpp"

#include <boost/system/error_code.hpp>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace plinth::apple {

// A value handle on one I/O Registry entry. Every query goes to the registry: a
// device caches nothing, so it always tells the registry's current state.
// Copying takes a new reference to the same entry, moving leaves the source empty.
class device
{
public:
    // IOKit driver classes, by their index into the class-name table.
    enum class device_class : int
    {
        serial_bsd_client = 0, // "IOSerialBSDClient"
        usb_device = 1,        // "AppleUSBDevice"
        video_device = 2,      // "IOVideoDevice"
        audio_control = 3,     // "IOAudioControl"
        hid_device = 4,        // "IOHIDDevice"
        usb_host_device = 5,   // "IOUSBHostDevice"
    };

    // A property value; callers test the index, so the order of the alternatives
    // is fixed: a CF number, a CF string, a CF data, a CF boolean.
    using property_type = mpark::variant<int, std::string, std::vector<std::byte>, bool>;

    // The empty device.
    device() noexcept = default;

    // Takes `e`'s reference; `e` is left empty.
    device(io_kit::io_registry_entry e) noexcept; // NOLINT(google-explicit-constructor): entries are devices

    // True when the device holds an entry.
    explicit operator bool() const noexcept;

    // IOKit object equality: the same entry, whichever handles denote it.
    bool operator==(device const& o) const noexcept;

    // The entry's parent in `p`; the empty device when it has none there.
    device get_parent(plane p) const;
    io_kit::io_iterator get_parents(plane p) const;
    io_kit::io_iterator get_children(plane p) const;

    // The entry's own property `key` as one of the four value types. Throws
    // boost::system::system_error with plinth::errc::property_not_found when the
    // property is absent (or the device empty) and errc::unsupported_property_type
    // for a dictionary, an array or any other CF type; both read
    // "make_property_type(<key>)".
    property_type get_property(char const* key) const;

    // The entry's own property `key` whole, of any kind the registry holds:
    // numbers at the width of their CF type, nested dictionaries (in the order
    // CoreFoundation lists them), arrays and sets. Throws
    // boost::system::system_error with plinth::errc::property_not_found when the
    // property is absent (or the device empty) and errc::unsupported_property_type
    // when it holds a CF type that property::value has no kind for; both read
    // "get_property_value(<key>)". The second form reports the same errors in `ec`
    // and returns nothing.
    property::value get_property_value(char const* key) const;
    std::optional<property::value> get_property_value(char const* key, boost::system::error_code& ec) const;

    // All of the entry's own properties, read as get_property_value reads one, from
    // the single copy that IORegistryEntryCreateCFProperties makes, in the order it
    // lists them. Throws boost::system::system_error with IOKit's return code when
    // IOKit refuses (an empty device) and errc::unsupported_property_type, reading
    // "get_properties", when a value has no kind in property::value. The second
    // form reports the same errors in `ec` and returns nothing.
    property::dictionary get_properties() const;
    std::optional<property::dictionary> get_properties(boost::system::error_code& ec) const;

    // The registry entry ID, unique until the machine restarts.
    std::uint64_t get_id() const;
    std::string get_class() const;
    std::string get_name() const;
    std::string get_name(plane p) const;
    std::string get_path(plane p) const;
    std::string get_location(plane p) const;

    // Whether the entry's object is of `class_name` or derives from it; false for
    // the empty device.
    bool conforms_to_class(std::string const& class_name) const noexcept;

    // Whether the entry is attached in `p`; false for the empty device.
    bool is_in_plane(plane p) const noexcept;

    // The entry wrapper itself, for the views that must ask the registry in a way
    // get_property does not (a property read without its conversion errors).
    io_kit::io_registry_entry const& get_entry() const noexcept;

private:
    io_kit::io_registry_entry entry_;
};

bool operator!=(device const& a, device const& b);

} // namespace plinth::apple
