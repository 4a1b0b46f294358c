// Helpers for the tests of the simulated I/O Registry: owners of handles and CF values.
#pragma once

#include "sim/control/registry.hpp"
#include "support/sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// Helpers for the tests of the simulated I/O Registry: owners of handles and CF
// references, short readers of IOKit results, and a small machine to walk.
namespace plinth::testing::io {

using strings = std::vector<std::string>;

// Owns one user reference of an IOKit handle.
class handle
{
public:
    handle() = default;
    explicit handle(io_object_t object) : object_(object) {}
    handle(handle&& other) noexcept : object_(std::exchange(other.object_, IO_OBJECT_NULL)) {}
    handle& operator=(handle&& other) noexcept
    {
        std::swap(object_, other.object_);
        return *this;
    }
    ~handle()
    {
        if (object_)
            IOObjectRelease(object_);
    }

    io_object_t get() const noexcept { return object_; }
    io_object_t* out() noexcept { return &object_; }
    explicit operator bool() const noexcept { return object_ != IO_OBJECT_NULL; }

private:
    io_object_t object_ = IO_OBJECT_NULL;
};

// Owns one CF reference.
class cf
{
public:
    explicit cf(CFTypeRef object = nullptr) : object_(object) {}
    cf(cf&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    cf& operator=(cf&&) = delete;
    ~cf()
    {
        if (object_)
            CFRelease(object_);
    }

    CFTypeRef get() const noexcept { return object_; }
    template <typename Ref>
    Ref as() const noexcept
    {
        return static_cast<Ref>(const_cast<void*>(object_));
    }
    explicit operator bool() const noexcept { return object_ != nullptr; }

private:
    CFTypeRef object_;
};

inline cf string(char const* text)
{
    return cf(CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingUTF8));
}

inline std::string text_of(CFTypeRef string)
{
    char buffer[1024] = {};
    if (!string || CFGetTypeID(string) != CFStringGetTypeID() ||
        !CFStringGetCString(static_cast<CFStringRef>(string), buffer, sizeof buffer, kCFStringEncodingUTF8))
        return "<not a string>";
    return buffer;
}

// A new reference to the value of an entry's property; empty when it has none.
inline cf property(io_object_t entry, char const* key)
{
    return cf(IORegistryEntryCreateCFProperty(entry, string(key).as<CFStringRef>(), kCFAllocatorDefault, 0));
}

// A property read as the CF type it should have; nothing when absent or of another type.
inline std::optional<std::int64_t> number_property(io_object_t entry, char const* key)
{
    auto const value = property(entry, key);
    std::int64_t result = 0;
    if (!value || CFGetTypeID(value.get()) != CFNumberGetTypeID() ||
        !CFNumberGetValue(value.as<CFNumberRef>(), kCFNumberSInt64Type, &result))
        return std::nullopt;
    return result;
}

inline std::optional<std::string> text_property(io_object_t entry, char const* key)
{
    auto const value = property(entry, key);
    if (!value || CFGetTypeID(value.get()) != CFStringGetTypeID())
        return std::nullopt;
    return text_of(value.get());
}

inline std::optional<sim::data> data_property(io_object_t entry, char const* key)
{
    auto const value = property(entry, key);
    if (!value || CFGetTypeID(value.get()) != CFDataGetTypeID())
        return std::nullopt;
    auto const* begin = CFDataGetBytePtr(value.as<CFDataRef>());
    return sim::data(begin, begin + CFDataGetLength(value.as<CFDataRef>()));
}

inline std::string name_of(io_object_t entry)
{
    io_name_t name = {};
    return IORegistryEntryGetName(entry, name) == KERN_SUCCESS ? name : "<no name>";
}

inline std::string name_in_plane(io_object_t entry, char const* plane)
{
    io_name_t name = {};
    return IORegistryEntryGetNameInPlane(entry, plane, name) == KERN_SUCCESS ? name : "<no name>";
}

inline std::string class_of(io_object_t object)
{
    io_name_t name = {};
    return IOObjectGetClass(object, name) == KERN_SUCCESS ? name : "<no class>";
}

inline std::uint64_t id_of(io_object_t entry)
{
    std::uint64_t id = 0;
    IORegistryEntryGetRegistryEntryID(entry, &id);
    return id;
}

inline std::string path_of(io_object_t entry, char const* plane)
{
    io_string_t path = {};
    return IORegistryEntryGetPath(entry, plane, path) == KERN_SUCCESS ? path : "<no path>";
}

// The names an iterator yields until it is exhausted; each handle is released.
inline std::vector<std::string> drain_names(io_iterator_t iterator)
{
    std::vector<std::string> names;
    while (auto const next = IOIteratorNext(iterator))
    {
        names.push_back(name_of(next));
        IOObjectRelease(next);
    }
    return names;
}

// A recursive iterator over every entry below the root in `plane`.
inline handle registry_iterator(char const* plane)
{
    handle iterator;
    IORegistryCreateIterator(kIOMainPortDefault, plane, kIORegistryIterateRecursively, iterator.out());
    return iterator;
}

// A handle to any entry with this ID that is attached in `plane`.
inline handle find_entry(sim::entry_id id, char const* plane = "IOService");

// The names of the children, or of the parents, of the entry with this ID in `plane`.
inline strings child_names(sim::entry_id id, char const* plane, bool parents = false)
{
    handle iterator;
    auto const get = parents ? IORegistryEntryGetParentIterator : IORegistryEntryGetChildIterator;
    EXPECT_EQ(get(find_entry(id).get(), plane, iterator.out()), KERN_SUCCESS);
    return drain_names(iterator.get());
}

inline strings parent_names(sim::entry_id id, char const* plane)
{
    return child_names(id, plane, true);
}

inline handle find_entry(sim::entry_id id, char const* plane)
{
    handle root(IORegistryGetRootEntry(kIOMainPortDefault));
    if (id_of(root.get()) == id)
        return root;
    handle iterator;
    IORegistryEntryCreateIterator(root.get(), plane, kIORegistryIterateRecursively, iterator.out());
    while (auto const next = IOIteratorNext(iterator.get()))
    {
        if (id_of(next) == id)
            return handle(next);
        IOObjectRelease(next);
    }
    return handle();
}

// A small Mac:
//   IOService: Root > J274AP > PCI0@0 > XHC1@14 > HS01@14100000 > Keyboard@14100000 > Keyboard HID
//                                    > pci8086,a0ed@1f,3
//              J274AP > AppleARMPE; "Timer" under both PCI0 and XHC1
//   IOPower:   Root > IOPMrootDomain > Keyboard
//   IOUSB:     Root > XHC1 > Keyboard (at "1" in that plane)
struct sample_machine
{
    sim::entry_id platform, arm_pe, pci, xhc, port, keyboard, hid, lpc, timer, power_root;

