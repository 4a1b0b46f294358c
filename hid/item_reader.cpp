// hid_item_reader: the short and long items of a report descriptor, one after another.
#include "hid/item_reader.hpp"

#include "hid/descriptor_error.hpp"

namespace plinth::apple {

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
