#include "support/sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace {

class cf_number_test : public plinth::testing::sim_test
{
protected:
    template <typename T>
    static CFNumberRef make(CFNumberType type, T value)
    {
        return CFNumberCreate(nullptr, type, &value);
    }

    // The value CFNumberGetValue stores as `type`, and whether it called that exact.
    template <typename T>
    struct reading
    {
        T value;
        bool exact;
    };

    template <typename T, typename Source>
    static reading<T> read_as(CFNumberType type, CFNumberType source_type, Source source)
    {
        CFNumberRef number = make(source_type, source);
        T value{};
        bool const exact = CFNumberGetValue(number, type, &value);
        CFRelease(number);
        return {value, exact};
    }
};

TEST_F(cf_number_test, numbers_keep_the_canonical_type_they_were_made_as)
{
    struct case_t
    {
        CFNumberType made_as;
        CFNumberType reported;
        CFIndex size;
    };
    for (auto const& c : {case_t{kCFNumberCharType, kCFNumberSInt8Type, 1},
                          case_t{kCFNumberShortType, kCFNumberSInt16Type, 2},
                          case_t{kCFNumberIntType, kCFNumberSInt32Type, 4},
                          case_t{kCFNumberLongType, kCFNumberSInt64Type, 8},
                          case_t{kCFNumberLongLongType, kCFNumberSInt64Type, 8},
                          case_t{kCFNumberCFIndexType, kCFNumberSInt64Type, 8},
                          case_t{kCFNumberNSIntegerType, kCFNumberSInt64Type, 8},
                          case_t{kCFNumberFloatType, kCFNumberFloat32Type, 4},
                          case_t{kCFNumberDoubleType, kCFNumberFloat64Type, 8},
                          case_t{kCFNumberCGFloatType, kCFNumberFloat64Type, 8}})
    {
        std::int64_t zero[2] = {0, 0};
        CFNumberRef number = CFNumberCreate(nullptr, c.made_as, zero);
        EXPECT_EQ(CFNumberGetType(number), c.reported) << "made as " << c.made_as;
        EXPECT_EQ(CFNumberGetByteSize(number), c.size) << "made as " << c.made_as;
        EXPECT_EQ(CFNumberIsFloatType(number), c.reported >= kCFNumberFloat32Type) << "made as " << c.made_as;
        CFRelease(number);
    }
}

TEST_F(cf_number_test, values_are_read_as_the_width_of_their_type)
{
    // Only the first byte of the buffer belongs to an SInt8.
    std::int64_t const pattern = 0x7F7F7F7F7F7F7F80;
    CFNumberRef number = CFNumberCreate(nullptr, kCFNumberSInt8Type, &pattern);
    std::int64_t wide = 0;
    EXPECT_TRUE(CFNumberGetValue(number, kCFNumberSInt64Type, &wide));
    EXPECT_EQ(wide, -128);
    CFRelease(number);
}

TEST_F(cf_number_test, integer_narrowing_stores_the_c_cast_and_reports_loss)
{
    auto const big = read_as<SInt32>(kCFNumberSInt32Type, kCFNumberSInt64Type, std::int64_t{0x100000001});
    EXPECT_EQ(big.value, 1);
    EXPECT_FALSE(big.exact);

    auto const all_ones = read_as<SInt32>(kCFNumberSInt32Type, kCFNumberSInt64Type, std::int64_t{4294967295});
    EXPECT_EQ(all_ones.value, -1);
    EXPECT_FALSE(all_ones.exact) << "SInt32 has no upper-bits exception";

    auto const fits = read_as<SInt32>(kCFNumberSInt32Type, kCFNumberSInt64Type, std::int64_t{-5});
    EXPECT_EQ(fits.value, -5);
    EXPECT_TRUE(fits.exact);
}

TEST_F(cf_number_test, eight_and_sixteen_bit_targets_accept_values_with_zero_upper_bits)
{
    auto const byte = read_as<SInt8>(kCFNumberSInt8Type, kCFNumberSInt32Type, SInt32{200});
    EXPECT_EQ(byte.value, -56);
    EXPECT_TRUE(byte.exact);

    auto const too_big = read_as<SInt8>(kCFNumberSInt8Type, kCFNumberSInt32Type, SInt32{300});
    EXPECT_EQ(too_big.value, 44);
    EXPECT_FALSE(too_big.exact);

    auto const negative = read_as<SInt8>(kCFNumberSInt8Type, kCFNumberSInt32Type, SInt32{-200});
    EXPECT_EQ(negative.value, 56);
    EXPECT_FALSE(negative.exact);

    auto const word = read_as<SInt16>(kCFNumberSInt16Type, kCFNumberSInt32Type, SInt32{0xFFFF});
    EXPECT_EQ(word.value, -1);
    EXPECT_TRUE(word.exact);

    auto const wide_word = read_as<SInt16>(kCFNumberSInt16Type, kCFNumberSInt32Type, SInt32{0x10000});
    EXPECT_EQ(wide_word.value, 0);
    EXPECT_FALSE(wide_word.exact);
}

