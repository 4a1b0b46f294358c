#!/usr/bin/env python3
"""Writes sim/detail/registry/builtin_classes.cpp, the class table of the simulated I/O Kit.

The table links every class to its direct superclass, which is what
IOObjectConformsTo and IOObjectCopySuperclassForClass walk. It comes from the
class chains that `ioreg -i` printed on real Macs (root class first, lines
`+-o name class: A:B:C`), plus the classes those listings lack, each written
below with where it comes from. Where two macOS releases disagree about a
superclass, the newest release wins.

Run by hand from the repository root (python 3, standard library only), with
the folder of the chain listings as its argument:

    python3 sim/bundled/generate_class_table.py ../shared/ioreg

It also reads the bundled registry next to it and refuses to write a table that
lacks a class the registry uses. Commit the .cpp it writes.
"""

import pathlib
import plistlib
import re
import sys

# Newest release first: the first listing that names a class decides its superclass.
CHAIN_FILES = (
    "macos13-m1pro-macbookpro18,3-class-chains.txt",  # macOS 13.1, Apple Silicon (M1 Pro)
    "macos11-m1-macbookair10,1-class-chains.txt",     # macOS 11.2.3, Apple Silicon (M1)
    "macos11-intel-t2-macbookair9,1-class-chains.txt",  # macOS 11.0.1, Intel with T2
)

ROOT_CLASS = "OSObject"

