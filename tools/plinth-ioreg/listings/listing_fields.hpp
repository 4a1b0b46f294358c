// How the device listings print a field: "-" when absent, hexadecimal at a width, null in JSON.
#pragma once

#include <nlohmann/json.hpp>

#include <optional>
#include <string>

namespace plinth::ioreg_tool {

// How the listings print a field: "-" when it is absent.
std::string text_or_absent(std::optional<std::string> const& text);
std::string number_or_absent(std::optional<int> const& number);
// Zero-padded hexadecimal digits ("05ac"), or "0x" and the digits ("0x14100000").
std::string hex_or_absent(std::optional<int> const& number, int digits);
std::string prefixed_hex_or_absent(std::optional<int> const& number, int digits);

template <typename T>
nlohmann::ordered_json json_or_null(std::optional<T> const& value)
{
    return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json(nullptr);
}

} // namespace plinth::ioreg_tool
