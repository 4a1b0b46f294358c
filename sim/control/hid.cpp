// The control interface's HID side: posting and setting reports, reading what clients sent.
#include "sim/control/hid.hpp"

#include "sim/control/registry.hpp"
#include "sim/detail/hid/hid_access.hpp"
#include "sim/detail/hid/hid_hardware.hpp"
#include "sim/detail/hid/user_client_creator.hpp"
#include "sim/detail/kernel/object_lookup.hpp"

#include <IOKit/IOKitLib.h>

#include <stdexcept>
#include <string>

namespace plinth::sim {
namespace {

void require_entry(entry_id device)
{
    if (!contains(device))
        throw std::invalid_argument("no registry entry has ID " + std::to_string(device));
}

// The device's hardware, made on first use: a report set before any client
// opened the device must still be there for it.
std::shared_ptr<detail::hid_hardware> hardware_of(entry_id device, char const* function)
{
    if (auto found = detail::hid_hardware::find(device))
        return found;
    require_entry(device);
    io_service_t const service = IOServiceGetMatchingService(kIOMainPortDefault, IORegistryEntryIDMatching(device));
    auto const entry = detail::lookup_entry(service, function);
    bool const hid = service != IO_OBJECT_NULL && IOObjectConformsTo(service, "IOHIDDevice") != 0;
    if (service != IO_OBJECT_NULL)
        IOObjectRelease(service);
    if (!entry || !hid)
        throw std::invalid_argument("registry entry " + std::to_string(device) + " is not a HID device");
    return detail::hid_hardware::of(entry.object);
}

} // namespace

void post_input_report(entry_id device, std::uint32_t report_id, std::span<std::uint8_t const> bytes)
{
    if (auto const hardware = detail::hid_hardware::find(device))
        hardware->post_input(report_id, bytes);
    else
        require_entry(device);
}

std::size_t dropped_input_reports(entry_id device)
{
    auto const hardware = detail::hid_hardware::find(device);
    return hardware ? hardware->dropped_input_reports() : 0;
}

std::size_t hid_schedulings(entry_id device)
{
    auto const hardware = detail::hid_hardware::find(device);
    return hardware ? hardware->schedulings() : 0;
}

std::size_t hid_readers(entry_id device)
{
    auto const hardware = detail::hid_hardware::find(device);
    return hardware ? hardware->readers() : 0;
}

std::vector<output_report> output_reports(entry_id device)
{
    std::vector<output_report> reports;
    auto const hardware = detail::hid_hardware::find(device);
    if (!hardware)
    {
        require_entry(device);
        return reports;
    }
    for (auto& sent : hardware->sent())
        reports.push_back({sent.type, sent.report_id, std::move(sent.bytes)});
    return reports;
}

void set_feature_report(entry_id device, std::uint32_t report_id, std::span<std::uint8_t const> bytes)
{
    hardware_of(device, "set_feature_report")
        ->set_feature(report_id, std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
}

void set_input_report(entry_id device, std::uint32_t report_id, std::span<std::uint8_t const> bytes)
{
    hardware_of(device, "set_input_report")
        ->set_input(report_id, std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
}

void delay_report_answers(entry_id device, std::chrono::nanoseconds delay)
{
    hardware_of(device, "delay_report_answers")
        ->set_answer_delay(std::chrono::duration_cast<detail::hid_hardware::clock::duration>(delay));
}

void stall_report_answers(entry_id device)
{
    hardware_of(device, "stall_report_answers")->set_answer_delay(std::nullopt);
}

void set_input_report_observer(entry_id device, std::function<void()> observer)
{
    hardware_of(device, "set_input_report_observer")->set_delivery_observer(std::move(observer));
}

foreign_client open_foreign_client(entry_id device, int pid, std::string const& process_name, IOOptionBits options)
{
    auto const hardware = hardware_of(device, "open_foreign_client");
    auto const token = detail::hid_hardware::new_client_token();
    auto const result = hardware->open(token, options, detail::user_client_creator(pid, process_name));
    return {device, token, result};
}

IOReturn close_foreign_client(foreign_client const& client)
{
    auto const hardware = detail::hid_hardware::find(client.device);
    return hardware ? hardware->close(client.token) : kIOReturnSuccess;
}

void set_hid_access(IOHIDAccessType decision, IOHIDRequestType type)
{
    detail::hid_access::instance().set_decision(type, decision);
}

void set_hid_access_answer(bool grant, IOHIDRequestType type)
{
    detail::hid_access::instance().set_answer_when_asked(type, grant);
}

void reset_hid_access()
{
    detail::hid_access::instance().reset();
}

} // namespace plinth::sim
