// hid_report_type: input, output or feature, as the Main item that defines a field.
#pragma once

#include <cstdint>
#include <string_view>

namespace plinth::apple {

enum class hid_report_type : std::uint8_t
{
    input,
    output,
    feature,
};

constexpr std::string_view to_string(hid_report_type type) noexcept
{
    switch (type)
    {
    case hid_report_type::input: return "input";
    case hid_report_type::output: return "output";
    case hid_report_type::feature: return "feature";
    }
    return "?";
}

} // namespace plinth::apple
