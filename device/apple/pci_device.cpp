// pci_device: little-endian reads of the configuration properties, with all-ones or 0x00FF when absent.
#include "device/apple/pci_device.hpp"

#include <concepts>
#include <cstddef>
#include <exception>
#include <utility>
#include <vector>

namespace plinth::apple {
namespace {

// The data property `key`; empty when it is absent, of another kind, or cannot be
// read at all.
std::optional<std::vector<std::byte>> get_data(device const& d, char const* key) noexcept
{
    try
    {
        auto value = d.get_property(key);
        if (auto* bytes = mpark::get_if<std::vector<std::byte>>(&value))
            return std::move(*bytes);
    }
    catch (std::exception const&)
    {
    }
    return std::nullopt;
}

// The data property `key` read as a little-endian T: a shorter value is taken as
// if padded with zero bytes, bytes beyond T's width are ignored.
template <std::unsigned_integral T>
std::optional<T> get_num(device const& d, char const* key) noexcept
{
    auto bytes = get_data(d, key);
    if (!bytes)
        return std::nullopt;
    if (bytes->size() < sizeof(T))
        bytes->resize(sizeof(T));
    unsigned long long value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i)
        value |= std::to_integer<unsigned long long>((*bytes)[i]) << (8 * i);
    return static_cast<T>(value);
}

} // namespace

pci_device::pci_device(device d) noexcept : device(d.conforms_to_class("IOPCIDevice") ? std::move(d) : device()) {}

pci_device::configuration_space pci_device::get_configuration_space() const noexcept
{
    configuration_space space;
    if (!*this)
        return space;

    auto const vendor_id = get_num<std::uint16_t>(*this, "vendor-id");
    auto const device_id = get_num<std::uint16_t>(*this, "device-id");
    auto const revision_id = get_num<std::uint8_t>(*this, "revision-id");
    auto const class_code = get_data(*this, "class-code");
    auto const subsystem_id = get_num<std::uint16_t>(*this, "subsystem-id");
    auto const subsystem_vendor_id = get_num<std::uint16_t>(*this, "subsystem-vendor-id");

    space.vendor_id = vendor_id.value_or(0xFFFF);
    space.device_id = device_id.value_or(0xFFFF);
    space.revision_id = revision_id.value_or(0xFF);
    // The registry keeps the class code as a little-endian word, base class in its
    // third byte; each byte counts only when the data holds it.
    if (class_code)
    {
        auto const byte_at = [&](std::size_t i, std::uint8_t fallback) {
            return i < class_code->size() ? std::to_integer<std::uint8_t>((*class_code)[i]) : fallback;
        };
        space.programming_interface = byte_at(0, space.programming_interface);
        space.subclass = byte_at(1, space.subclass);
        space.class_code = byte_at(2, space.class_code);
    }
    // A function that exists but publishes no subsystem reads 0x00FF, unlike the
    // all-ones of a missing function.
    space.subsystem_id = subsystem_id.value_or(0x00FF);
    space.subsystem_vendor_id = subsystem_vendor_id.value_or(0x00FF);
    return space;
}

std::optional<int> pci_device::get_child_index() const noexcept
{
    try
    {
        auto const value = get_property("IOChildIndex");
        if (auto const* index = mpark::get_if<int>(&value))
            return *index;
    }
    catch (std::exception const&)
    {
    }
    return std::nullopt;
}

} // namespace plinth::apple