# Classes the listings lack, as (class, superclass, where it comes from).
ADDITIONS = (
    ("IORegistryEntry", "OSObject", "xnu IORegistryEntry.h; the listings start below OSObject"),
    # The USB stack since 10.11.
    ("AppleUSBDevice", "IOUSBHostDevice", "inferred: Intel device entries conform to IOUSBDevice"),
    ("AppleUSBInterface", "IOUSBHostInterface", "inferred: the interface twin of AppleUSBDevice"),
    ("AppleUSBRootHubDevice", "IOUSBRootHubDevice", "inferred: its IOClassNameOverride names that class"),
    # IOUSBFamily up to 10.10, where it does not clash with the newer stack.
    ("AppleUSBEHCI", "IOUSBControllerV3", "IOUSBFamily-560.4.2 AppleUSBEHCI.h"),
    ("IOUSBHIDDriver", "IOHIDDevice", "IOUSBFamily-560.4.2 IOUSBHIDDriver.h"),
    # Serial ports, HID, audio and video.
    ("IOModemSerialStreamSync", "IOSerialStreamSync", "IOSerialFamily IOModemSerialStreamSync.h"),
    ("IOUSBHostHIDDevice", "IOHIDDevice", "MacOSX11.3 SDK Kernel.framework IOUSBHostHIDDevice.h"),
    # The HID devices that IOHIDSystem makes for PS/2 and other legacy keyboards and mice,
    # which carry a report descriptor of their own.
    ("IOHIDDeviceShim", "IOHIDDevice", "IOHIDFamily-2222.0.24 IOHIDSystem/IOHIDDeviceShim.h"),
    ("IOHIDKeyboardEventDevice", "IOHIDDeviceShim", "IOHIDFamily-2222.0.24 IOHIDSystem/IOHIDKeyboardEventDevice.h"),
    ("IOHIDPointingEventDevice", "IOHIDDeviceShim", "IOHIDFamily-2222.0.24 IOHIDSystem/IOHIDPointingEventDevice.h"),
    ("IOAudioEngine", "IOService", "IOAudioFamily IOAudioEngine.h"),
    ("IOAudioStream", "IOService", "IOAudioFamily IOAudioStream.h"),
    ("IOAudioControl", "IOService", "IOAudioFamily IOAudioControl.h"),
    ("IOAudioLevelControl", "IOAudioControl", "IOAudioFamily IOAudioLevelControl.h"),
    ("IOAudioToggleControl", "IOAudioControl", "IOAudioFamily IOAudioToggleControl.h"),
    ("IOAudioSelectorControl", "IOAudioControl", "IOAudioFamily IOAudioSelectorControl.h"),
    ("IOVideoDevice", "IOService", "MacOSX10.x SDK Kernel.framework IOVideoDevice.h"),
    ("IOFDiskPartitionScheme", "IOPartitionScheme", "IOStorageFamily IOFDiskPartitionScheme.h"),
    # Classes of the bundled registry that the listings lack.
    ("AppleIntelCNLUSBXHCI", "AppleIntelUSBXHCI", "inferred: the Cannon Lake sibling of AppleIntelICLUSBXHCI"),
    ("AppleUSBXHCITR", "AppleUSBXHCIPCI", "inferred: Titan Ridge XHCI, a PCI XHCI controller"),
    ("AppleGFXHDA8086_A348Controller", "AppleGFXHDA8086_9D71Controller",
     "inferred: the Cannon Lake sibling of AppleGFXHDA8086_38C8Controller"),
    ("AppleGFXHDAA348Driver", "AppleGFXHDADriver", "inferred: the Cannon Lake sibling of AppleGFXHDA38C8Driver"),
    ("AppleGFXHDAEngineOutputDP", "IOAudioEngine", "inferred: the output engine of an IOAudioDevice"),
    ("AppleUSBACMControl", "IOService", "inferred: a plain driver of the CDC control interface"),
    ("AppleUSBACMData", "IOSerialDriverSync", "inferred: it publishes an IOModemSerialStreamSync"),
    ("AppleBCM5701Ethernet", "IOEthernetController", "inferred: a wired Ethernet driver"),
    ("AppleDisplay", "IODisplay", "inferred: the display of a framebuffer connection"),
    ("AppleHPET", "IOService", "inferred: a timer driver on its ACPI node"),
    ("IOUserSerialUserClient", "IOUserClient", "inferred: the user client of IOUserSerial"),
    # Classes of the real dumps that the listings lack, each with the public source that declares it
    # (a `class X : public Y` or an OSDefineMetaClassAndStructors(X, Y)); third-party kexts with
    # Apple-like names come from the hackintosh kexts named.
    ("AirportItlwm", "IO80211Controller", "OpenIntelWireless/itlwm, AirportItlwm/AirportItlwm.hpp and AirportItlwm/AirportItlwmV2.hpp"),
    ("AirportItlwmEthernetInterface", "IOEthernetInterface", "OpenIntelWireless/itlwm, AirportItlwm/AirportItlwmEthernetInterface.hpp"),
    ("AirportItlwmInterface", "IO80211Interface", "OpenIntelWireless/itlwm, AirportItlwm/AirportItlwmInterface.hpp"),
    ("AirportItlwmSkywalkInterface", "IO80211InfraProtocol", "OpenIntelWireless/itlwm, AirportItlwm/AirportItlwmSkywalkInterface.hpp"),
    ("AppleACPIPS2Nub", "IOPlatformDevice", "acidanthera/VoodooPS2, VoodooPS2Controller/AppleACPIPS2Nub.h"),
    ("AppleALC", "IOService", "acidanthera/AppleALC, AppleALC/kern_start.cpp"),
    ("ApplePS2Controller", "IOService", "acidanthera/VoodooPS2, VoodooPS2Controller/VoodooPS2Controller.h"),
    ("ApplePS2Device", "IOService", "acidanthera/VoodooPS2, VoodooPS2Controller/ApplePS2Device.h"),
    ("ApplePS2Keyboard", "IOHIKeyboard", "acidanthera/VoodooPS2, VoodooPS2Keyboard/VoodooPS2Keyboard.h"),
    ("ApplePS2KeyboardDevice", "ApplePS2Device", "acidanthera/VoodooPS2, VoodooPS2Controller/ApplePS2KeyboardDevice.h"),
    ("ApplePS2Mouse", "IOHIPointing", "acidanthera/VoodooPS2, VoodooPS2Mouse/VoodooPS2Mouse.h"),
    ("ApplePS2MouseDevice", "ApplePS2Device", "acidanthera/VoodooPS2, VoodooPS2Controller/ApplePS2MouseDevice.h"),
    ("BlueToolFixup", "IOService", "acidanthera/BrcmPatchRAM, BrcmPatchRAM/BlueToolFixup.cpp"),
    ("BrightnessKeys", "IOHIKeyboard", "acidanthera/BrightnessKeys, BrightnessKeys/BrightnessKeys.hpp"),
    ("IO80211InfraProtocol", "IO80211InfraInterface", "OpenIntelWireless/itlwm, include/Airport/IO80211InfraProtocol.h"),
    ("IOAudioControlUserClient", "IOUserClient", "IOAudioFamily (IOAudioFamily-700.2), IOAudioControlUserClient.h"),
    ("IOAudioEngineUserClient", "IOUserClient", "IOAudioFamily (IOAudioFamily-700.2), IOAudioEngineUserClient.h"),
    ("IOHIDConsumer", "IOHIKeyboard", "IOHIDFamily (IOHIDFamily-2222.0.24), IOHIDFamily/IOHIDConsumer.h"),
    ("IOHIDKeyboard", "IOHIKeyboard", "IOHIDFamily (IOHIDFamily-2222.0.24), IOHIDFamily/IOHIDKeyboard.h"),
    ("IOHIDPointing", "IOHITablet", "IOHIDFamily (IOHIDFamily-2222.0.24), IOHIDFamily/IOHIDPointing.h"),
    ("IOHIDStackShotUserClient", "IOUserClient", "IOHIDFamily, IOHIDSystem/IOHIDUserClient.h, IOHIDSystem/IOHIDUserClient.cpp"),
    ("IOHIDevice", "IOService", "IOHIDFamily (IOHIDFamily-2222.0.24), IOHIDSystem/IOKit/hidsystem/IOHIDevice.h"),
    ("IOHIKeyboard", "IOHIDevice", "IOHIDFamily (IOHIDFamily-2222.0.24), IOHIDSystem/IOKit/hidsystem/IOHIKeyboard.h"),
    ("IOHIPointing", "IOHIDevice", "IOHIDFamily (IOHIDFamily-2222.0.24), IOHIDSystem/IOKit/hidsystem/IOHIPointing.h"),
    ("IOHITablet", "IOHIPointing", "IOHIDFamily (IOHIDFamily-2222.0.24), IOHIDSystem/IOKit/hidsystem/IOHITablet.h"),
    ("IONDRVFramebuffer", "IOFramebuffer", "IOGraphics (IOGraphics-600), IONDRVSupport/IOKit/ndrvsupport/IONDRVFramebuffer.h"),
    ("IOPCIEDeviceWrapper", "IOService", "OpenIntelWireless/itlwm, AirportItlwm/IOPCIEDeviceWrapper.hpp"),
    ("IOUSBCompositeDriver", "IOService", "IOUSBFamily (IOUSBFamily-630.4.5), IOUSBCompositeDriver/Headers/IOUSBCompositeDriver.h"),
    ("IntelBTPatcher", "IOService", "OpenIntelWireless/IntelBluetoothFirmware, IntelBTPatcher/IntelBTPatcher.cpp"),
    ("IntelBluetoothFirmware", "IOService", "OpenIntelWireless/IntelBluetoothFirmware, IntelBluetoothFirmware/IntelBluetoothFirmware.hpp"),
    ("Lilu", "IOService", "acidanthera/Lilu, Lilu/PrivateHeaders/kern_start.hpp, Lilu/Sources/kern_start.cpp"),
    ("NVMeFix", "IOService", "acidanthera/NVMeFix, NVMeFix/NVMeFix.cpp"),
    ("RestrictEvents", "IOService", "acidanthera/RestrictEvents, RestrictEvents/RestrictEvents.cpp"),
    ("SMCBatteryManager", "IOService", "acidanthera/VirtualSMC, Sensors/SMCBatteryManager/SMCBatteryManager.hpp"),
    ("SMCProcessor", "IOService", "acidanthera/VirtualSMC, Sensors/SMCProcessor/SMCProcessor.hpp"),
    ("SMCSMBusController", "IOSMBusController", "acidanthera/VirtualSMC, Sensors/SMCBatteryManager/SMCSMBusController.hpp"),
    ("TrackpointDevice", "IOHIPointing", "acidanthera/VoodooInput, VoodooInput/Trackpoint/TrackpointDevice.hpp"),
    ("VerbStubResidency", "IOService", "hackintosh-stuff/ComboJack, VerbStub_Source/VerbStub/VerbStub.hpp"),
    ("VirtualSMC", "IOACPIPlatformDevice", "acidanthera/VirtualSMC, VirtualSMC/kern_vsmc.hpp, VirtualSMC/kern_vsmc.cpp"),
    ("VoodooGPIO", "IOService", "VoodooI2C/VoodooGPIO, VoodooGPIO/VoodooGPIO.hpp"),
    ("VoodooGPIOCannonLakeLP", "VoodooGPIO", "VoodooI2C/VoodooGPIO, VoodooGPIO/CannonLake-LP/VoodooGPIOCannonLakeLP.hpp"),
    ("VoodooI2CController", "IOService", "VoodooI2C/VoodooI2C, VoodooI2C/VoodooI2C/VoodooI2CController/VoodooI2CController.hpp"),
    ("VoodooI2CControllerDriver", "IOService", "VoodooI2C/VoodooI2C, VoodooI2C/VoodooI2C/VoodooI2CController/VoodooI2CControllerDriver.hpp"),
    ("VoodooI2CControllerNub", "IOService", "VoodooI2C/VoodooI2C, VoodooI2C/VoodooI2C/VoodooI2CController/VoodooI2CControllerNub.hpp"),
    ("VoodooI2CDeviceNub", "IOService", "VoodooI2C/VoodooI2C, VoodooI2C/VoodooI2C/VoodooI2CDevice/VoodooI2CDeviceNub.hpp"),
    ("VoodooI2CHIDDevice", "IOHIDDevice", "VoodooI2C/VoodooI2CHID, VoodooI2CHID/VoodooI2CHIDDevice.hpp"),
    ("VoodooI2CLogger", "IOService", "VoodooI2C/VoodooI2C, Dependencies/VoodooI2CServices/VoodooI2CServices/VoodooI2CLogger.hpp"),
    ("VoodooI2CMultitouchEngine", "IOService", "VoodooI2C/VoodooI2C, Multitouch Support/VoodooI2CMultitouchEngine.hpp"),
    ("VoodooI2CMultitouchHIDEventDriver", "IOHIDEventService", "VoodooI2C/VoodooI2CHID, VoodooI2CHID/VoodooI2CMultitouchHIDEventDriver.hpp"),
    ("VoodooI2CMultitouchInterface", "IOService", "VoodooI2C/VoodooI2C, Multitouch Support/VoodooI2CMultitouchInterface.hpp"),
    ("VoodooI2CNativeEngine", "VoodooI2CMultitouchEngine", "VoodooI2C/VoodooI2C, Multitouch Support/Native/VoodooI2CNativeEngine.hpp"),
    ("VoodooI2CPCIController", "VoodooI2CController", "VoodooI2C/VoodooI2C, VoodooI2C/VoodooI2C/VoodooI2CController/VoodooI2CPCIController.hpp"),
    ("VoodooI2CPrecisionTouchpadHIDEventDriver", "VoodooI2CMultitouchHIDEventDriver", "VoodooI2C/VoodooI2CHID, VoodooI2CHID/VoodooI2CPrecisionTouchpadHIDEventDriver.hpp"),
    ("VoodooI2CServices", "IOService", "VoodooI2C/VoodooI2C, Dependencies/VoodooI2CServices/VoodooI2CServices/VoodooI2CServices.hpp"),
    ("VoodooI2CTouchscreenHIDEventDriver", "VoodooI2CMultitouchHIDEventDriver", "VoodooI2C/VoodooI2CHID, VoodooI2CHID/VoodooI2CTouchscreenHIDEventDriver.hpp"),
    ("VoodooInput", "IOService", "acidanthera/VoodooInput, VoodooInput/VoodooInput.hpp"),
    ("VoodooInputActuatorDevice", "IOHIDDevice", "acidanthera/VoodooInput, VoodooInput/VoodooInputSimulator/VoodooInputActuatorDevice.hpp"),
    ("VoodooInputSimulatorDevice", "IOHIDDevice", "acidanthera/VoodooInput, VoodooInput/VoodooInputSimulator/VoodooInputSimulatorDevice.hpp"),
    ("WhateverGreen", "IOService", "acidanthera/WhateverGreen, WhateverGreen/kern_start.cpp"),
    ("com_XPS_VerbStub", "IOService", "hackintosh-stuff/ComboJack, VerbStub_Source/VerbStub/VerbStub.hpp"),
    ("com_apple_driver_16X50ACPI", "com_apple_driver_16X50BusInterface", "Apple16X50Serial (Apple16X50Serial-24), Apple16X50ACPI.cpp"),
    ("com_apple_driver_16X50BusInterface", "IOService", "Apple16X50Serial, Apple16X50BusInterface.cpp (abstract"),
    ("com_apple_driver_16X50UARTSync", "IORS232SerialStreamSync", "Apple16X50Serial (Apple16X50Serial-24), Apple16X50UARTSync.cpp"),
)

