#include "support/sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <vector>

namespace {

class cf_set_test : public plinth::testing::sim_test
{
protected:
    static CFStringRef make_string(char const* text)
    {
        return CFStringCreateWithCString(nullptr, text, kCFStringEncodingUTF8);
    }
};

TEST_F(cf_set_test, holds_each_value_once_by_equality)
{
    CFMutableSetRef set = CFSetCreateMutable(nullptr, 0, &kCFTypeSetCallBacks);
    CFStringRef made = make_string("IOService");
    CFSetAddValue(set, CFSTR("IOService"));
    CFSetAddValue(set, made);
    CFSetAddValue(set, CFSTR("IOUSBHostDevice"));
    EXPECT_EQ(CFSetGetCount(set), 2);
    EXPECT_EQ(CFGetRetainCount(made), 1) << "an equal value was present: nothing added";
    EXPECT_TRUE(CFSetContainsValue(set, made));

    std::vector<void const*> values(2);
    CFSetGetValues(set, values.data());
    EXPECT_NE(std::find(values.begin(), values.end(), CFSTR("IOService")), values.end());

    CFSetRemoveValue(set, made);
    EXPECT_FALSE(CFSetContainsValue(set, CFSTR("IOService")));
    CFRelease(made);
    CFRelease(set);
}

TEST_F(cf_set_test, retains_values_and_compares_as_sets)
{
    SInt32 const n = 5;
    CFNumberRef number = CFNumberCreate(nullptr, kCFNumberSInt32Type, &n);
    void const* values[] = {number, CFSTR("a"), number};
    CFSetRef set = CFSetCreate(nullptr, values, 3, &kCFTypeSetCallBacks);
    EXPECT_EQ(CFSetGetCount(set), 2);
    EXPECT_EQ(CFGetRetainCount(number), 2);

    void const* reordered[] = {CFSTR("a"), number};
    CFSetRef other = CFSetCreate(nullptr, reordered, 2, &kCFTypeSetCallBacks);
    EXPECT_TRUE(CFEqual(set, other));

    int visits = 0;
    CFSetApplyFunction(set, [](void const*, void* context) { ++*static_cast<int*>(context); }, &visits);
    EXPECT_EQ(visits, 2);

    CFRelease(set);
    CFRelease(other);
    EXPECT_EQ(CFGetRetainCount(number), 1);
    CFRelease(number);
}

} // namespace
