// hid_item_reader: the short and long items of a report descriptor, and the names of item tags.
#include "hid/item_reader.hpp"

#include "hid/descriptor_error.hpp"

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

std::optional<hid_descriptor_item> hid_item_reader::next()
{
    if (position_ >= bytes_.size())
        return std::nullopt;
    hid_descriptor_item item;
    item.offset = position_;
    item.prefix = bytes_[position_];
    std::size_t const left = bytes_.size() - position_ - 1;
    if (item.prefix == hid_long_item_prefix)
    {
        // bDataSize, bLongItemTag, then bDataSize bytes of data.
        if (left < 2 || left - 2 < bytes_[position_ + 1])
            throw hid_descriptor_error({item.offset, item.prefix, "the long item runs past the end of the descriptor"});
        item.is_long = true;
        position_ += 3 + std::size_t{bytes_[position_ + 1]};
        return item;
    }
    static constexpr std::uint8_t data_sizes[] = {0, 1, 2, 4};
    item.size = data_sizes[item.prefix & 0x3];
    if (left < item.size)
        throw hid_descriptor_error({item.offset, item.prefix, "the item's data runs past the end of the descriptor"});
    for (std::size_t i = 0; i < item.size; ++i)
        item.data |= std::uint32_t{bytes_[position_ + 1 + i]} << (8 * i);
    position_ += 1 + std::size_t{item.size};
    return item;
}

} // namespace plinth::apple
