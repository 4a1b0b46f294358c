// Tests of reading properties from the simulated registry as CF values.
#include "io_registry_support.hpp"

#include <IOKit/IOKitLib.h>

#include <cstdint>

using namespace plinth::testing::io;
namespace sim = plinth::sim;

namespace {

class io_property : public plinth::testing::sim_test
{
protected:
    void SetUp() override
    {
        sim_test::SetUp();
        id = sim::add_entry({"IOService", "Device"}, sim::root_entry_id);
        entry = find_entry(id);
    }

    void TearDown() override
    {
        entry = handle();
        sim_test::TearDown();
    }

    cf read(char const* key) const { return property(entry.get(), key); }

    sim::entry_id id = 0;
    handle entry;
};

TEST_F(io_property, numbers_come_back_as_sint32_up_to_32_bits_else_sint64)
{
    struct case_t
    {
        sim::number stored;
        CFNumberType type;
        SInt64 read;
    };
    for (auto const& c :
         {case_t{sim::make_number(5), kCFNumberSInt32Type, 5}, case_t{sim::number{-2, 32}, kCFNumberSInt32Type, -2},
          // A locationID at or above 0x80000000 reads negative.
          case_t{sim::make_number(0x80000000), kCFNumberSInt32Type, INT32_MIN},
          case_t{sim::number{0xFFFFFFFF, 32}, kCFNumberSInt32Type, -1},
          case_t{sim::make_number(0x123456789), kCFNumberSInt64Type, 0x123456789},
          case_t{sim::number{7, 64}, kCFNumberSInt64Type, 7}})
    {
        sim::set_property(id, "n", c.stored);
        auto const n = read("n");
        SInt64 value = 0;
        CFNumberGetValue(n.as<CFNumberRef>(), kCFNumberSInt64Type, &value);
        EXPECT_EQ(CFNumberGetType(n.as<CFNumberRef>()), c.type) << c.stored.bits << '/' << c.stored.width;
        EXPECT_EQ(value, c.read) << c.stored.bits << '/' << c.stored.width;
    }
}

TEST_F(io_property, booleans_strings_data_and_collections_keep_their_cf_types)
{
    sim::set_property(id, "yes", true);
    sim::set_property(id, "no", false);
    sim::set_property(id, "text", std::string("Apple Inc."));
    sim::set_property(id, "bytes", sim::data{0x86, 0x80, 0x00, 0x00});
    sim::set_property(id, "empty", sim::data{});
    EXPECT_EQ(read("yes").get(), kCFBooleanTrue) << "the CF constants, not numbers";
    EXPECT_EQ(read("no").get(), kCFBooleanFalse);
    EXPECT_EQ(text_property(entry.get(), "text"), "Apple Inc.");
    EXPECT_EQ(data_property(entry.get(), "bytes"), (sim::data{0x86, 0x80, 0x00, 0x00}));
    EXPECT_EQ(data_property(entry.get(), "empty"), sim::data{}) << "an empty data property is present, not absent";

    sim::set_property(id, "dict", sim::dictionary{{"inner", sim::make_number(1)}, {"flag", true}});
    sim::set_property(id, "list", sim::array{std::string("a"), sim::make_number(2)});
    sim::set_property(id, "bag", sim::set{{std::string("x"), std::string("y")}});

    auto const dict = read("dict");
    ASSERT_EQ(CFGetTypeID(dict.get()), CFDictionaryGetTypeID());
    EXPECT_EQ(CFDictionaryGetCount(dict.as<CFDictionaryRef>()), 2);
    EXPECT_EQ(CFDictionaryGetValue(dict.as<CFDictionaryRef>(), CFSTR("flag")), kCFBooleanTrue);
    auto const list = read("list");
    ASSERT_EQ(CFGetTypeID(list.get()), CFArrayGetTypeID());
    EXPECT_EQ(text_of(CFArrayGetValueAtIndex(list.as<CFArrayRef>(), 0)), "a");
    auto const bag = read("bag");
    ASSERT_EQ(CFGetTypeID(bag.get()), CFSetGetTypeID());
    EXPECT_EQ(CFSetGetCount(bag.as<CFSetRef>()), 2);
}

TEST_F(io_property, every_read_is_a_fresh_object_and_absent_is_null)
{
    sim::set_property(id, "text", std::string("one"));
    auto const first = read("text");
    auto const second = read("text");
    EXPECT_NE(first.get(), second.get());
    EXPECT_EQ(CFGetRetainCount(first.get()), 1);
    EXPECT_FALSE(read("missing"));

    sim::remove_property(id, "text");
    EXPECT_FALSE(read("text"));
    EXPECT_EQ(text_of(first.get()), "one") << "what a caller holds does not change";
}

TEST_F(io_property, search_looks_at_children_or_parents_when_asked)
{
    auto const child = sim::add_entry({"IOService", "Child", {}, {{"deep", sim::make_number(9)}}}, id);
    sim::set_property(id, "high", std::string("up"));
    auto const child_handle = find_entry(child);

    auto const search = [](io_object_t from, char const* key, IOOptionBits options) {
        return cf(
            IORegistryEntrySearchCFProperty(from, kIOServicePlane, string(key).as<CFStringRef>(), nullptr, options));
    };
    EXPECT_FALSE(search(entry.get(), "deep", 0));
    EXPECT_TRUE(search(entry.get(), "deep", kIORegistryIterateRecursively));
    EXPECT_FALSE(search(child_handle.get(), "high", kIORegistryIterateRecursively));
    EXPECT_EQ(
        text_of(search(child_handle.get(), "high", kIORegistryIterateRecursively | kIORegistryIterateParents).get()),
        "up");
}

} // namespace