CHAIN_LINE = re.compile(r"\+-o .* class: (\S+)\s*$")


def read_chains(path):
    """Class -> superclass as one listing shows it."""
    links = {}
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), start=1):
        match = CHAIN_LINE.search(line)
        if not match:
            continue
        chain = match.group(1).split(":")
        for index, name in enumerate(chain):
            superclass = chain[index - 1] if index else None
            if superclass is None:
                continue
            known = links.get(name)
            if known is not None and known != superclass:
                sys.exit(f"{path.name}:{number}: {name} derives from both {known} and {superclass}")
            links[name] = superclass
    return links


def build_table(chain_folder):
    table = {}
    for file_name in CHAIN_FILES:
        for name, superclass in read_chains(chain_folder / file_name).items():
            table.setdefault(name, superclass)
    for name, superclass, _source in ADDITIONS:
        known = table.setdefault(name, superclass)
        if known != superclass:
            sys.exit(f"addition {name} -> {superclass} clashes with the listings' {known}")
    table[ROOT_CLASS] = ""
    return table


def check_table(table):
    for name in table:
        seen = set()
        current = name
        while current != ROOT_CLASS:
            if current in seen:
                sys.exit(f"{name}: superclass cycle through {current}")
            seen.add(current)
            if current not in table:
                sys.exit(f"{name}: superclass {current} is not in the table")
            current = table[current]


