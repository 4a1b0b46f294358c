// Tests of the simulated CFArray.
#include "sim/cf_support.hpp"
#include "support/sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <vector>

namespace {

using namespace plinth::testing::cf;

class cf_array_test : public plinth::testing::sim_test
{
protected:
    static std::vector<SInt32> numbers_in(CFArrayRef array)
    {
        std::vector<SInt32> result(static_cast<std::size_t>(CFArrayGetCount(array)));
        for (CFIndex i = 0; i < CFArrayGetCount(array); ++i)
            CFNumberGetValue(static_cast<CFNumberRef>(CFArrayGetValueAtIndex(array, i)), kCFNumberSInt32Type,
                             &result[static_cast<std::size_t>(i)]);
        return result;
    }
};

TEST_F(cf_array_test, keeps_order_and_owns_its_values)
{
    CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    CFNumberRef numbers[3] = {create_number(10), create_number(20), create_number(30)};
    CFArrayAppendValue(array, numbers[0]);
    CFArrayAppendValue(array, numbers[2]);
    CFArrayInsertValueAtIndex(array, 1, numbers[1]);
    for (CFNumberRef n : numbers)
    {
        EXPECT_EQ(CFGetRetainCount(n), 2);
        CFRelease(n);
    }
    EXPECT_EQ(numbers_in(array), (std::vector<SInt32>{10, 20, 30}));

    CFArrayRemoveValueAtIndex(array, 0);
    EXPECT_EQ(numbers_in(array), (std::vector<SInt32>{20, 30}));
    EXPECT_EQ(plinth::sim::live_cf_objects(), 3u) << "the removed number is freed";

    CFNumberRef replacement = create_number(25);
    CFArraySetValueAtIndex(array, 0, replacement);
    CFArraySetValueAtIndex(array, 2, replacement); // one past the end appends
    CFRelease(replacement);
    EXPECT_EQ(numbers_in(array), (std::vector<SInt32>{25, 30, 25}));

    CFArrayRemoveAllValues(array);
    EXPECT_EQ(CFArrayGetCount(array), 0);
    EXPECT_EQ(plinth::sim::live_cf_objects(), 1u);
    CFRelease(array);
}

TEST_F(cf_array_test, searches_and_walks_a_range)
{
    CFNumberRef two = create_number(2);
    CFNumberRef values[] = {create_number(1), two, create_number(3), create_number(2)};
    CFArrayRef array = CFArrayCreate(nullptr, reinterpret_cast<void const**>(values), 4, &kCFTypeArrayCallBacks);
    for (CFNumberRef n : values)
        CFRelease(n);

    CFNumberRef two_as_real = create_real(2.0);
    EXPECT_EQ(CFArrayGetFirstIndexOfValue(array, CFRangeMake(0, 4), two_as_real), 1) << "found by CFEqual";
    EXPECT_EQ(CFArrayGetFirstIndexOfValue(array, CFRangeMake(2, 2), two_as_real), 3);
    EXPECT_FALSE(CFArrayContainsValue(array, CFRangeMake(2, 1), two_as_real));
    CFRelease(two_as_real);

    SInt32 sum = 0;
    CFArrayApplyFunction(
        array, CFRangeMake(1, 3),
        [](void const* value, void* context) {
            SInt32 v = 0;
            CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt32Type, &v);
            *static_cast<SInt32*>(context) += v;
        },
        &sum);
    EXPECT_EQ(sum, 7);

    void const* middle[2] = {};
    CFArrayGetValues(array, CFRangeMake(1, 2), middle);
    EXPECT_EQ(middle[0], two);
    CFRelease(array);
}

TEST_F(cf_array_test, equality_needs_equal_values_in_the_same_order)
{
    CFNumberRef one = create_number(1);
    void const* values[] = {one, CFSTR("s")};
    void const* reversed_values[] = {CFSTR("s"), one};
    CFArrayRef array = CFArrayCreate(nullptr, values, 2, &kCFTypeArrayCallBacks);
    CFArrayRef reversed = CFArrayCreate(nullptr, reversed_values, 2, &kCFTypeArrayCallBacks);
    CFMutableArrayRef copy = CFArrayCreateMutableCopy(nullptr, 0, array);
    EXPECT_TRUE(CFEqual(array, copy));
    EXPECT_EQ(CFGetRetainCount(one), 4);
    EXPECT_FALSE(CFEqual(array, reversed));
    CFArrayAppendValue(copy, kCFBooleanFalse);
    EXPECT_FALSE(CFEqual(array, copy));
    release_all(one, array, copy, reversed);
}

