/* A C program that names HID usages as Mac HID code does, with the constants of
   IOHIDUsageTables.h, and checks a few against the numbers of the HID Usage
   Tables. It exits non-zero, saying which, when one differs. */
#include <IOKit/hid/IOHIDUsageTables.h>

#include <stdio.h>
#include <stdlib.h>

struct usage
{
    const char* name;
    unsigned value;
    unsigned expected;
};

int main(void)
{
    const struct usage usages[] = {
        {"kHIDPage_GenericDesktop", kHIDPage_GenericDesktop, 0x01},
        {"kHIDPage_KeyboardOrKeypad", kHIDPage_KeyboardOrKeypad, 0x07},
        {"kHIDPage_LEDs", kHIDPage_LEDs, 0x08},
        {"kHIDPage_Button", kHIDPage_Button, 0x09},
        {"kHIDPage_Consumer", kHIDPage_Consumer, 0x0C},
        {"kHIDPage_Digitizer", kHIDPage_Digitizer, 0x0D},
        {"kHIDPage_VendorDefinedStart", kHIDPage_VendorDefinedStart, 0xFF00},
        {"kHIDUsage_GD_Mouse", kHIDUsage_GD_Mouse, 0x02},
        {"kHIDUsage_GD_Keyboard", kHIDUsage_GD_Keyboard, 0x06},
        {"kHIDUsage_GD_X", kHIDUsage_GD_X, 0x30},
        {"kHIDUsage_KeyboardA", kHIDUsage_KeyboardA, 0x04},
        {"kHIDUsage_KeyboardReturnOrEnter", kHIDUsage_KeyboardReturnOrEnter, 0x28},
        {"kHIDUsage_KeyboardLeftControl", kHIDUsage_KeyboardLeftControl, 0xE0},
        {"kHIDUsage_LED_CapsLock", kHIDUsage_LED_CapsLock, 0x02},
        {"kHIDUsage_Button_1", kHIDUsage_Button_1, 0x01},
        {"kHIDUsage_Csmr_VolumeIncrement", kHIDUsage_Csmr_VolumeIncrement, 0xE9},
        {"kHIDUsage_Dig_TipSwitch", kHIDUsage_Dig_TipSwitch, 0x42},
    };
    int failures = 0;
    for (size_t i = 0; i < sizeof usages / sizeof usages[0]; ++i)
        if (usages[i].value != usages[i].expected)
        {
            fprintf(stderr, "hid_usage_tables_program: %s is 0x%X, not 0x%X\n", usages[i].name, usages[i].value,
                    usages[i].expected);
            ++failures;
        }
    if (failures == 0)
        printf("hid_usage_tables_program: %zu usages as the HID Usage Tables give them\n",
               sizeof usages / sizeof usages[0]);
    return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