TEST_F(cf_number_test, floats_to_integers_truncate_and_report_loss)
{
    auto const half = read_as<SInt32>(kCFNumberSInt32Type, kCFNumberFloat64Type, 1.5);
    EXPECT_EQ(half.value, 1);
    EXPECT_FALSE(half.exact);

    auto const whole = read_as<SInt32>(kCFNumberSInt32Type, kCFNumberFloat64Type, -3.0);
    EXPECT_EQ(whole.value, -3);
    EXPECT_TRUE(whole.exact);

    auto const huge = read_as<SInt64>(kCFNumberSInt64Type, kCFNumberFloat64Type, 1e300);
    EXPECT_FALSE(huge.exact);
    auto const two_to_63 = read_as<SInt64>(kCFNumberSInt64Type, kCFNumberFloat64Type, 9223372036854775808.0);
    EXPECT_FALSE(two_to_63.exact) << "2^63 is just beyond SInt64";
    auto const not_a_number =
        read_as<SInt32>(kCFNumberSInt32Type, kCFNumberFloat64Type, std::numeric_limits<double>::quiet_NaN());
    EXPECT_FALSE(not_a_number.exact);
}

TEST_F(cf_number_test, conversions_between_integers_and_floats_report_lost_precision)
{
    auto const small = read_as<double>(kCFNumberFloat64Type, kCFNumberSInt32Type, SInt32{123});
    EXPECT_EQ(small.value, 123.0);
    EXPECT_TRUE(small.exact);

    std::int64_t const beyond_double = (std::int64_t{1} << 53) + 1;
    auto const rounded = read_as<double>(kCFNumberFloat64Type, kCFNumberSInt64Type, beyond_double);
    EXPECT_FALSE(rounded.exact);

    auto const tenth = read_as<float>(kCFNumberFloat32Type, kCFNumberFloat64Type, 0.1);
    EXPECT_FLOAT_EQ(tenth.value, 0.1f);
    EXPECT_FALSE(tenth.exact) << "0.1 has no exact Float32 form";

    auto const quarter = read_as<float>(kCFNumberFloat32Type, kCFNumberFloat64Type, 0.25);
    EXPECT_TRUE(quarter.exact);

    auto const widened = read_as<double>(kCFNumberFloat64Type, kCFNumberFloat32Type, 0.1f);
    EXPECT_EQ(widened.value, static_cast<double>(0.1f));
    EXPECT_TRUE(widened.exact);

    auto const overflow = read_as<float>(kCFNumberFloat32Type, kCFNumberFloat64Type, 1e300);
    EXPECT_TRUE(std::isinf(overflow.value));
    EXPECT_FALSE(overflow.exact);
}

TEST_F(cf_number_test, numbers_compare_by_value_across_types)
{
    CFNumberRef three = make(kCFNumberSInt8Type, SInt8{3});
    CFNumberRef three_wide = make(kCFNumberSInt64Type, std::int64_t{3});
    CFNumberRef three_and_a_half = make(kCFNumberFloat32Type, 3.5f);
    CFNumberRef big = make(kCFNumberSInt64Type, std::numeric_limits<std::int64_t>::max());
    CFNumberRef big_real = make(kCFNumberFloat64Type, 9223372036854775808.0);

    EXPECT_TRUE(CFEqual(three, three_wide));
    EXPECT_EQ(CFHash(three), CFHash(three_wide));
    EXPECT_EQ(CFNumberCompare(three, three_and_a_half, nullptr), kCFCompareLessThan);
    EXPECT_EQ(CFNumberCompare(three_and_a_half, three_wide, nullptr), kCFCompareGreaterThan);
    // Exact, where a conversion to double would call them equal.
    EXPECT_EQ(CFNumberCompare(big, big_real, nullptr), kCFCompareLessThan);
    EXPECT_FALSE(CFEqual(big, big_real));

    for (CFNumberRef n : {three, three_wide, three_and_a_half, big, big_real})
        CFRelease(n);
}

TEST_F(cf_number_test, invalid_types_are_reported)
{
    SInt32 value = 1;
    EXPECT_EQ(CFNumberCreate(nullptr, 0, &value), nullptr);
    EXPECT_EQ(CFNumberCreate(nullptr, kCFNumberSInt32Type, nullptr), nullptr);
    CFNumberRef number = make(kCFNumberSInt32Type, value);
    EXPECT_FALSE(CFNumberGetValue(number, 17, &value));
    CFRelease(number);
    EXPECT_EQ(plinth::sim::misuse_reports().size(), 3u);
    plinth::sim::clear_misuse_reports();
}

} // namespace
