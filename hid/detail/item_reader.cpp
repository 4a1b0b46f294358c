// item_reader: the short and long items of a report descriptor, and the names of item tags.
#include "hid/detail/item_reader.hpp"

#include "hid/descriptor_error.hpp"

namespace plinth::apple::detail {

std::int32_t sign_extend(std::uint32_t data, std::uint8_t size) noexcept
{
    switch (size)
    {
    case 1: return static_cast<std::int8_t>(static_cast<std::uint8_t>(data));
    case 2: return static_cast<std::int16_t>(static_cast<std::uint16_t>(data));
    case 4: return static_cast<std::int32_t>(data);
    default: return 0;
    }
}

std::string_view item_name(std::uint8_t prefix) noexcept
{
    if (prefix == long_item_prefix)
        return "Long item";
    switch (static_cast<item_tag>(prefix & 0xFC))
    {
    case item_tag::input: return "Input";
    case item_tag::output: return "Output";
    case item_tag::feature: return "Feature";
    case item_tag::collection: return "Collection";
    case item_tag::end_collection: return "End Collection";
    case item_tag::usage_page: return "Usage Page";
    case item_tag::logical_minimum: return "Logical Minimum";
    case item_tag::logical_maximum: return "Logical Maximum";
    case item_tag::physical_minimum: return "Physical Minimum";
    case item_tag::physical_maximum: return "Physical Maximum";
    case item_tag::unit_exponent: return "Unit Exponent";
    case item_tag::unit: return "Unit";
    case item_tag::report_size: return "Report Size";
    case item_tag::report_id: return "Report ID";
    case item_tag::report_count: return "Report Count";
    case item_tag::push: return "Push";
    case item_tag::pop: return "Pop";
    case item_tag::usage: return "Usage";
    case item_tag::usage_minimum: return "Usage Minimum";
    case item_tag::usage_maximum: return "Usage Maximum";
    case item_tag::designator_index: return "Designator Index";
    case item_tag::designator_minimum: return "Designator Minimum";
    case item_tag::designator_maximum: return "Designator Maximum";
    case item_tag::string_index: return "String Index";
    case item_tag::string_minimum: return "String Minimum";
    case item_tag::string_maximum: return "String Maximum";
    case item_tag::delimiter: return "Delimiter";
    }
    return "Reserved item";
}

std::optional<descriptor_item> item_reader::next()
{
    if (position_ >= bytes_.size())
        return std::nullopt;
    descriptor_item item;
    item.offset = position_;
    item.prefix = bytes_[position_];
    std::size_t const left = bytes_.size() - position_ - 1;
    if (item.prefix == long_item_prefix)
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

} // namespace plinth::apple::detail
