// Builds arbitrary nested CF values from the bytes (dictionaries, arrays, sets,
// strings made from bytes in many encodings, numbers of every CFNumberType, data,
// booleans), reads each one through the library's CF value reader and the tool's
// printers, sets what the kernel would keep of it as a property of a registry
// entry, and reads it back through every getter of the library (device::get_property
// and the USB, PCI and serial views) and every listing and printer of the tool.
#include "device/apple/detail/property_value_from_cf.hpp"
#include "device/apple/device.hpp"
#include "device/apple/pci_device.hpp"
#include "device/apple/serial_bsd_client.hpp"
#include "device/apple/tree.hpp"
#include "device/apple/usb_device.hpp"
#include "fuzz/support/registry_checks.hpp"
#include "io_kit/cf/auto_pointer.hpp"
#include "io_kit/cf/boolean.hpp"
#include "io_kit/cf/data.hpp"
#include "io_kit/cf/number.hpp"
#include "io_kit/cf/number_value.hpp"
#include "io_kit/cf/string.hpp"
#include "io_kit/mach_port.hpp"
#include "sim/control/registry.hpp"
#include "sim/detail/registry/property_from_cf.hpp"
#include "tools/plinth-ioreg/output/json_printer.hpp"
#include "tools/plinth-ioreg/output/value_text.hpp"
#include "tools/plinth-ioreg/registry/entry_lookup.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <iterator>
#include <string>
#include <vector>

namespace {

namespace apple = plinth::apple;
namespace tool = plinth::ioreg_tool;

// Deeper values only repeat what three levels reach.
constexpr int max_depth = 3;
constexpr std::size_t max_items = 6;
constexpr std::size_t max_properties = 8;

// The classes whose views and listings read properties by name.
constexpr std::array entry_classes = {"IOUSBHostDevice", "IOPCIDevice", "IOSerialBSDClient", "IOHIDDevice",
                                      "IOService"};

// The keys that the library's views and the tool's listings read.
constexpr std::array known_keys = {"idVendor",
                                   "idProduct",
                                   "bcdDevice",
                                   "bDeviceClass",
                                   "bDeviceSubClass",
                                   "bDeviceProtocol",
                                   "bNumConfigurations",
                                   "iManufacturer",
                                   "iProduct",
                                   "iSerialNumber",
                                   "USB Address",
                                   "USB Product Name",
                                   "USB Vendor Name",
                                   "USB Serial Number",
                                   "locationID",
                                   "PortNum",
                                   "port",
                                   "vendor-id",
                                   "device-id",
                                   "revision-id",
                                   "class-code",
                                   "subsystem-id",
                                   "subsystem-vendor-id",
                                   "IOChildIndex",
                                   "IOTTYBaseName",
                                   "IOTTYSuffix",
                                   "IOTTYDevice",
                                   "IOSerialBSDClientType",
                                   "IOCalloutDevice",
                                   "IODialinDevice",
                                   "VendorID",
                                   "ProductID",
                                   "Product",
                                   "DeviceUsagePage",
                                   "DeviceUsage",
                                   "MaxInputReportSize",
                                   "MaxOutputReportSize"};

constexpr std::array<CFStringEncoding, 14> encodings = {
    kCFStringEncodingUTF8,          kCFStringEncodingASCII,         kCFStringEncodingISOLatin1,
    kCFStringEncodingMacRoman,      kCFStringEncodingWindowsLatin1, kCFStringEncodingNextStepLatin,
    kCFStringEncodingNonLossyASCII, kCFStringEncodingUTF16,         kCFStringEncodingUTF16BE,
    kCFStringEncodingUTF16LE,       kCFStringEncodingUTF32,         kCFStringEncodingUTF32BE,
    kCFStringEncodingUTF32LE,       kCFStringEncodingInvalidId};

// Makes CF values from the fuzzer's bytes; each make() returns a +1 reference, or
// NULL where CoreFoundation refuses the bytes (a string in the wrong encoding).
class cf_value_maker
{
public:
    explicit cf_value_maker(FuzzedDataProvider& in) noexcept : in_(in) {}

