// Tests of pci_device: identity bytes in the wrong order or unpadded, wrong fallbacks for missing values.
#include "device/apple/pci_device.hpp"
#include "io_kit/io_kit_support.hpp"
#include "support/sim_test.hpp"

#include <cstdint>

namespace {

using plinth::apple::device;
using plinth::apple::pci_device;
namespace sim = plinth::sim;

class pci_device_test : public plinth::testing::sim_test
{
protected:
    pci_device add(sim::dictionary properties, std::string const& class_name = "IOPCIDevice")
    {
        return pci_device(device(plinth::testing::entry_by_id(
            sim::add_entry({class_name, "pci8086,3e9b", "2", std::move(properties)}, sim::root_entry_id))));
    }
};

TEST_F(pci_device_test, identity_is_assembled_little_endian_from_data_padded_with_zeros)
{
    auto const space = add({
                               {"vendor-id", sim::data{0x86, 0x80, 0xAA, 0xBB}},
                               {"device-id", sim::data{0x12}},
                               {"revision-id", sim::data{0x07, 0x01}},
                               {"class-code", sim::data{0x00, 0x03, 0x0C, 0x00}},
                               {"subsystem-id", sim::data{0x34, 0x12, 0x00, 0x00}},
                               {"subsystem-vendor-id", sim::data{0x6B, 0x10, 0x00, 0x00}},
                           })
                           .get_configuration_space();
    EXPECT_EQ(space.vendor_id, 0x8086) << "first two bytes, first byte low; the rest ignored";
    EXPECT_EQ(space.device_id, 0x0012) << "one byte padded with zero";
    EXPECT_EQ(space.revision_id, 0x07);
    EXPECT_EQ(space.class_code, 0x0C);
    EXPECT_EQ(space.subclass, 0x03);
    EXPECT_EQ(space.programming_interface, 0x00);
    EXPECT_EQ(space.subsystem_id, 0x1234);
    EXPECT_EQ(space.subsystem_vendor_id, 0x106B);
}

TEST_F(pci_device_test, missing_values_fall_back_to_their_unknowns)
{
    auto const sparse = add({
                                {"class-code", sim::data{0x01}},
                                {"revision-id", sim::data{}},
                                {"device-id", std::string("0x1234")},
                            })
                            .get_configuration_space();
    EXPECT_EQ(sparse.programming_interface, 0x01) << "class-code bytes are taken without padding";
    EXPECT_EQ(sparse.subclass, 0xFF);
    EXPECT_EQ(sparse.class_code, 0xFF);
    EXPECT_EQ(sparse.revision_id, 0x00) << "present but empty reads as zero";
    EXPECT_EQ(sparse.vendor_id, 0xFFFF);
    EXPECT_EQ(sparse.device_id, 0xFFFF) << "a string is no data";
    EXPECT_EQ(sparse.subsystem_id, 0x00FF) << "a device that publishes no subsystem";
    EXPECT_EQ(sparse.subsystem_vendor_id, 0x00FF);

    EXPECT_EQ(add({}).get_configuration_space().revision_id, 0xFF);

    pci_device const none = add({{"subsystem-id", sim::data{1, 0}}}, "IOPCIBridge");
    EXPECT_FALSE(none) << "a bridge is no PCI function";
    auto const unknown = none.get_configuration_space();
    EXPECT_EQ(unknown.subsystem_id, 0xFFFF) << "the null device gives the all-ones record";
    EXPECT_EQ(unknown.vendor_id, 0xFFFF);
    EXPECT_EQ(unknown.class_code, 0xFF);
}

TEST_F(pci_device_test, child_index_is_a_number_or_nothing)
{
    EXPECT_EQ(add({{"IOChildIndex", sim::make_number(2)}}).get_child_index(), 2);
    EXPECT_EQ(add({{"IOChildIndex", std::string("2")}}).get_child_index(), std::nullopt);
    EXPECT_EQ(add({}).get_child_index(), std::nullopt);
    EXPECT_EQ(pci_device().get_child_index(), std::nullopt);
}

} // namespace
