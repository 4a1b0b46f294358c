// Tests of the simulated CFNumber and CFBoolean.
#include "support/sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>

namespace {

class cf_number_test : public plinth::testing::sim_test
{
protected:
    template <typename T>
    static CFNumberRef make(CFNumberType type, T value)
    {
        return CFNumberCreate(nullptr, type, &value);
    }

    // Makes a number of `source_type` from `source`, reads it back as `type` and
    // checks what CFNumberGetValue stores (when `stored` is given) and whether it
    // calls the conversion exact.
    template <typename T, typename Source>
    static void expect_reading(CFNumberType source_type, Source source, CFNumberType type, std::optional<T> stored,
                               bool exact)
    {
        CFNumberRef number = make(source_type, source);
        T value{};
        EXPECT_EQ(static_cast<bool>(CFNumberGetValue(number, type, &value)), exact)
            << source << " read as type " << type;
        if (stored)
        {
            EXPECT_EQ(value, *stored) << source << " read as type " << type;
        }
        CFRelease(number);
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
    for (auto const& c :
         {case_t{kCFNumberCharType, kCFNumberSInt8Type, 1}, case_t{kCFNumberShortType, kCFNumberSInt16Type, 2},
          case_t{kCFNumberIntType, kCFNumberSInt32Type, 4}, case_t{kCFNumberLongType, kCFNumberSInt64Type, 8},
          case_t{kCFNumberLongLongType, kCFNumberSInt64Type, 8}, case_t{kCFNumberCFIndexType, kCFNumberSInt64Type, 8},
          case_t{kCFNumberNSIntegerType, kCFNumberSInt64Type, 8}, case_t{kCFNumberFloatType, kCFNumberFloat32Type, 4},
          case_t{kCFNumberDoubleType, kCFNumberFloat64Type, 8}, case_t{kCFNumberCGFloatType, kCFNumberFloat64Type, 8}})
    {
        std::int64_t zero[2] = {0, 0};
        CFNumberRef number = CFNumberCreate(nullptr, c.made_as, zero);
        EXPECT_EQ(CFNumberGetType(number), c.reported) << "made as " << c.made_as;
        EXPECT_EQ(CFNumberGetByteSize(number), c.size) << "made as " << c.made_as;
        EXPECT_EQ(CFNumberIsFloatType(number), c.reported >= kCFNumberFloat32Type) << "made as " << c.made_as;
        CFRelease(number);
    }

    // Only the first byte of the buffer belongs to an SInt8.
    expect_reading<std::int64_t>(kCFNumberSInt8Type, std::int64_t{0x7F7F7F7F7F7F7F80}, kCFNumberSInt64Type, -128, true);
}

TEST_F(cf_number_test, narrowing_and_float_conversions_store_the_c_cast_and_report_loss)
{
    expect_reading<SInt32>(kCFNumberSInt64Type, std::int64_t{0x100000001}, kCFNumberSInt32Type, 1, false);
    // SInt32 has no upper-bits exception.
    expect_reading<SInt32>(kCFNumberSInt64Type, std::int64_t{4294967295}, kCFNumberSInt32Type, -1, false);
    expect_reading<SInt32>(kCFNumberSInt64Type, std::int64_t{-5}, kCFNumberSInt32Type, -5, true);
    // Eight- and sixteen-bit targets accept values whose upper bits are zero.
    expect_reading<SInt8>(kCFNumberSInt32Type, SInt32{200}, kCFNumberSInt8Type, -56, true);
    expect_reading<SInt8>(kCFNumberSInt32Type, SInt32{300}, kCFNumberSInt8Type, 44, false);
    expect_reading<SInt8>(kCFNumberSInt32Type, SInt32{-200}, kCFNumberSInt8Type, 56, false);
    expect_reading<SInt16>(kCFNumberSInt32Type, SInt32{0xFFFF}, kCFNumberSInt16Type, -1, true);
    expect_reading<SInt16>(kCFNumberSInt32Type, SInt32{0x10000}, kCFNumberSInt16Type, 0, false);

    // Conversions with floats truncate and report lost precision.
    expect_reading<SInt32>(kCFNumberFloat64Type, 1.5, kCFNumberSInt32Type, 1, false);
    expect_reading<SInt32>(kCFNumberFloat64Type, -3.0, kCFNumberSInt32Type, -3, true);
    expect_reading<SInt64>(kCFNumberFloat64Type, 1e300, kCFNumberSInt64Type, std::nullopt, false);
    // 2^63 is just beyond SInt64.
    expect_reading<SInt64>(kCFNumberFloat64Type, 9223372036854775808.0, kCFNumberSInt64Type, std::nullopt, false);
    expect_reading<SInt32>(kCFNumberFloat64Type, std::numeric_limits<double>::quiet_NaN(), kCFNumberSInt32Type,
                           std::nullopt, false);

    expect_reading<double>(kCFNumberSInt32Type, SInt32{123}, kCFNumberFloat64Type, 123.0, true);
    expect_reading<double>(kCFNumberSInt64Type, (std::int64_t{1} << 53) + 1, kCFNumberFloat64Type, std::nullopt, false);
    // 0.1 has no exact Float32 form.
    expect_reading<float>(kCFNumberFloat64Type, 0.1, kCFNumberFloat32Type, 0.1f, false);
    expect_reading<float>(kCFNumberFloat64Type, 0.25, kCFNumberFloat32Type, 0.25f, true);
    expect_reading<double>(kCFNumberFloat32Type, 0.1f, kCFNumberFloat64Type, static_cast<double>(0.1f), true);
    expect_reading<float>(kCFNumberFloat64Type, 1e300, kCFNumberFloat32Type, std::numeric_limits<float>::infinity(),
                          false);
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
    EXPECT_EQ(take_misuse_reports().size(), 3u);
}

} // namespace