def registry_classes(folder):
    classes = set()

    def walk(node):
        classes.add(node["IOObjectClass"])
        for child in node.get("IORegistryEntryChildren", ()):
            walk(child)

    for dump in sorted(folder.glob("*.xml")):
        with dump.open("rb") as stream:
            walk(plistlib.load(stream))
    return classes


def write_source(table, path):
    rows = "\n".join(f'    {{"{name}", "{table[name]}"}},' for name in sorted(table))
    path.write_text(f"""// Generated by sim/bundled/generate_class_table.py from real `ioreg -i` class chains; do not edit.
#include "sim/detail/registry/builtin_classes.hpp"

namespace plinth::sim::detail {{
namespace {{

constexpr class_link known_links[] = {{
{rows}
}};

}} // namespace

std::span<class_link const> builtin_class_links() noexcept
{{
    return known_links;
}}

}} // namespace plinth::sim::detail
""", encoding="utf-8")


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: generate_class_table.py <folder of *-class-chains.txt>")
    here = pathlib.Path(__file__).resolve().parent
    table = build_table(pathlib.Path(sys.argv[1]))
    check_table(table)
    missing = sorted(registry_classes(here) - table.keys())
    if missing:
        sys.exit("the bundled registry uses classes the table lacks: " + ", ".join(missing))
    target = here.parent / "detail" / "registry" / "builtin_classes.cpp"
    write_source(table, target)
    print(f"{len(table)} classes written to {target}")


if __name__ == "__main__":
    main()
