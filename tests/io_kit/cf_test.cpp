#include "io_kit/cf/auto_pointer.hpp"
#include "io_kit/cf/boolean.hpp"
#include "io_kit/cf/data.hpp"
#include "io_kit/cf/dictionary.hpp"
#include "io_kit/cf/number.hpp"
#include "io_kit/cf/string.hpp"
#include "io_kit/cf/type.hpp"
#include "support/sim_test.hpp"

#include <gtest/gtest.h>

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <string>
#include <utility>

namespace {

namespace sim = plinth::sim;

class cf_test : public plinth::testing::sim_test
{
protected:
    template <typename T>
    static CF::AutoPointer number(CFNumberType type, T value)
    {
        return CF::AutoPointer(CFNumberCreate(kCFAllocatorDefault, type, &value));
    }

    static CF::AutoPointer text(char const* s)
    {
        return CF::AutoPointer(CFStringCreateWithCString(kCFAllocatorDefault, s, kCFStringEncodingUTF8));
    }
};

TEST_F(cf_test, auto_pointer_owns_one_reference)
{
    CF::AutoPointer owner = text("owned");
    EXPECT_EQ(sim::live_cf_objects(), 1u);
    EXPECT_EQ(CFGetRetainCount(owner.GetTypeRef()), 1);
    {
        CF::AutoPointer const copy = owner; // NOLINT(performance-unnecessary-copy-initialization)
        EXPECT_EQ(copy.GetTypeRef(), owner.GetTypeRef());
        EXPECT_EQ(CFGetRetainCount(owner.GetTypeRef()), 2);
    }
    EXPECT_EQ(CFGetRetainCount(owner.GetTypeRef()), 1);

    CF::AutoPointer moved = std::move(owner);
    EXPECT_FALSE(owner.IsValid()); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(CFGetRetainCount(moved.GetTypeRef()), 1);

    CF::AutoPointer& alias = moved;
    moved = std::move(alias);
    EXPECT_TRUE(moved.IsValid()) << "self-move keeps the object";
    moved = alias;
    EXPECT_EQ(CFGetRetainCount(moved.GetTypeRef()), 1) << "self-copy keeps one reference";

    moved = text("other");
    EXPECT_EQ(sim::live_cf_objects(), 1u) << "assignment released the first string";
    moved = CF::AutoPointer();
    EXPECT_EQ(sim::live_cf_objects(), 0u);
}

TEST_F(cf_test, typed_wrappers_hold_only_their_own_type)
{
    CF::AutoPointer const string = text("42");
    CF::AutoPointer const integer = number(kCFNumberSInt32Type, 42);
    CF::AutoPointer const truth(CFRetain(kCFBooleanTrue));

    EXPECT_FALSE(CF::Number(string).IsValid());
    EXPECT_EQ(CF::Number(string).GetTypeRef(), nullptr);
    EXPECT_FALSE(CF::Number(truth).IsValid()) << "a CFBoolean is not a CFNumber";
    EXPECT_FALSE(CF::String(integer).IsValid());
    EXPECT_FALSE(CF::Boolean(integer).IsValid());
    EXPECT_FALSE(CF::Data(string).IsValid());
    EXPECT_FALSE(CF::Dictionary(string).IsValid());
    EXPECT_FALSE(CF::Number(CF::AutoPointer()).IsValid());

    CF::Number const held(integer);
    EXPECT_EQ(held.GetTypeRef(), integer.GetTypeRef());
    EXPECT_EQ(CFGetRetainCount(integer.GetTypeRef()), 2) << "the wrapper shares, with its own reference";
}

TEST_F(cf_test, empty_wrappers_read_as_nothing)
{
    EXPECT_EQ(CF::String().GetValue(kCFStringEncodingUTF8), "");
    EXPECT_EQ(static_cast<int>(CF::Number()), 0);
    EXPECT_FALSE(static_cast<bool>(CF::Boolean()));
    EXPECT_EQ(CF::Data().GetBytePtr(), nullptr);
    EXPECT_EQ(CF::Data().GetLength(), 0);
    EXPECT_EQ(CF::Dictionary().GetCount(), 0);
    EXPECT_FALSE(CF::Dictionary().GetValue(CF::String("key", kCFStringEncodingUTF8)).IsValid());
}

TEST_F(cf_test, get_type_ref_is_reached_through_the_common_base)
{
    CF::String const s("base", kCFStringEncodingUTF8);
    CF::Type const& base = s;
    EXPECT_EQ(base.GetTypeRef(), s.GetTypeRef());
    EXPECT_TRUE(base.IsValid());
}

TEST_F(cf_test, strings_convert_any_text_in_utf8)
{
    for (char const* sample : {"", "IOService", "Größe", "キーボード", "emoji 🎹 key"}) {
        CF::String const s(sample, kCFStringEncodingUTF8);
        ASSERT_TRUE(s.IsValid()) << sample;
        EXPECT_EQ(s.GetValue(kCFStringEncodingUTF8), sample);
    }
    // Non-ASCII text read in another encoding than the one it is kept in has no C
    // string that CFStringGetCStringPtr could hand out (on Apple's CF, text made
    // from UTF-16 has none even for UTF-8): the text must be converted instead.
    UInt8 const utf16[] = {'u', 0, 0xfc, 0, 'b', 0};
    CF::String const wide(CF::AutoPointer(
        CFStringCreateWithBytes(kCFAllocatorDefault, utf16, sizeof utf16, kCFStringEncodingUTF16LE, false)));
    ASSERT_TRUE(wide.IsValid());
    EXPECT_EQ(wide.GetValue(kCFStringEncodingUTF8), "u\xc3\xbc" "b");
    EXPECT_EQ(wide.GetValue(kCFStringEncodingISOLatin1), "u\xfc" "b");
}

TEST_F(cf_test, strings_without_a_form_in_the_encoding_read_as_empty)
{
    EXPECT_FALSE(CF::String("\xff\xfe", kCFStringEncodingUTF8).IsValid()) << "invalid UTF-8";
    EXPECT_FALSE(CF::String(nullptr, kCFStringEncodingUTF8).IsValid());
    EXPECT_EQ(CF::String("Größe", kCFStringEncodingUTF8).GetValue(kCFStringEncodingASCII), "");
    EXPECT_EQ(CF::String("plain", kCFStringEncodingUTF8).GetValue(kCFStringEncodingASCII), "plain");
}

TEST_F(cf_test, strings_share_constants_and_copy_by_reference)
{
    CF::String const mode(CFSTR("read"));
    EXPECT_EQ(mode.GetValue(kCFStringEncodingUTF8), "read");
    EXPECT_EQ(sim::live_cf_objects(), 0u) << "constants are not new objects";

    CF::String original("value", kCFStringEncodingUTF8);
    CF::String const copy = original; // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(copy.GetTypeRef(), original.GetTypeRef());
    EXPECT_EQ(CFGetRetainCount(original.GetTypeRef()), 2);
    CF::String const moved = std::move(original);
    EXPECT_FALSE(original.IsValid()); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(moved.GetValue(kCFStringEncodingUTF8), "value");
    EXPECT_EQ(CFGetRetainCount(moved.GetTypeRef()), 2);
}

TEST_F(cf_test, numbers_convert_to_int_as_a_c_cast)
{
    EXPECT_EQ(static_cast<int>(CF::Number(number(kCFNumberSInt32Type, std::int32_t{-7}))), -7);
    EXPECT_EQ(static_cast<int>(CF::Number(number(kCFNumberSInt8Type, std::int8_t{-3}))), -3);
    EXPECT_EQ(static_cast<int>(CF::Number(number(kCFNumberSInt64Type, std::int64_t{0x100000001}))), 1);
    EXPECT_EQ(static_cast<int>(CF::Number(number(kCFNumberSInt64Type, std::int64_t{0xFFFFFFFF}))), -1);
    EXPECT_EQ(static_cast<int>(CF::Number(number(kCFNumberSInt64Type, std::int64_t{-0x80000000LL}))), INT32_MIN);
    EXPECT_EQ(static_cast<int>(CF::Number(number(kCFNumberFloat64Type, 1.5))), 1);
    EXPECT_EQ(static_cast<int>(CF::Number(number(kCFNumberFloat64Type, -2.7))), -2);
}

TEST_F(cf_test, data_exposes_its_bytes_and_signed_length)
{
    UInt8 const bytes[] = {0x06, 0x00, 0xff, 0x09};
    CF::Data const data(CF::AutoPointer(CFDataCreate(kCFAllocatorDefault, bytes, sizeof bytes)));
    static_assert(std::is_same_v<decltype(data.GetLength()), CFIndex>);
    ASSERT_EQ(data.GetLength(), 4);
    EXPECT_EQ(std::string(reinterpret_cast<char const*>(data.GetBytePtr()), 4),
              std::string(reinterpret_cast<char const*>(bytes), 4));
    CF::Data const empty(CF::AutoPointer(CFDataCreate(kCFAllocatorDefault, nullptr, 0)));
    EXPECT_TRUE(empty.IsValid());
    EXPECT_EQ(empty.GetLength(), 0);
}

TEST_F(cf_test, booleans_give_their_truth_value_not_their_validity)
{
    CF::Boolean const yes(CF::AutoPointer(CFRetain(kCFBooleanTrue)));
    CF::Boolean const no(CF::AutoPointer(CFRetain(kCFBooleanFalse)));
    EXPECT_TRUE(static_cast<bool>(yes));
    EXPECT_TRUE(no.IsValid());
    EXPECT_FALSE(static_cast<bool>(no));
}

TEST_F(cf_test, dictionaries_give_new_references_to_their_values)
{
    CFMutableDictionaryRef raw = CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                           &kCFTypeDictionaryValueCallBacks);
    CF::AutoPointer const value = text("Hub");
    CFDictionarySetValue(raw, CFSTR("name"), value.GetTypeRef());
    CF::Dictionary const dictionary(raw); // shares: the raw reference is still ours
    CFRelease(raw);
    EXPECT_EQ(dictionary.GetCount(), 1);

    CF::AutoPointer const found = dictionary.GetValue(CF::String(CFSTR("name")));
    EXPECT_EQ(found.GetTypeRef(), value.GetTypeRef());
    EXPECT_EQ(CFGetRetainCount(value.GetTypeRef()), 3) << "ours, the dictionary's and the lookup's";
    EXPECT_FALSE(dictionary.GetValue(CF::String(CFSTR("other"))).IsValid());
    EXPECT_FALSE(dictionary.GetValue(CF::String()).IsValid());
}

} // namespace
