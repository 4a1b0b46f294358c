// Tests of decoding and building reports: item values and usages in report order, array fields, null states,
// report ID checks, writes that touch only their item, and a round trip over random values.
#include "hid/hex_bytes.hpp"
#include "hid/report_descriptor.hpp"
#include "support/counted_heap.hpp"
#include "support/system_error.hpp"

#include <boost/system/errc.hpp>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <random>
#include <vector>

namespace {

using namespace plinth::apple;
using plinth::testing::from_hex;
using plinth::testing::system_error_of;
using bytes = std::vector<std::uint8_t>;

constexpr auto input = hid_report_type::input;
constexpr auto output = hid_report_type::output;

hid_report_descriptor parse_hex(std::string_view hex)
{
    return hid_report_descriptor::parse(from_hex(hex));
}

// The boot keyboard: modifiers, a reserved byte, 5 LEDs and 3 bits of padding out, six key slots.
hid_report_descriptor const keyboard = parse_hex("05010906a101050719e029e7150025017501950881029501750881019505750105"
                                                 "0819012905910295017503910195067508150025650507190029658100c0");

TEST(report_decode, gives_modifiers_then_the_held_keys_in_report_order)
{
    std::vector<hid_value> values;
    keyboard.decode(input, 0, from_hex("22 FF 00 05 00 04 00 00"), values); // left and right shift; b, a
    ASSERT_EQ(values.size(), 10u);
    for (std::uint32_t i = 0; i < 8; ++i)
    {
        EXPECT_EQ(values[i].usage, (hid_usage{7, static_cast<std::uint16_t>(0xE0 + i)}));
        EXPECT_EQ(values[i].where, (hid_field_ref{0, i}));
        EXPECT_EQ(values[i].logical, i == 1 || i == 5 ? 1 : 0);
        EXPECT_TRUE(values[i].in_range);
    }
    // Empty slots (usage 0) are left out; the held keys come in the order of their slots.
    EXPECT_EQ(values[8].usage, (hid_usage{7, 5}));
    EXPECT_EQ(values[8].logical, 5);
    EXPECT_EQ(values[9].usage, (hid_usage{7, 4}));
    EXPECT_EQ(values[9].where, (hid_field_ref{4, 4}));
    EXPECT_EQ(keyboard.read(values[9].where, from_hex("22 FF 00 05 00 04 00 00")), 1);
    EXPECT_EQ(keyboard.read(values[9].where, from_hex("22 FF 00 05 00 06 00 00")), 0);

    // Too many keys: every slot says ErrorRollOver, which is a usage like any other.
    keyboard.decode(input, 0, from_hex("00 00 01 01 01 01 01 01"), values);
    ASSERT_EQ(values.size(), 14u);
    EXPECT_EQ(values[13].usage, (hid_usage{7, 1}));

    // A value past the array's logical range selects nothing.
    keyboard.decode(input, 0, from_hex("00 00 66 FF 00 00 00 29"), values);
    ASSERT_EQ(values.size(), 9u);
    EXPECT_EQ(values[8].usage, (hid_usage{7, 0x29}));

    keyboard.decode(output, 0, from_hex("05"), values);
    ASSERT_EQ(values.size(), 5u);
    EXPECT_EQ(values[2].usage, (hid_usage{8, 3}));
    EXPECT_EQ(values[2].logical, 1);
}

TEST(report_decode, marks_a_hat_switch_at_rest_as_out_of_range_and_scales_its_angle)
{
    auto const gamepad = parse_hex("05 01 09 05 A1 01"
                                   "  05 09 19 01 29 04 15 00 25 01 75 01 95 04 81 02"
                                   "  05 01 09 39 15 00 25 07 35 00 46 3B 01 65 14 75 04 95 01 81 42"
                                   "  09 30 09 31 15 81 25 7F 75 08 95 02 81 02"
                                   "C0");
    std::vector<hid_value> values;
    gamepad.decode(input, 0, from_hex("85 80 7F"), values); // button 1 and 3, hat at rest, X -128, Y 127
    ASSERT_EQ(values.size(), 7u);
    EXPECT_EQ(values[0].logical, 1);
    EXPECT_EQ(values[2].logical, 1);
    EXPECT_EQ(values[4].usage, (hid_usage{1, 0x39}));
    EXPECT_EQ(values[4].logical, 8);
    EXPECT_FALSE(values[4].in_range);
    EXPECT_EQ(values[5].logical, -128);
    EXPECT_FALSE(values[5].in_range);
    EXPECT_EQ(values[6].logical, 127);
    EXPECT_TRUE(values[6].in_range);

    gamepad.decode(input, 0, from_hex("20 00 00"), values);
    EXPECT_EQ(values[4].logical, 2);
    EXPECT_TRUE(values[4].in_range);
    auto const& hat = gamepad.fields()[values[4].where.field];
    EXPECT_DOUBLE_EQ(hat.physical_value(2), 90.0);
    EXPECT_DOUBLE_EQ(hat.physical_value(7), 315.0);
    EXPECT_EQ(hat.unit, 0x14u);
}

TEST(report_decode, scales_physical_values_by_range_and_exponent)
{
    auto const fields = parse_hex("15 00 26 FF 0F 35 00 46 E8 03 55 0E 75 0C 95 01 09 30 81 02" // 0..4095 -> 0..10.00
                                  "15 81 25 7F 35 00 45 00 55 00 75 08 09 31 81 02"             // no physical range
                                  "15 05 25 05 35 02 45 09 55 01 09 32 81 02")                  // one logical value
                            .fields();
    EXPECT_DOUBLE_EQ(fields[0].physical_value(4095), 10.0);
    EXPECT_DOUBLE_EQ(fields[0].physical_value(0), 0.0);
    EXPECT_NEAR(fields[0].physical_value(2048), 5.0012, 1e-4);
    EXPECT_DOUBLE_EQ(fields[1].physical_value(-100), -100.0);
    EXPECT_DOUBLE_EQ(fields[2].physical_value(5), 20.0);
}

TEST(report_decode, reads_32_bit_signed_items_whole)
{
    auto const descriptor = parse_hex("05 01 17 00 00 00 80 27 FF FF FF 7F 75 20 95 02 09 30 09 31 81 02");
    auto report = descriptor.make_report(input, 0);
    ASSERT_EQ(report.size(), 8u);
    descriptor.write({0, 0}, std::numeric_limits<std::int32_t>::min(), report);
    descriptor.set(input, {1, 0x31}, -1, report);
    EXPECT_EQ(report, from_hex("00 00 00 80 FF FF FF FF"));
    std::vector<hid_value> values;
    descriptor.decode(input, 0, report, values);
    ASSERT_EQ(values.size(), 2u);
    EXPECT_EQ(values[0].logical, std::numeric_limits<std::int32_t>::min());
    EXPECT_TRUE(values[0].in_range);
    EXPECT_EQ(values[1].logical, -1);
    EXPECT_EQ(descriptor.value(input, {1, 0x30}, report), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(descriptor.value(input, {1, 0x32}, report), std::nullopt);
}

// A mouse that numbers its reports, with X in report 1 and in report 2 at different places.
hid_report_descriptor const numbered = parse_hex("05 01 09 02 A1 01"
                                                 "  85 01 05 09 19 01 29 03 15 00 25 01 75 01 95 03 81 02"
                                                 "  95 05 81 03 05 01 09 30 15 81 25 7F 75 08 95 01 81 06"
                                                 "  85 02 09 38 09 30 95 02 81 06"
                                                 "  85 01 09 4B 95 01 91 02"
                                                 "C0");

TEST(report_decode, reads_numbered_reports_after_their_id_byte_and_checks_the_id)
{
    std::vector<hid_value> values;
    numbered.decode(input, 1, from_hex("01 02 FE"), values);
    ASSERT_EQ(values.size(), 4u);
    EXPECT_EQ(values[1].logical, 1);
    EXPECT_EQ(values[3].usage, (hid_usage{1, 0x30}));
    EXPECT_EQ(values[3].logical, -2);
    numbered.decode(input, 1, from_hex("01 02 FE 99 99"), values); // longer is fine
    EXPECT_EQ(values.size(), 4u);

    EXPECT_EQ(numbered.value(input, {1, 0x30}, from_hex("01 00 05")), 5);
    EXPECT_EQ(numbered.value(input, {1, 0x30}, from_hex("02 07 09")), 9);
    EXPECT_EQ(numbered.value(input, {9, 1}, from_hex("02 07 09")), std::nullopt);

    struct case_t
    {
        std::uint8_t id;
        char const* report;
        char const* says;
    };
    for (auto const& c : {case_t{1, "02 00 00", "first byte is 2"}, case_t{1, "01 00", "takes 3 bytes, not 2"},
                          case_t{3, "03 00 00", "no input report 3"}, case_t{1, "", "takes 3 bytes, not 0"}})
    {
        SCOPED_TRACE(c.report);
        values.assign(3, hid_value{});
        auto const report = from_hex(c.report);
        auto const e = system_error_of([&] { numbered.decode(input, c.id, report, values); });
        EXPECT_EQ(e.code(), hid_errc::report_mismatch);
        EXPECT_NE(std::string(e.what()).find(c.says), std::string::npos) << e.what();
        EXPECT_TRUE(values.empty());

        values.assign(3, hid_value{});
        boost::system::error_code ec;
        numbered.decode(input, c.id, report, values, ec);
        EXPECT_EQ(ec, hid_errc::report_mismatch);
        EXPECT_TRUE(values.empty());
    }
    EXPECT_EQ(system_error_of([&] { (void)numbered.value(input, {1, 0x30}, {}); }).code(), hid_errc::report_mismatch);
    EXPECT_EQ(system_error_of([&] {
                  (void)numbered.read({3, 0}, from_hex("01 00"));
              }).code(),
              hid_errc::report_mismatch);
    boost::system::error_code ec = hid_errc::not_open;
    numbered.decode(input, 2, from_hex("02 01 02"), values, ec);
    EXPECT_FALSE(ec);
    EXPECT_EQ(values.size(), 2u);
}

TEST(report_decode, builds_numbered_reports_with_their_id_byte)
{
    auto report = numbered.make_report(input, 2);
    EXPECT_EQ(report, from_hex("02 00 00"));
    numbered.set(input, {1, 0x30}, -3, report);
    numbered.set(input, {1, 0x38}, 4, report);
    EXPECT_EQ(report, from_hex("02 04 FD"));

    auto out = numbered.make_report(output, 1);
    numbered.set(output, {1, 0x4B}, 0x7F, out);
    EXPECT_EQ(out, from_hex("01 7F"));

    EXPECT_EQ(system_error_of([&] { (void)numbered.make_report(input, 3); }).code(), hid_errc::report_mismatch);
    EXPECT_EQ(system_error_of([&] { numbered.set(input, {9, 1}, 1, report); }).code(), hid_errc::no_such_usage);
    EXPECT_EQ(system_error_of([&] { numbered.set(input, {1, 0x4B}, 1, report); }).code(), hid_errc::no_such_usage);
    // Report 1's field, given report 2's bytes.
    EXPECT_EQ(system_error_of([&] { numbered.write({0, 0}, 1, report); }).code(), hid_errc::report_mismatch);
    EXPECT_EQ(report, from_hex("02 04 FD"));
}

TEST(report_write, refuses_values_that_do_not_fit_the_items_bits_and_refs_to_no_item)
{
    auto const descriptor = parse_hex("15 00 25 05 75 03 95 01 09 30 81 02 15 F0 25 0F 75 05 09 31 81 02"
                                      "75 04 81 01 75 00 95 00 09 33 81 02");
    auto report = descriptor.make_report(input, 0);
    descriptor.write({0, 0}, 7, report); // outside the logical range, inside the bits: a null state
    descriptor.write({1, 0}, -16, report);
    descriptor.write({1, 0}, 15, report);
    for (auto const& c :
         std::vector<std::pair<hid_field_ref, std::int32_t>>{{{0, 0}, 8}, {{0, 0}, -1}, {{1, 0}, 16}, {{1, 0}, -17}})
        EXPECT_EQ(system_error_of([&] { descriptor.write(c.first, c.second, report); }).code(),
                  boost::system::errc::invalid_argument)
            << c.first.field << " " << c.second;
    for (auto where : {hid_field_ref{0, 1}, hid_field_ref{2, 0}, hid_field_ref{3, 0}, hid_field_ref{9, 0}})
    {
        EXPECT_EQ(system_error_of([&] { descriptor.write(where, 0, report); }).code(),
                  boost::system::errc::invalid_argument);
        EXPECT_EQ(system_error_of([&] { (void)descriptor.read(where, report); }).code(),
                  boost::system::errc::invalid_argument);
    }
    EXPECT_EQ(report, from_hex("7F 00"));
    EXPECT_EQ(descriptor.read({0, 0}, report), 7);
    EXPECT_EQ(descriptor.read({1, 0}, report), 15);
}

TEST(report_write, puts_array_usages_in_empty_slots_and_takes_them_out)
{
    auto report = keyboard.make_report(input, 0);
    std::fill(report.begin(), report.end(), 0);
    keyboard.set(input, {7, 4}, 1, report);
    keyboard.set(input, {7, 0x29}, 1, report);
    keyboard.set(input, {7, 4}, 1, report); // already held: no second slot
    keyboard.set(input, {7, 0xE1}, 1, report);
    EXPECT_EQ(report, from_hex("02 00 04 29 00 00 00 00"));
    EXPECT_EQ(keyboard.value(input, {7, 0x29}, report), 1);
    EXPECT_EQ(keyboard.value(input, {7, 0x2A}, report), 0);

    keyboard.set(input, {7, 4}, 0, report);
    EXPECT_EQ(report, from_hex("02 00 00 29 00 00 00 00"));
    keyboard.set(input, {7, 5}, 1, report); // the first empty slot
    EXPECT_EQ(report, from_hex("02 00 05 29 00 00 00 00"));

    for (std::uint16_t key = 6; key < 10; ++key)
        keyboard.set(input, {7, key}, 1, report);
    auto const full = report;
    EXPECT_EQ(system_error_of([&] {
                  keyboard.set(input, {7, 10}, 1, report);
              }).code(),
              boost::system::errc::no_buffer_space);
    EXPECT_EQ(report, full);
    // An array ref's item is the usage's position, whichever slot holds it.
    keyboard.write({4, 0x29}, 0, report);
    EXPECT_EQ(report, from_hex("02 00 05 00 06 07 08 09"));

    // An array whose values start at 1: 0 is outside the range, so it empties a slot.
    auto const buttons = parse_hex("05 09 19 01 29 03 15 01 25 03 75 02 95 02 81 00");
    auto small = buttons.make_report(input, 0);
    small[0] = 0xF0; // bits past the field's four stay as they are
    buttons.set(input, {9, 2}, 1, small);
    buttons.set(input, {9, 3}, 1, small);
    EXPECT_EQ(small[0], 0xFE);
    buttons.set(input, {9, 2}, 0, small);
    EXPECT_EQ(small[0], 0xFC);
    EXPECT_EQ(buttons.value(input, {9, 3}, small), 1);
    EXPECT_EQ(buttons.value(input, {9, 1}, small), 0);

    // An array where 0 selects a usage: the first value past its usages empties a slot.
    auto const vendor = parse_hex("06 00 FF 15 00 26 FF 00 75 08 95 02 19 60 29 6F 81 00");
    auto zeros = vendor.make_report(input, 0);
    EXPECT_EQ(vendor.value(input, {0xFF00, 0x60}, zeros), 1);
    vendor.set(input, {0xFF00, 0x60}, 0, zeros);
    EXPECT_EQ(zeros, from_hex("10 10"));
    EXPECT_EQ(vendor.value(input, {0xFF00, 0x60}, zeros), 0);
}

TEST(report_decode, allocates_nothing_once_the_vector_has_room)
{
    std::vector<hid_value> values;
    auto const report = from_hex("22 00 04 05 06 07 08 09");
    keyboard.decode(input, 0, report, values);
    auto const before = plinth::testing::heap_allocations.load();
    for (int i = 0; i < 100; ++i)
        keyboard.decode(input, 0, report, values);
    auto const after = plinth::testing::heap_allocations.load();
    EXPECT_EQ(after, before);
    EXPECT_EQ(values.size(), 14u);
}

// Fields of odd sizes that straddle bytes, signed and unsigned, in a numbered report.
hid_report_descriptor const odd_sizes =
    parse_hex("06 00 FF 09 01 A1 01 85 05"
              "  15 00 25 07 75 03 95 03 19 01 29 03 81 02"             // 3 x 3 bits, 0..7
              "  15 F0 25 0F 75 05 95 02 19 10 29 11 81 02"             // 2 x 5 bits, -16..15
              "  16 00 F8 26 FF 07 75 0C 95 02 19 20 29 21 81 02"       // 2 x 12 bits, -2048..2047
              "  15 00 27 FF FF 01 00 75 11 95 01 09 30 81 02"          // 17 bits, 0..131071
              "  75 01 95 01 81 01"                                     // 1 bit of padding
              "  17 00 00 00 80 27 FF FF FF 7F 75 20 95 01 09 40 81 02" // 32 bits, signed
              "  15 C0 25 3F 75 07 95 01 09 50 81 02"                   // 7 bits, -64..63
              "  15 01 25 10 75 08 95 03 19 60 29 6F 81 00"             // an array of 3 x 8 bits, 1..16
              "C0");

TEST(report_round_trip, gives_back_every_random_value_and_keeps_every_other_bit)
{
    std::mt19937 random(20240611);
    auto const& fields = odd_sizes.fields();
    ASSERT_EQ(odd_sizes.max_report_size(input), 1u + 16u);
    std::vector<hid_value> values;
    for (int round = 0; round < 500; ++round)
    {
        auto report = odd_sizes.make_report(input, 5);
        for (std::size_t i = 1; i < report.size(); ++i)
            report[i] = static_cast<std::uint8_t>(random());
        auto const start = report;

        std::map<std::pair<std::size_t, std::uint32_t>, std::int32_t> written;
        for (std::size_t f = 0; f + 1 < fields.size(); ++f)
        {
            auto const& field = fields[f];
            if (field.is_padding())
                continue;
            for (std::uint32_t item = 0; item < field.count; ++item)
            {
                std::uniform_int_distribution<std::int64_t> pick(field.logical_minimum, field.logical_maximum);
                auto const logical = static_cast<std::int32_t>(pick(random));
                auto const before = report;
                if (random() % 2)
                    odd_sizes.write({f, item}, logical, report);
                else
                    odd_sizes.set(input, *field.usage_of_item(item), logical, report);
                written[{f, item}] = logical;
                // Only the item's bits changed.
                std::uint64_t const first_bit = 8 + field.bit_offset + std::uint64_t{item} * field.bit_size;
                for (std::uint64_t bit = 0; bit < report.size() * 8; ++bit)
                {
                    if (bit >= first_bit && bit < first_bit + field.bit_size)
                        continue;
                    ASSERT_EQ((report[bit / 8] >> (bit % 8)) & 1, (before[bit / 8] >> (bit % 8)) & 1)
                        << "round " << round << ", field " << f << " item " << item << ", bit " << bit;
                }
            }
        }
        // The padding bit is as the random fill left it.
        ASSERT_TRUE(fields[4].is_padding());
        std::uint32_t const padding = 8 + fields[4].bit_offset;
        EXPECT_EQ(padding, 8u + 60u);
        EXPECT_EQ((report[padding / 8] >> (padding % 8)) & 1, (start[padding / 8] >> (padding % 8)) & 1);

        odd_sizes.decode(input, 5, report, values);
        std::size_t checked = 0;
        for (auto const& v : values)
        {
            auto const found = written.find({v.where.field, v.where.item});
            if (found == written.end())
                continue; // the array's slots hold what the random fill left
            ++checked;
            ASSERT_EQ(v.logical, found->second) << "round " << round << ", field " << v.where.field;
            EXPECT_TRUE(v.in_range);
            EXPECT_EQ(v.usage, fields[v.where.field].usage_of_item(v.where.item));
            EXPECT_EQ(odd_sizes.read(v.where, report), v.logical);
        }
        ASSERT_EQ(checked, written.size());
    }
}

TEST(report_round_trip, sets_and_clears_array_usages_at_random)
{
    std::mt19937 random(7);
    auto report = odd_sizes.make_report(input, 5);
    std::vector<hid_value> values;
    std::map<std::uint16_t, bool> held;
    for (int round = 0; round < 2000; ++round)
    {
        auto const id = static_cast<std::uint16_t>(0x60 + random() % 16);
        bool const press = random() % 2;
        std::size_t const held_count = std::count_if(held.begin(), held.end(), [](auto const& h) { return h.second; });
        if (press && !held[id] && held_count == 3)
            continue; // every slot taken
        odd_sizes.set(input, {0xFF00, id}, press ? 1 : 0, report);
        held[id] = press;
        odd_sizes.decode(input, 5, report, values);
        std::map<std::uint16_t, bool> decoded;
        for (auto const& v : values)
            if (v.usage.id >= 0x60)
                decoded[v.usage.id] = true;
        for (auto const& [usage, down] : held)
            ASSERT_EQ(decoded.contains(usage), down) << "round " << round << ", usage " << usage;
    }
}

} // namespace