    static sample_machine build()
    {
        using sim::add_entry;
        using sim::make_number;
        sample_machine m{};
        m.platform =
            add_entry({"IOPlatformExpertDevice", "J274AP", {}, {{"IOPlatformSerialNumber", std::string("C07TEST")}}},
                      sim::root_entry_id);
        m.arm_pe = add_entry({"AppleARMPE"}, m.platform);
        m.pci = add_entry({"IOPCIBridge", "PCI0", "0"}, m.platform);
        m.xhc = add_entry({"IOPCIDevice", "XHC1", "14", {{"vendor-id", sim::data{0x86, 0x80, 0, 0}}}}, m.pci);
        m.port = add_entry({"AppleUSB20XHCIPort", "HS01", "14100000", {{"port", sim::data{1, 0, 0, 0}}}}, m.xhc);
        m.keyboard = add_entry({"IOUSBHostDevice",
                                "Keyboard",
                                "14100000",
                                {{"idVendor", make_number(0x05ac)},
                                 {"idProduct", make_number(0x0250)},
                                 {"locationID", make_number(0x14100000)},
                                 {"sessionID", make_number(0x1234567890)},
                                 {"USB Product Name", std::string("Keyboard")}}},
                               m.port);
        m.hid = add_entry(
            {"IOUSBHostHIDDevice",
             "Keyboard",
             {},
             {{"PrimaryUsagePage", make_number(1)},
              {"PrimaryUsage", make_number(6)},
              {"DeviceUsagePairs",
               sim::array{sim::dictionary{{"DeviceUsagePage", make_number(1)}, {"DeviceUsage", make_number(6)}},
                          sim::dictionary{{"DeviceUsagePage", make_number(12)}, {"DeviceUsage", make_number(1)}}}}}},
            m.keyboard);
        m.lpc = add_entry({"IOPCIDevice", "pci8086,a0ed", "1f,3"}, m.pci);
        m.timer = add_entry({"AppleSharedTimer", "Timer"}, m.pci);
        sim::attach(m.timer, m.xhc, "IOService");
        m.power_root = add_entry({"IOPMrootDomain", "IOPMrootDomain"}, sim::root_entry_id, "IOPower");
        sim::attach(m.keyboard, m.power_root, "IOPower");
        sim::attach(m.xhc, sim::root_entry_id, "IOUSB");
        sim::attach(m.keyboard, m.xhc, "IOUSB", std::string("1"));
        return m;
    }
};

// A test on the sample machine, built afresh for each test.
class sample_machine_test : public sim_test
{
protected:
    void SetUp() override
    {
        sim_test::SetUp();
        m = sample_machine::build();
    }

    sample_machine m{};
};

} // namespace plinth::testing::io
