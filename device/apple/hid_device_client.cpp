// hid_device_client: a HID device's IOHIDLibUserClient children read as the programs that hold it open.
#include "device/apple/hid_device_client.hpp"

#include "device/apple/plane.hpp"
#include "io_kit/io_iterator.hpp"
#include "io_kit/io_registry_entry.hpp"

#include <boost/system/error_code.hpp>

#include <charconv>
#include <utility>
#include <variant>

namespace plinth::apple {
namespace {

// The class of a user-space connection to a HID device (a subclass of
// IOUserClient, through IOUserClient2022 on recent systems).
constexpr char user_client_class[] = "IOHIDLibUserClient";

std::optional<bool> boolean_entry(property::dictionary const& d, std::string_view key)
{
    auto const* found = property::find_key(d, key);
    if (found == nullptr)
        return std::nullopt;
    if (auto const* b = std::get_if<bool>(&found->content))
        return *b;
    if (auto const* n = std::get_if<property::number>(&found->content))
        return n->as_unsigned() != 0;
    return std::nullopt;
}

std::optional<std::uint64_t> number_entry(property::dictionary const& d, std::string_view key)
{
    auto const* found = property::find_key(d, key);
    if (found == nullptr)
        return std::nullopt;
    if (auto const* n = std::get_if<property::number>(&found->content))
        return n->as_unsigned();
    return std::nullopt;
}

// What "DebugState" says of the client's hold on the device: it opened the
// device seizing it (bit 0 of "ClientOptions", kIOHIDOptionsTypeSeizeDevice) and
// is not itself silenced ("ClientSeized"), while its connection is open.
void read_debug_state(hid_device_client& client)
{
    boost::system::error_code ec;
    auto const state = client.entry.get_property_value("DebugState", ec);
    if (!state)
        return;
    auto const* d = std::get_if<property::dictionary>(&state->content);
    if (d == nullptr)
        return;
    auto const opened = boolean_entry(*d, "ClientOpened");
    auto const options = number_entry(*d, "ClientOptions");
    client.silenced = boolean_entry(*d, "ClientSeized");
    if (options && client.silenced)
        client.seizing = opened.value_or(true) && (*options & 1U) != 0 && !*client.silenced;
}

} // namespace

std::string hid_device_client::describe() const
{
    if (pid < 0)
        return "an unknown process";
    return "pid " + std::to_string(pid) + ", " + process_name;
}

std::optional<user_client_creator> parse_user_client_creator(std::string_view text)
{
    constexpr std::string_view prefix = "pid ";
    constexpr std::string_view separator = ", ";
    if (!text.starts_with(prefix))
        return std::nullopt;
    text.remove_prefix(prefix.size());
    int pid = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), pid);
    if (error != std::errc() || end == text.data() || pid < 0)
        return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    if (!text.starts_with(separator))
        return std::nullopt;
    text.remove_prefix(separator.size());
    return user_client_creator{pid, std::string(text)};
}

std::vector<hid_device_client> hid_device_clients(device const& hid_device)
{
    std::vector<hid_device_client> clients;
    if (!hid_device)
        return clients;
    auto children = hid_device.get_children(plane::service);
    while (auto object = children.next())
    {
        device entry{io_kit::io_registry_entry(std::move(object))};
        if (!entry.conforms_to_class(user_client_class))
            continue;
        hid_device_client client;
        client.entry = std::move(entry);
        boost::system::error_code ec;
        if (auto const creator = client.entry.get_property_value("IOUserClientCreator", ec))
            if (auto const* text = std::get_if<std::string>(&creator->content))
                if (auto parsed = parse_user_client_creator(*text))
                {
                    client.pid = parsed->pid;
                    client.process_name = std::move(parsed->process_name);
                }
        read_debug_state(client);
        clients.push_back(std::move(client));
    }
    return clients;
}

std::optional<hid_device_client> find_hid_seizer(device const& hid_device)
{
    for (auto& client : hid_device_clients(hid_device))
        if (client.seizing.value_or(false))
            return std::move(client);
    return std::nullopt;
}

} // namespace plinth::apple
