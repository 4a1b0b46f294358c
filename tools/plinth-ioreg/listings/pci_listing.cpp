// The pci listing: reading each PCI function's configuration space, naming its class, printing it as text or JSON.
#include "tools/plinth-ioreg/listings/pci_listing.hpp"

#include "tools/plinth-ioreg/listings/listing_fields.hpp"
#include "tools/plinth-ioreg/listings/read_optional.hpp"
#include "tools/plinth-ioreg/registry/entry_summary.hpp"
#include "tools/plinth-ioreg/walk/plane_visit.hpp"

#include <fmt/format.h>

#include <array>
#include <utility>

namespace plinth::ioreg_tool {
namespace {

struct class_name
{
    int class_code;
    int subclass; // -1: any subclass of the class
    char const* name;
};

// The classes a Mac's PCI functions belong to, the more precise first.
constexpr std::array known_classes{
    class_name{0x01, 0x06, "SATA controller"},
    class_name{0x01, 0x08, "NVMe controller"},
    class_name{0x01, -1, "storage controller"},
    class_name{0x02, 0x80, "wireless network controller"},
    class_name{0x02, -1, "network controller"},
    class_name{0x03, 0x00, "VGA controller"},
    class_name{0x03, -1, "display controller"},
    class_name{0x04, 0x01, "audio device"},
    class_name{0x04, 0x03, "audio controller"},
    class_name{0x04, -1, "multimedia controller"},
    class_name{0x05, -1, "memory controller"},
    class_name{0x06, 0x00, "host bridge"},
    class_name{0x06, 0x01, "ISA bridge"},
    class_name{0x06, 0x04, "PCI bridge"},
    class_name{0x06, -1, "bridge"},
    class_name{0x07, -1, "communication controller"},
    class_name{0x08, -1, "system peripheral"},
    class_name{0x0C, 0x03, "USB controller"},
    class_name{0x0C, 0x05, "SMBus controller"},
    class_name{0x0C, 0x80, "serial bus controller"},
    class_name{0x0C, 0x0A, "Thunderbolt controller"},
    class_name{0x0C, -1, "serial bus controller"},
    class_name{0x0D, -1, "wireless controller"},
    class_name{0x10, -1, "encryption controller"},
    class_name{0x11, -1, "signal processing controller"},
};

} // namespace

std::string pci_class_name(std::uint8_t class_code, std::uint8_t subclass)
{
    for (auto const& known : known_classes)
        if (known.class_code == class_code && (known.subclass == -1 || known.subclass == subclass))
            return known.name;
    return {};
}

std::vector<pci_listing_item> list_pci_devices(apple::tree const& registry)
{
    std::vector<pci_listing_item> items;
    visit_plane(registry, plane::service, [&](apple::device entry, int) {
        apple::pci_device const pci(std::move(entry));
        if (pci)
            items.push_back({pci.get_id(), pci.get_configuration_space(), pci.get_child_index(),
                             read_optional([&] { return pci.get_path(plane::service); })});
        return 0;
    });
    return items;
}

std::string format_pci_listing(std::vector<pci_listing_item> const& items)
{
    std::string text;
    for (auto const& item : items)
    {
        auto const& s = item.space;
        auto const name = pci_class_name(s.class_code, s.subclass);
        text += fmt::format(
            "{:04x}:{:04x}  class {:02x}/{:02x}/{:02x}{}  rev {:02x}  subsystem {:04x}:{:04x}  index {}  {}\n",
            s.vendor_id, s.device_id, s.class_code, s.subclass, s.programming_interface,
            name.empty() ? std::string() : " " + name, s.revision_id, s.subsystem_vendor_id, s.subsystem_id,
            number_or_absent(item.child_index), text_or_absent(item.path));
    }
    return text;
}

nlohmann::ordered_json pci_listing_to_json(std::vector<pci_listing_item> const& items)
{
    auto array = nlohmann::ordered_json::array();
    for (auto const& item : items)
    {
        auto const& s = item.space;
        auto const name = pci_class_name(s.class_code, s.subclass);
        array.push_back({
            {"id", format_entry_id(item.id)},
            {"vendor_id", s.vendor_id},
            {"device_id", s.device_id},
            {"class_code", s.class_code},
            {"subclass", s.subclass},
            {"programming_interface", s.programming_interface},
            {"class_name", name.empty() ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(name)},
            {"revision_id", s.revision_id},
            {"subsystem_vendor_id", s.subsystem_vendor_id},
            {"subsystem_id", s.subsystem_id},
            {"child_index", json_or_null(item.child_index)},
            {"path", json_or_null(item.path)},
        });
    }
    return array;
}

} // namespace plinth::ioreg_tool
