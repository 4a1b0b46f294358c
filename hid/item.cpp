// hid_descriptor_item: reading an item's data as signed, and the names of item tags.
#include "hid/item.hpp"

namespace plinth::apple {

std::int32_t hid_sign_extend(std::uint32_t data, std::uint8_t size) noexcept
{
    switch (size)
    {
    case 1: return static_cast<std::int8_t>(static_cast<std::uint8_t>(data));
    case 2: return static_cast<std::int16_t>(static_cast<std::uint16_t>(data));
    case 4: return static_cast<std::int32_t>(data);
    default: return 0;
    }
}

std::string_view hid_item_name(std::uint8_t prefix) noexcept
{
    if (prefix == hid_long_item_prefix)
        return "Long item";
    switch (static_cast<hid_item_tag>(prefix & 0xFC))
    {
    case hid_item_tag::input: return "Input";
    case hid_item_tag::output: return "Output";
    case hid_item_tag::feature: return "Feature";
    case hid_item_tag::collection: return "Collection";
    case hid_item_tag::end_collection: return "End Collection";
    case hid_item_tag::usage_page: return "Usage Page";
    case hid_item_tag::logical_minimum: return "Logical Minimum";
    case hid_item_tag::logical_maximum: return "Logical Maximum";
    case hid_item_tag::physical_minimum: return "Physical Minimum";
    case hid_item_tag::physical_maximum: return "Physical Maximum";
    case hid_item_tag::unit_exponent: return "Unit Exponent";
    case hid_item_tag::unit: return "Unit";
    case hid_item_tag::report_size: return "Report Size";
    case hid_item_tag::report_id: return "Report ID";
    case hid_item_tag::report_count: return "Report Count";
    case hid_item_tag::push: return "Push";
    case hid_item_tag::pop: return "Pop";
    case hid_item_tag::usage: return "Usage";
    case hid_item_tag::usage_minimum: return "Usage Minimum";
    case hid_item_tag::usage_maximum: return "Usage Maximum";
    case hid_item_tag::designator_index: return "Designator Index";
    case hid_item_tag::designator_minimum: return "Designator Minimum";
    case hid_item_tag::designator_maximum: return "Designator Maximum";
    case hid_item_tag::string_index: return "String Index";
    case hid_item_tag::string_minimum: return "String Minimum";
    case hid_item_tag::string_maximum: return "String Maximum";
    case hid_item_tag::delimiter: return "Delimiter";
    }
    return "Reserved item";
}

} // namespace plinth::apple