TEST_F(cf_array_test, bad_indices_and_changes_to_immutable_arrays_are_misuse)
{
    CFArrayRef array = CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks);
    EXPECT_EQ(CFArrayGetValueAtIndex(array, 0), nullptr);
    CFArrayAppendValue(const_cast<CFMutableArrayRef>(array), CFSTR("x"));
    CFArrayApplyFunction(
        array, CFRangeMake(0, 1), [](void const*, void*) {}, nullptr);
    EXPECT_EQ(CFArrayGetCount(array), 0);
    auto const reports = take_misuse_reports();
    ASSERT_EQ(reports.size(), 3u);
    EXPECT_NE(reports[0].find("CFArrayGetValueAtIndex"), std::string::npos) << reports[0];
    EXPECT_NE(reports[1].find("immutable"), std::string::npos) << reports[1];
    EXPECT_NE(reports[2].find("range"), std::string::npos) << reports[2];
    CFRelease(array);
}

TEST_F(cf_array_test, arrays_append_a_range_of_another_or_of_themselves)
{
    CFStringRef const values[] = {CFSTR("a"), CFSTR("b"), CFSTR("c")};
    CFArrayRef const source = CFArrayCreate(nullptr, reinterpret_cast<void const**>(const_cast<CFStringRef*>(values)),
                                            3, &kCFTypeArrayCallBacks);
    CFMutableArrayRef const target = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    CFArrayAppendArray(target, source, CFRangeMake(1, 2));
    CFArrayAppendArray(target, target, CFRangeMake(0, 2));
    ASSERT_EQ(CFArrayGetCount(target), 4);
    EXPECT_TRUE(CFEqual(CFArrayGetValueAtIndex(target, 3), CFSTR("c")));
    CFArrayAppendArray(target, source, CFRangeMake(2, 2));
    EXPECT_EQ(take_misuse_reports().size(), 1u);
    EXPECT_EQ(CFArrayGetCount(target), 4);
    release_all(source, target);
}

// Sorting keeps equal values in their order (tens compared alone) and leaves
// what lies outside the range, and a sort without a comparator is misuse.
TEST_F(cf_array_test, sorting_a_range_is_stable_and_leaves_the_rest_in_place)
{
    CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    for (SInt32 value : {99, 31, 12, 30, 11, 0})
    {
        CFNumberRef number = create_number(value);
        CFArrayAppendValue(array, number);
        CFRelease(number);
    }
    auto const by_tens = [](void const* a, void const* b, void* calls) -> CFComparisonResult {
        ++*static_cast<int*>(calls);
        SInt32 x = 0;
        SInt32 y = 0;
        CFNumberGetValue(static_cast<CFNumberRef>(a), kCFNumberSInt32Type, &x);
        CFNumberGetValue(static_cast<CFNumberRef>(b), kCFNumberSInt32Type, &y);
        return x / 10 < y / 10 ? kCFCompareLessThan : (x / 10 > y / 10 ? kCFCompareGreaterThan : kCFCompareEqualTo);
    };
    int calls = 0;
    CFArraySortValues(array, CFRangeMake(1, 4), by_tens, &calls);
    EXPECT_GT(calls, 0) << "the context reaches the comparator";
    EXPECT_EQ(numbers_in(array), (std::vector<SInt32>{99, 12, 11, 31, 30, 0}));
    CFArraySortValues(array, CFRangeMake(0, 6), nullptr, nullptr);
    CFArraySortValues(array, CFRangeMake(2, 5), by_tens, &calls);
    EXPECT_EQ(take_misuse_reports().size(), 2u);
    EXPECT_EQ(numbers_in(array), (std::vector<SInt32>{99, 12, 11, 31, 30, 0}));
    CFRelease(array);
}

} // namespace
