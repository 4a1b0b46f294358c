// Tests of property::number's readings (signed, unsigned) and of equality that ignores bits above a number's width.
#include "property/value.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

namespace {

using plinth::property::make_number;
using plinth::property::number;
namespace property = plinth::property;

TEST(property_number_test, reads_its_low_bits_signed_or_unsigned_at_its_width)
{
    struct case_t
    {
        number n;
        std::int64_t as_signed;
        std::uint64_t as_unsigned;
    };
    for (auto const& c : {
             case_t{number{0xFF, 8}, -1, 0xFF},
             case_t{number{0x7F, 8}, 127, 0x7F},
             case_t{number{-1, 16}, -1, 0xFFFF},
             case_t{number{0xFFFFFFFF, 32}, -1, 0xFFFFFFFF},
             case_t{number{-1, 32}, -1, 0xFFFFFFFF},
             case_t{number{0x80000000, 32}, std::numeric_limits<std::int32_t>::min(), 0x80000000},
             case_t{number{0x1'0000'0005, 32}, 5, 5}, // bits above the width are not the number's
             case_t{number{-5, 64}, -5, std::numeric_limits<std::uint64_t>::max() - 4},
             case_t{number{0x1'0000'0001, 64}, 0x1'0000'0001, 0x1'0000'0001},
         })
    {
        EXPECT_EQ(c.n.as_signed(), c.as_signed) << c.n.bits << " at " << c.n.width;
        EXPECT_EQ(c.n.as_unsigned(), c.as_unsigned) << c.n.bits << " at " << c.n.width;
    }
}

TEST(property_number_test, numbers_are_equal_when_their_width_and_low_bits_are)
{
    EXPECT_EQ((number{0xFFFFFFFF, 32}), (number{-1, 32})) << "what the kernel holds and what CF hands out";
    EXPECT_NE((number{-1, 32}), (number{-1, 64})) << "the width is part of the number";
    EXPECT_NE((number{1, 32}), (number{2, 32}));
    EXPECT_EQ(property::value(number{-1, 32}), property::value(number{4294967295, 32}));
    EXPECT_NE(property::value(number{1, 32}), property::value(1.0)) << "an integer is no real";

    EXPECT_EQ(make_number(5), (number{5, 32}));
    EXPECT_EQ(make_number(-5), (number{-5, 32}));
    EXPECT_EQ(make_number(0xFFFFFFFF).width, 32) << "fits 32 bits unsigned";
    EXPECT_EQ(make_number(0x1'0000'0000).width, 64);
    EXPECT_EQ(make_number(std::numeric_limits<std::int32_t>::min() - std::int64_t{1}).width, 64);
}

TEST(property_number_test, collections_compare_item_by_item_in_order)
{
    using property::array;
    using property::dictionary;
    using property::set;
    EXPECT_EQ((dictionary{{"a", true}, {"b", std::string("x")}}), (dictionary{{"a", true}, {"b", std::string("x")}}));
    EXPECT_NE((dictionary{{"a", true}, {"b", false}}), (dictionary{{"b", false}, {"a", true}}))
        << "the registry's order is part of what was read";
    EXPECT_EQ(property::value(set{{make_number(1), true}}), property::value(set{{make_number(1), true}}));
    EXPECT_NE(property::value(set{{make_number(1)}}), property::value(array{make_number(1)})) << "a set is no array";
}

} // namespace