    CFTypeRef make(int depth)
    {
        int const last_kind = depth < max_depth ? 6 : 3;
        switch (in_.ConsumeIntegralInRange(0, last_kind))
        {
        case 0: return CFRetain(in_.ConsumeBool() ? kCFBooleanTrue : kCFBooleanFalse);
        case 1: return make_number();
        case 2: return make_string();
        case 3: {
            auto const bytes = in_.ConsumeBytes<UInt8>(in_.ConsumeIntegralInRange<std::size_t>(0, 64));
            return CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size()));
        }
        case 4: return make_dictionary(depth);
        case 5: return make_array(depth);
        default: return make_set(depth);
        }
    }

    CFStringRef make_string()
    {
        auto const text = in_.ConsumeRandomLengthString(64);
        if (in_.ConsumeBool())
            return CFStringCreateWithCString(nullptr, text.c_str(), in_.PickValueInArray(encodings));
        auto const encoding = in_.PickValueInArray(encodings);
        bool const external = in_.ConsumeBool();
        return CFStringCreateWithBytes(nullptr, reinterpret_cast<UInt8 const*>(text.data()),
                                       static_cast<CFIndex>(text.size()), encoding, external);
    }

private:
    CFNumberRef make_number()
    {
        auto const type =
            static_cast<CFNumberType>(in_.ConsumeIntegralInRange<int>(kCFNumberSInt8Type, kCFNumberMaxType));
        alignas(std::max_align_t) std::array<std::uint8_t, 16> storage{};
        auto const bytes = in_.ConsumeBytes<std::uint8_t>(sizeof(std::uint64_t));
        if (!bytes.empty())
            std::memcpy(storage.data(), bytes.data(), bytes.size());
        return CFNumberCreate(nullptr, type, storage.data());
    }

    CFTypeRef make_dictionary(int depth)
    {
        auto* dictionary =
            CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
        auto const count = in_.ConsumeIntegralInRange<std::size_t>(0, max_items);
        for (std::size_t i = 0; i < count; ++i)
        {
            // Registry keys are strings; a number as a key is what a caller might still hand over.
            CFTypeRef const key =
                in_.ConsumeIntegralInRange(0, 7) == 0 ? CFTypeRef(make_number()) : CFTypeRef(make_string());
            CFTypeRef const value = make(depth + 1);
            if (key != nullptr && value != nullptr)
                CFDictionarySetValue(dictionary, key, value);
            release(key);
            release(value);
        }
        return dictionary;
    }

    CFTypeRef make_array(int depth)
    {
        auto* array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
        auto const count = in_.ConsumeIntegralInRange<std::size_t>(0, max_items);
        for (std::size_t i = 0; i < count; ++i)
        {
            if (CFTypeRef const value = make(depth + 1))
            {
                CFArrayAppendValue(array, value);
                CFRelease(value);
            }
        }
        return array;
    }

    CFTypeRef make_set(int depth)
    {
        auto* set = CFSetCreateMutable(nullptr, 0, &kCFTypeSetCallBacks);
        auto const count = in_.ConsumeIntegralInRange<std::size_t>(0, max_items);
        for (std::size_t i = 0; i < count; ++i)
        {
            if (CFTypeRef const value = make(depth + 1))
            {
                CFSetAddValue(set, value);
                CFRelease(value);
            }
        }
        return set;
    }

    static void release(CFTypeRef object)
    {
        if (object != nullptr)
            CFRelease(object);
    }

    FuzzedDataProvider& in_;
};

