// Tests of the CF value wrappers: leaked or lost references, wrappers holding a foreign type, bad text or number reads.
#include "io_kit/cf/auto_pointer.hpp"
#include "io_kit/cf/boolean.hpp"
#include "io_kit/cf/data.hpp"
#include "io_kit/cf/dictionary.hpp"
#include "io_kit/cf/number.hpp"
#include "io_kit/cf/string.hpp"
#include "support/sim_test.hpp"

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

TEST_F(cf_test, copies_retain_moves_empty_and_destruction_releases)
{
    CF::AutoPointer owner = text("owned");
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

    // The typed wrappers follow the same rules.
    CF::String original("value", kCFStringEncodingUTF8);
    CF::String const copy = original; // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(copy.GetTypeRef(), original.GetTypeRef());
    CF::String const taken = std::move(original);
    EXPECT_FALSE(original.IsValid()); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(CFGetRetainCount(taken.GetTypeRef()), 2);
    CF::String const constant(CFSTR("read"));
    EXPECT_EQ(constant.GetValue(kCFStringEncodingUTF8), "read");
    EXPECT_EQ(sim::live_cf_objects(), 1u) << "constants are not new objects";
}

TEST_F(cf_test, typed_wrappers_hold_only_their_own_type_and_empty_ones_read_as_nothing)
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

    EXPECT_EQ(CF::String().GetValue(kCFStringEncodingUTF8), "");
    EXPECT_EQ(static_cast<int>(CF::Number()), 0);
    EXPECT_FALSE(static_cast<bool>(CF::Boolean()));
    EXPECT_EQ(CF::Data().GetBytePtr(), nullptr);
    EXPECT_EQ(CF::Data().GetLength(), 0);
    EXPECT_EQ(CF::Dictionary().GetCount(), 0);
    EXPECT_FALSE(CF::Dictionary().GetValue(CF::String("key", kCFStringEncodingUTF8)).IsValid());
}

TEST_F(cf_test, strings_convert_text_in_any_encoding_it_has_a_form_in)
{
    for (char const* sample : {"", "IOService", "Größe", "キーボード", "emoji 🎹 key"})
        EXPECT_EQ(CF::String(sample, kCFStringEncodingUTF8).GetValue(kCFStringEncodingUTF8), sample);
    // Non-ASCII text read in another encoding than the one it is kept in has no C
    // string that CFStringGetCStringPtr could hand out (on Apple's CF, text made
    // from UTF-16 has none even for UTF-8): the text must be converted instead.
    UInt8 const utf16[] = {'u', 0, 0xfc, 0, 'b', 0};
    CF::String const wide(CF::AutoPointer(
        CFStringCreateWithBytes(kCFAllocatorDefault, utf16, sizeof utf16, kCFStringEncodingUTF16LE, false)));
    EXPECT_EQ(wide.GetValue(kCFStringEncodingUTF8), "u\xc3\xbc"
                                                    "b");
    EXPECT_EQ(wide.GetValue(kCFStringEncodingISOLatin1), "u\xfc"
                                                         "b");

    EXPECT_FALSE(CF::String("\xff\xfe", kCFStringEncodingUTF8).IsValid()) << "invalid UTF-8";
    EXPECT_FALSE(CF::String(nullptr, kCFStringEncodingUTF8).IsValid());
    EXPECT_EQ(CF::String("Größe", kCFStringEncodingUTF8).GetValue(kCFStringEncodingASCII), "");
    EXPECT_EQ(CF::String("plain", kCFStringEncodingUTF8).GetValue(kCFStringEncodingASCII), "plain");
}

TEST_F(cf_test, numbers_convert_to_int_as_a_c_cast_and_booleans_and_data_give_their_content)
{
    EXPECT_EQ(static_cast<int>(CF::Number(number(kCFNumberSInt8Type, std::int8_t{-3}))), -3);
    EXPECT_EQ(static_cast<int>(CF::Number(number(kCFNumberSInt64Type, std::int64_t{0x100000001}))), 1);
    EXPECT_EQ(static_cast<int>(CF::Number(number(kCFNumberSInt64Type, std::int64_t{0xFFFFFFFF}))), -1);
    EXPECT_EQ(static_cast<int>(CF::Number(number(kCFNumberFloat64Type, -2.7))), -2);

    // A boolean converts to its truth value, not to its validity.
    CF::Boolean const no(CF::AutoPointer(CFRetain(kCFBooleanFalse)));
    EXPECT_TRUE(no.IsValid());
    EXPECT_FALSE(static_cast<bool>(no));
    EXPECT_TRUE(static_cast<bool>(CF::Boolean(CF::AutoPointer(CFRetain(kCFBooleanTrue)))));

    UInt8 const bytes[] = {0x06, 0x00, 0xff, 0x09};
    CF::Data const data(CF::AutoPointer(CFDataCreate(kCFAllocatorDefault, bytes, sizeof bytes)));
    ASSERT_EQ(data.GetLength(), 4);
    EXPECT_EQ(std::string(reinterpret_cast<char const*>(data.GetBytePtr()), 4),
              std::string(reinterpret_cast<char const*>(bytes), 4));
    CF::Data const empty(CF::AutoPointer(CFDataCreate(kCFAllocatorDefault, nullptr, 0)));
    EXPECT_TRUE(empty.IsValid());
    EXPECT_EQ(empty.GetLength(), 0);
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
