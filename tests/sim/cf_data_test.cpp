// Tests of the simulated CFData.
#include "support/sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <array>

namespace {

using cf_data_test = plinth::testing::sim_test;

TEST_F(cf_data_test, creation_copies_the_bytes)
{
    std::array<UInt8, 4> bytes{0xDE, 0xAD, 0xBE, 0xEF};
    CFDataRef data = CFDataCreate(nullptr, bytes.data(), bytes.size());
    bytes[0] = 0;
    ASSERT_EQ(CFDataGetLength(data), 4);
    EXPECT_EQ(CFDataGetBytePtr(data)[0], 0xDE);

    std::array<UInt8, 2> middle{};
    CFDataGetBytes(data, CFRangeMake(1, 2), middle.data());
    EXPECT_EQ(middle, (std::array<UInt8, 2>{0xAD, 0xBE}));

    CFDataRef same = CFDataCreate(nullptr, CFDataGetBytePtr(data), 4);
    EXPECT_TRUE(CFEqual(data, same));
    EXPECT_EQ(CFHash(data), CFHash(same));
    CFRelease(same);
    CFRelease(data);
}

TEST_F(cf_data_test, mutable_data_grows_within_its_capacity)
{
    CFMutableDataRef data = CFDataCreateMutable(nullptr, 0);
    UInt8 const bytes[] = {1, 2, 3};
    CFDataAppendBytes(data, bytes, 3);
    CFDataAppendBytes(data, CFDataGetBytePtr(data), 3); // appending itself
    EXPECT_EQ(CFDataGetLength(data), 6);
    EXPECT_EQ(CFDataGetBytePtr(data)[5], 3);
    CFDataSetLength(data, 8);
    EXPECT_EQ(CFDataGetBytePtr(data)[7], 0) << "lengthening adds zeros";
    CFDataGetMutableBytePtr(data)[0] = 9;
    EXPECT_EQ(CFDataGetBytePtr(data)[0], 9);
    CFRelease(data);
}

TEST_F(cf_data_test, growth_beyond_capacity_bad_ranges_and_changes_to_immutable_data_are_misuse)
{
    UInt8 const bytes[] = {1, 2, 3};
    CFMutableDataRef bounded = CFDataCreateMutable(nullptr, 2);
    CFDataAppendBytes(bounded, bytes, 3);
    EXPECT_EQ(CFDataGetLength(bounded), 0);
    CFDataRef data = CFDataCreate(nullptr, bytes, 2);
    UInt8 out[4] = {};
    CFDataGetBytes(data, CFRangeMake(1, 2), out);
    CFDataAppendBytes(const_cast<CFMutableDataRef>(data), bytes, 2);
    EXPECT_EQ(CFDataCreate(nullptr, nullptr, 3), nullptr);
    EXPECT_EQ(CFDataGetLength(data), 2);
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(take_misuse_reports().size(), 4u);
    CFRelease(data);
    CFRelease(bounded);
}

} // namespace