// The CF value as the library reads it and the tool prints it, and as the CF
// wrappers see it. The reader refuses, whole, a value holding a part it has no
// kind for (a dictionary with a number as a key): nothing is printed then.
void read_as_tool_and_wrappers(CFTypeRef value)
{
    CF::AutoPointer const pointer(CFRetain(value));
    if (auto const read = apple::detail::property_value_from_cf(pointer))
    {
        std::string text;
        tool::append_value(std::back_inserter(text), *read);
        (void)tool::to_text(tool::value_to_json(*read));
    }

    if (CF::Number const number(pointer); number.IsValid())
    {
        (void)static_cast<int>(number);
        (void)CF::GetNumberValue(number);
    }
    if (CF::String const string(pointer); string.IsValid())
    {
        (void)string.GetValue();
        (void)string.GetValue(kCFStringEncodingISOLatin1);
        (void)string.GetValue(kCFStringEncodingUTF16);
    }
    if (CF::Data const data(pointer); data.IsValid())
        (void)std::string(reinterpret_cast<char const*>(data.GetBytePtr()), static_cast<std::size_t>(data.GetLength()));
    if (CF::Boolean const boolean(pointer); boolean.IsValid())
        (void)static_cast<bool>(boolean);
}

template <typename Read>
void try_read(Read read)
{
    try
    {
        (void)read();
    }
    catch (std::exception const&)
    {
        // a property that is absent or of another kind: the getter says so
    }
}

// Every getter of the library on the entry: the property reads by key and the views.
void read_through_library(apple::device const& d, std::vector<std::string> const& keys)
{
    for (auto const& key : keys)
        try_read([&] { return d.get_property(key.c_str()); });
    for (auto const* key : known_keys)
        try_read([&] { return d.get_property(key); });

    apple::usb_device const usb(d);
    try_read([&] { return usb.get_usb_name(); });
    try_read([&] { return usb.get_usb_path(); });
    try_read([&] { return usb.get_address(); });
    try_read([&] { return usb.get_port_number(); });
    try_read([&] { return usb.get_device_descriptor(); });
    try_read([&] { return usb.get_manufacturer(); });
    try_read([&] { return usb.get_product(); });
    try_read([&] { return usb.get_serial_number(); });
    try_read([&] { return usb.get_location_id(); });
    try_read([&] { return usb.get_usb_parent(); });

    apple::pci_device const pci(d);
    (void)pci.get_configuration_space();
    (void)pci.get_child_index();

    apple::serial_bsd_client const serial(d);
    try_read([&] { return serial.get_tty_base_name(); });
    try_read([&] { return serial.get_tty_suffix(); });
    try_read([&] { return serial.get_tty_device(); });
    try_read([&] { return serial.get_type(); });
    try_read([&] { return serial.get_callout_device(); });
    try_read([&] { return serial.get_dialin_device(); });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size)
{
    FuzzedDataProvider in(bytes, size);
    plinth::sim::reset_registry();
    auto const id =
        plinth::sim::add_entry({in.PickValueInArray(entry_classes), "Fuzzed", "1"}, plinth::sim::root_entry_id);

    cf_value_maker maker(in);
    std::vector<std::string> keys;
    while (in.remaining_bytes() > 0 && keys.size() < max_properties)
    {
        auto key = in.ConsumeBool() ? std::string(in.PickValueInArray(known_keys)) : in.ConsumeRandomLengthString(32);
        CFTypeRef const value = maker.make(0);
        if (value == nullptr)
            continue;
        read_as_tool_and_wrappers(value);
        // What the kernel keeps of a value a task sends it.
        if (auto kept = plinth::sim::detail::value_from_cf(value))
        {
            plinth::sim::set_property(id, key, std::move(*kept));
            keys.push_back(std::move(key));
        }
        CFRelease(value);
    }

    try
    {
        apple::tree const registry(apple::io_kit::mach_port::master_port_default());
        auto const entry = tool::find_by_id(registry, id);
        read_through_library(entry.device(), keys);
    }
    catch (std::exception const&)
    {
    }
    plinth::fuzzing::read_whole_registry(plinth::plane::service);

    plinth::sim::reset_registry();
    plinth::fuzzing::require_nothing_left();
    return 0;
}
