#!/usr/bin/env python3
"""Writes the bundled registry of the simulated I/O Kit.

The machine is a Mac mini (2018, Macmini8,1, Intel with a T2 chip) running
macOS 13. It is described below in code, one function per part of the machine,
and written out as four `ioreg -a` property lists, one per plane, that share
registry entry IDs: IOService.xml, IOUSB.xml, IODeviceTree.xml and IOPower.xml.

Serial numbers, UUIDs and session IDs are invented. Classes and layout follow
real Intel Macs of that era: modern USB devices are IOUSBHostDevice entries
under their ports, mirrored by legacy AppleUSBDevice entries that carry the
IOUSB plane; HID devices hang under USB interfaces; the internal SSD and the
Bluetooth controller sit behind the T2.

Run by hand from the repository root (python 3, standard library only):

    python3 sim/bundled/generate_registry.py

and commit the XML files it writes next to itself.
"""

import pathlib
import plistlib

PLANES = ("IOService", "IOUSB", "IODeviceTree", "IOPower")
ROOT_ID = 0x100000100
FIRST_ID = 0x100000110

# IOService state bits as ioreg archives them: registered, matched, first
# published and first matched. User clients and partition schemes are never
# registered and show 0.
REGISTERED_STATE = 0x1E


# --------------------------------------------------------------------------
# The registry model
# --------------------------------------------------------------------------

class Entry:
    """One registry entry with its links in every plane."""

    def __init__(self, ident, name, cls, location, props, registered):
        self.id = ident
        self.name = name
        self.cls = cls
        self.location = location
        self.props = dict(props or {})
        self.registered = registered
        self.children = {plane: [] for plane in PLANES}
        self.parents = {plane: [] for plane in PLANES}
        self.plane_names = {}  # plane -> (name, location) where they differ
        self.power_managed = False


class Registry:
    def __init__(self):
        self.next_id = FIRST_ID
        self.root = Entry(ROOT_ID, "Root", "IORegistryEntry", None, {}, False)
        self.entries = [self.root]

    def add(self, parent, name, cls, location=None, props=None, registered=True, before=None):
        """Makes an entry and attaches it in the IOService plane, last or before a sibling."""
        entry = Entry(self.next_id, name, cls, location, props, registered)
        self.next_id += 1
        self.entries.append(entry)
        self.attach(entry, parent, "IOService", before=before)
        return entry

    def client(self, parent, name, cls, props=None):
        """A user client or other never-registered object."""
        return self.add(parent, name, cls, props=props, registered=False)

    @staticmethod
    def attach(child, parent, plane, name=None, location=None, before=None):
        siblings = parent.children[plane]
        siblings.insert(siblings.index(before) if before else len(siblings), child)
        child.parents[plane].append(parent)
        if name is not None or location is not None:
            child.plane_names[plane] = (name or child.name, location or child.location)


# --------------------------------------------------------------------------
# Property helpers
# --------------------------------------------------------------------------

def le32(value):
    """A 4-byte little-endian data value, as PCI and USB port properties hold."""
    return value.to_bytes(4, "little")


def cstrings(*texts):
    """NUL-terminated strings in one data value, as Open Firmware properties hold."""
    return b"".join(text.encode() + b"\0" for text in texts)


def kext(bundle, provider, cls, **extra):
    """The personality keys that a matched kernel driver publishes."""
    props = {
        "CFBundleIdentifier": bundle,
        "CFBundleIdentifierKernel": bundle,
        "IOClass": cls,
        "IOProviderClass": provider,
        "IOMatchCategory": "IODefaultMatchCategory",
        "IOMatchedAtBoot": True,
        "IOPersonalityPublisher": bundle,
        "IOProbeScore": 0,
    }
    props.update(extra)
    return props


def power_state(current, maximum, capability=0x8000):
    return {
        "CapabilityFlags": capability,
        "CurrentPowerState": current,
        "DevicePowerState": current,
        "DriverPowerState": 0,
        "MaxPowerState": maximum,
    }


def power_managed(entry, current=2, maximum=3, capability=0x8000):
    """Marks an entry as joined to the power tree and publishes its power state."""
    entry.power_managed = True
    entry.props["IOPowerManagement"] = power_state(current, maximum, capability)
    return entry


# --------------------------------------------------------------------------
# The machine
# --------------------------------------------------------------------------

MODEL = "Macmini8,1"
USB_PLUGIN = {"9dc7b780-9ec0-11d4-a54f-000a27052861":
              "IOUSBHostFamily.kext/Contents/PlugIns/IOUSBLib.bundle"}
USB_INTERFACE_PLUGIN = {"2d9786c6-9ef3-11d4-ad51-000a27052861":
                        "IOUSBHostFamily.kext/Contents/PlugIns/IOUSBLib.bundle"}


def describe_root(reg):
    reg.root.props.update({
        "IOKitBuildVersion": "Darwin Kernel Version 22.6.0: Wed Jul  5 22:21:56 PDT 2023; "
                             "root:xnu-8796.141.3~6/RELEASE_X86_64",
        "OS Build Version": "22G74",
        "OSKernelCPUSubtype": 3,
        "OSKernelCPUType": 16777223,
        "OSPrelinkKextCount": 22,
        "IORegistryPlanes": {plane: plane for plane in PLANES},
        "IOConsoleLocked": False,
        "IOConsoleUsers": [{
            "kCGSSessionOnConsoleKey": True,
            "kCGSSessionUserIDKey": 501,
            "kCGSSessionGroupIDKey": 20,
            "kCGSSessionUserNameKey": "appleseed",
            "kCGSessionLongUserNameKey": "Johnny Appleseed",
            "kCGSSessionIDKey": 257,
            "kCGSessionLoginDoneKey": True,
        }],
    })


def describe_platform(reg):
    platform = reg.add(reg.root, MODEL, "IOPlatformExpertDevice", props={
        "IOPlatformSerialNumber": "C07XQ1ZZJYVW",
        "IOPlatformUUID": "5E3C8A7D-2B41-5F6C-9D0E-7A1B2C3D4E5F",
        "serial-number": b"JYVW\0\0\0\0\0\0\0\0\0C07XQ1ZZJYVW\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0",
        "model": cstrings(MODEL),
        "compatible": cstrings(MODEL),
        "product-name": cstrings(MODEL),
        "board-id": cstrings("Mac-7BA5B2DFE22DDD8C"),
        "manufacturer": cstrings("Apple Inc."),
        "target-type": cstrings("Mac"),
        "name": cstrings("/"),
        "version": cstrings("1.0"),
        "system-type": b"\x01",
        "clock-frequency": le32(400000000),
        "IOPlatformArgs": b"\0" * 8,
    })
    reg.attach(platform, reg.root, "IODeviceTree", name="/")
    return platform


def describe_platform_expert(reg, platform):
    expert = reg.add(platform, "AppleACPIPlatformExpert", "AppleACPIPlatformExpert", props=kext(
        "com.apple.driver.AppleACPIPlatform", "IOPlatformExpertDevice", "AppleACPIPlatformExpert",
        IONameMatch="ACPI", IONameMatched="ACPI", IOProbeScore=10000))
    root_domain = reg.add(expert, "IOPMrootDomain", "IOPMrootDomain", props={
        "IOSleepSupported": True,
        "SleepDisabled": False,
        "Hibernate Mode": 0,
        "Standby Enabled": False,
        "System Capabilities": 15,
        "Wake Type": "UserActivity Assertion",
        "IOUserClientClass": "RootDomainUserClient",
        "BootSessionUUID": "0C0F6A4E-8D3B-4C1A-9E72-5B6D7F8A9B0C",
        "SleepWakeUUID": "3F1D2C4B-6A5E-4978-8B0C-1D2E3F405162",
        "PCITopLevel": ["MCHC", "IGPU", "XHC1", "IMEI", "RP01", "RP05", "RP09", "RP13",
                        "LPCB", "HDEF", "SBUS"],
        "Supported Features": {"WakeByCalendarDate": 33030151, "Hibernation": 32833543},
        "IOPowerManagement": power_state(4, 4, capability=2),
    })
    reg.client(root_domain, "IORootParent", "IORootParent")
    for _ in range(4):
        reg.client(root_domain, "RootDomainUserClient", "RootDomainUserClient")
    reg.attach(root_domain, reg.root, "IOPower")
    reg.add(expert, "IOPCIMessagedInterruptController", "IOPCIMessagedInterruptController", props={
        "InterruptControllerName": "IOPCIMessagedInterruptController", "Vector Count": 256})
    reg.add(expert, "AppleVTD", "AppleVTD", props={"IOMapperID": 0})
    return expert, root_domain


def describe_cpus(reg, expert):
    cpus = reg.add(expert, "cpus", "IOPlatformDevice", props={"name": cstrings("cpus")})
    # Six cores with two threads each; ACPI numbers the first thread of every
    # core before the second ones, so APIC IDs come out even, then odd.
    apic_ids = [0, 2, 4, 6, 8, 10, 1, 3, 5, 7, 9, 11]
    for index, apic in enumerate(apic_ids):
        node = reg.add(expert, f"PR{index:02d}", "IOACPIPlatformDevice", location=f"{apic:X}", props={
            "name": cstrings(f"PR{index:02d}"),
            "processor-id": index,
            "processor-lapic": apic,
            "processor-index": index,
        })
        cpu = reg.add(node, "AppleACPICPU", "AppleACPICPU", props={
            "IOCPUNumber": index,
            "cpu-type": le32(0x0607),
            "State": 1,
            "timebase-frequency": le32(1000000000),
            **kext("com.apple.driver.AppleACPIPlatform", "IOACPIPlatformDevice", "AppleACPICPU"),
        })
        if index == 0:
            reg.add(cpu, "AppleACPICPUInterruptController", "AppleACPICPUInterruptController")
            plugin = reg.add(cpu, "X86PlatformPlugin", "X86PlatformPlugin", props=kext(
                "com.apple.driver.X86PlatformPlugin", "AppleACPICPU", "X86PlatformPlugin"))
            enabler = reg.add(plugin, "IOPlatformEnabler", "IOPlatformPluginDevice")
            reg.add(enabler, "ApplePlatformEnabler", "ApplePlatformEnabler")
            agpm = reg.add(plugin, "AGPMEnabler", "IOPlatformPluginDevice")
            reg.add(agpm, "AGPMController", "AGPMController")
            reg.add(plugin, "X86PlatformShim", "X86PlatformShim")
    return cpus


def describe_acpi_devices(reg, expert):
    apic = reg.add(expert, "io-apic", "IOACPIPlatformDevice", location="fec00000",
                   props={"name": cstrings("io-apic")})
    reg.add(apic, "AppleAPICInterruptController", "AppleAPICInterruptController")
    reg.add(expert, "AppleACPIEventController", "AppleACPIEventController")
    bios = reg.add(expert, "bios", "IOPlatformDevice")
    reg.add(bios, "AppleSMBIOS", "AppleSMBIOS", props={
        "SMBIOS-EPS": b"_SM_\x1f\x1f\x03\x02",
        "system-type": b"\x01",
        "IOSMBIOSVersion": "3.2"})
    for name in ("DMAC", "IPIC", "MATH", "LDRC", "TIMR"):
        reg.add(expert, name, "IOACPIPlatformDevice", props={"name": cstrings(name)})
    hpet = reg.add(expert, "HPET", "IOACPIPlatformDevice", props={"name": cstrings("PNP0103")})
    reg.add(hpet, "AppleHPET", "AppleHPET")
    artc = reg.add(expert, "ARTC", "IOACPIPlatformDevice", props={"name": cstrings("APP0003")})
    reg.add(artc, "AppleSMCRTC", "AppleSMCRTC")
    smc_node = reg.add(expert, "SMC", "IOACPIPlatformDevice", props={"name": cstrings("APP0001")})
    smc = power_managed(reg.add(smc_node, "AppleSMC", "AppleSMC", props=kext(
        "com.apple.driver.AppleSMC", "IOACPIPlatformDevice", "AppleSMC")))
    reg.add(smc, "SMCWatchDogTimer", "SMCWatchDogTimer")
    reg.add(smc, "AppleSMCPMC", "AppleSMCPMC")
    reg.client(smc, "AppleSMCClient", "AppleSMCClient")
    reg.add(expert, "EC", "IOACPIPlatformDevice", props={"name": cstrings("EC")})
    pmcr = reg.add(expert, "PMCR", "IOACPIPlatformDevice", props={"name": cstrings("APP9876")})
    reg.add(pmcr, "AppleACPIPMC", "AppleACPIPMC")
    button = reg.add(expert, "PWRB", "IOACPIPlatformDevice", props={"name": cstrings("PNP0C0C")})
    reg.add(button, "AppleACPIButton", "AppleACPIButton", props={
        "PrimaryUsagePage": 1, "PrimaryUsage": 0x80, "Transport": "ACPI"})
    return smc


def describe_efi(reg, expert, platform):
    runtime = reg.add(expert, "AppleEFIRuntime", "AppleEFIRuntime")
    nvram = reg.add(runtime, "AppleEFINVRAM", "AppleEFINVRAM", props={
        "SystemAudioVolume": b"\x30",
        "boot-args": "",
        "prev-lang:kbd": b"en-US:0",
    })
    reg.attach(nvram, platform, "IODeviceTree", name="options")


# --------------------------------------------------------------------------
# PCI
# --------------------------------------------------------------------------

class PciBus:
    """One PCI bus: the registry parents of its functions in both planes."""

    def __init__(self, number, service_parent, tree_parent):
        self.number = number
        self.service_parent = service_parent
        self.tree_parent = tree_parent
        self.child_count = 0


class Pci:
    def __init__(self, reg):
        self.reg = reg
        self.next_bus = 1

    def function(self, bus, acpi_name, dev, fn, vendor, device, class_code, *,
                 subsystem=(0x106B, 0x0000), revision=0, name=None, built_in=True, extra=None):
        """One PCI function, named by its ACPI node when it has one."""
        io_name = name or f"pci{vendor:x},{device:x}"
        location = f"{dev:X}" if fn == 0 else f"{dev:X},{fn:X}"
        sub_vendor, sub_device = subsystem
        compatible = [f"pci{sub_vendor:x},{sub_device:x}", f"pci{vendor:x},{device:x}",
                      f"pciclass,{class_code:06x}"]
        if acpi_name:
            compatible.append(acpi_name)
        props = {
            "vendor-id": le32(vendor),
            "device-id": le32(device),
            "subsystem-vendor-id": le32(sub_vendor),
            "subsystem-id": le32(sub_device),
            "revision-id": le32(revision),
            "class-code": le32(class_code),
            "IOName": io_name,
            "name": cstrings(io_name),
            "compatible": cstrings(*compatible),
            "reg": le32(bus.number << 16 | dev << 11 | fn << 8) + bytes(16),
            "IOChildIndex": bus.child_count,
            "pcidebug": f"{bus.number}:{dev}:{fn}",
            "IOPCIResourced": True,
            "IOInterruptControllers": ["io-apic-0", "IOPCIMessagedInterruptController"],
            "IOInterruptSpecifiers": [le32(0x10) + le32(7), le32(0) + le32(0x10000)],
        }
        if built_in:
            props["built-in"] = b"\x00"
        if acpi_name and bus.number == 0:
            props["acpi-path"] = f"IOACPIPlane:/_SB/PCI0@0/{acpi_name}@{dev << 16 | fn:x}"
        props.update(extra or {})
        bus.child_count += 1
        entry = power_managed(self.reg.add(bus.service_parent, acpi_name or io_name, "IOPCIDevice",
                                           location=location, props=props))
        self.reg.attach(entry, bus.tree_parent, "IODeviceTree")
        return entry

    def bridge(self, bus, acpi_name, dev, fn, vendor, device, revision=0, class_code=0x060400):
        """A PCI-to-PCI bridge function and the bus behind it."""
        function = self.function(bus, acpi_name, dev, fn, vendor, device, class_code,
                                 revision=revision, name="pci-bridge",
                                 extra={"IOPCIExpressLinkCapabilities": 0x7A4C43,
                                        "IOPCIExpressLinkStatus": 0x7043})
        driver = power_managed(self.reg.add(function, "IOPP", "IOPCI2PCIBridge", props=kext(
            "com.apple.iokit.IOPCIFamily", "IOPCIDevice", "IOPCI2PCIBridge",
            IONameMatch="pci-bridge", IONameMatched="pci-bridge", IOPCIPowerOnProbe=True)))
        number = self.next_bus
        self.next_bus += 1
        return function, PciBus(number, driver, function)


def describe_pci_root(reg, expert, platform):
    node = reg.add(expert, "PCI0", "IOACPIPlatformDevice", location="0", props={
        "name": cstrings("PNP0A08"),
        "compatible": cstrings("PNP0A03"),
        "acpi-path": "IOACPIPlane:/_SB/PCI0@0",
    })
    reg.attach(node, platform, "IODeviceTree")
    host = power_managed(reg.add(node, "AppleACPIPCI", "AppleACPIPCI", props=kext(
        "com.apple.driver.AppleACPIPlatform", "IOACPIPlatformDevice", "AppleACPIPCI",
        IONameMatch="PNP0A03", IONameMatched="PNP0A03")))
    return PciBus(0, host, node)


def describe_graphics(reg, pci, bus):
    igpu = pci.function(bus, "IGPU", 2, 0, 0x8086, 0x3E9B, 0x030000, revision=0, name="display",
                        subsystem=(0x106B, 0x0192),
                        extra={"AAPL,ig-platform-id": le32(0x3E9B0007), "model": cstrings("Intel UHD Graphics 630")})
    controller = reg.add(igpu, "AppleIntelFramebufferController", "AppleIntelFramebufferController",
                         props=kext("com.apple.driver.AppleIntelCFLGraphicsFramebuffer", "IOPCIDevice",
                                    "AppleIntelFramebufferController"))
    reg.add(controller, "IntelFBClientControl", "IntelFBClientControl")
    for index in range(3):
        framebuffer = reg.add(igpu, "AppleIntelFramebuffer", "AppleIntelFramebuffer", location=str(index),
                              props={"IOFBDependentIndex": index, "IOFBDependentID": igpu.id})
        if index == 0:
            display = reg.add(framebuffer, "display0", "IODisplayConnect")
            reg.add(display, "AppleDisplay", "AppleDisplay", props={
                "DisplayVendorID": 0x10AC, "DisplayProductID": 0xA0C4,
                "DisplayProductName": {"en_US": "DELL P2419H"}})
    reg.add(igpu, "IntelAccelerator", "IntelAccelerator", props={
        "IOClass": "IntelAccelerator", "MetalPluginName": "AppleIntelKBLGraphicsMTLDriver"})


def describe_storage(reg, controller_parent, bsd_unit=0):
    """The internal SSD behind the T2: an APFS container on a GUID partition map."""
    controller = power_managed(reg.add(controller_parent, "AppleANS2Controller", "AppleANS2Controller", props=kext(
        "com.apple.iokit.IONVMeFamily", "IOPCIDevice", "AppleANS2Controller",
        **{"Model Number": "APPLE SSD AP0256M", "Serial Number": "C02842500Q3JMRR1X",
           "Firmware Revision": "1381.140"})))
    nvme = reg.add(controller, "IONVMeBlockStorageDevice", "IONVMeBlockStorageDevice", location="1", props={
        "Logical Block Size": 4096,
        "Physical Block Size": 4096,
        "device-type": "Generic",
        "Device Characteristics": {"Product Name": "APPLE SSD AP0256M", "Medium Type": "Solid State",
                                   "Serial Number": "C02842500Q3JMRR1X", "Product Revision Level": "1381.140"},
        "Protocol Characteristics": {"Physical Interconnect": "PCI-Express",
                                     "Physical Interconnect Location": "Internal"},
    })
    driver = reg.add(nvme, "IOBlockStorageDriver", "IOBlockStorageDriver", props=kext(
        "com.apple.iokit.IOStorageFamily", "IOBlockStorageDevice", "IOBlockStorageDriver"))
    disk = media(reg, driver, "APPLE SSD AP0256M Media", None, 251000193024, bsd_unit, 0,
                 content="GUID_partition_scheme", whole=True)
    reg.add(disk, "IOMediaBSDClient", "IOMediaBSDClient", props=bsd_client())
    scheme = reg.client(disk, "IOGUIDPartitionScheme", "IOGUIDPartitionScheme", props={
        "Content Mask": "GUID_partition_scheme", "UUID": "4B2A4E1C-33F9-4D3B-9A5E-2F6C7D8E9A0B"})
    efi = media(reg, scheme, "EFI System Partition", "1", 209715200, bsd_unit, 1,
                content="C12A7328-F81F-11D2-BA4B-00A0C93EC93B")
    reg.add(efi, "IOMediaBSDClient", "IOMediaBSDClient", props=bsd_client())
    container_partition = media(reg, scheme, "Untitled 2", "2", 250790436864, bsd_unit, 2,
                                content="7C3457EF-0000-11AA-AA11-00306543ECAC")
    reg.add(container_partition, "IOMediaBSDClient", "IOMediaBSDClient", props=bsd_client())
    container_scheme = reg.client(container_partition, "AppleAPFSContainerScheme", "AppleAPFSContainerScheme")
    apfs_media = media(reg, container_scheme, "AppleAPFSMedia", None, 250790436864, bsd_unit + 1, 0,
                       content="EF57347C-0000-11AA-AA11-00306543ECAC", whole=True, cls="AppleAPFSMedia")
    reg.add(apfs_media, "AppleAPFSMediaBSDClient", "AppleAPFSMediaBSDClient", props=bsd_client())
    container = reg.client(apfs_media, "AppleAPFSContainer", "AppleAPFSContainer", props={
        "UUID": "6E1A8F2B-0C3D-4E5F-8A9B-1C2D3E4F5A6B"})
    volumes = ("Macintosh HD", "Macintosh HD - Data", "Preboot", "Recovery", "VM", "Update")
    for index, volume in enumerate(volumes, start=1):
        entry = media(reg, container, volume, str(index), 250790436864, bsd_unit + 1, index,
                      content="41504653-0000-11AA-AA11-00306543ECAC", cls="AppleAPFSVolume")
        reg.add(entry, "AppleAPFSVolumeBSDClient", "AppleAPFSVolumeBSDClient", props=bsd_client())
        if index == 1:
            snapshot = media(reg, entry, "com.apple.os.update-6C2B1E9A0F3D4C5B8A7E6D5C4B3A2918"
                             "0F1E2D3C4B5A69788796A5B4C3D2E1F0", "1", 250790436864, bsd_unit + 1, 7,
                             content="41504653-0000-11AA-AA11-00306543ECAC", cls="AppleAPFSSnapshot",
                             bsd_name=f"disk{bsd_unit + 1}s1s1")
            reg.add(snapshot, "IOMediaBSDClient", "IOMediaBSDClient", props=bsd_client())


def media(reg, parent, name, location, size, unit, minor, *, content, whole=False, cls="IOMedia",
          removable=False, bsd_name=None):
    bsd_name = bsd_name or (f"disk{unit}" if whole else f"disk{unit}s{minor}")
    return reg.add(parent, name, cls, location=location, props={
        "BSD Name": bsd_name,
        "BSD Major": 1,
        "BSD Minor": unit * 16 + minor,
        "BSD Unit": unit,
        "Content": content,
        "Content Hint": "" if whole else content,
        "Ejectable": removable,
        "Removable": removable,
        "Leaf": not whole,
        "Whole": whole,
        "Writable": True,
        "Open": True,
        "Preferred Block Size": 4096 if not removable else 512,
        "Size": size,
    })


def bsd_client():
    return kext("com.apple.iokit.IOStorageFamily", "IOMedia", "IOMediaBSDClient",
                IOMatchCategory="IOMediaBSDClient", IOResourceMatch="IOBSD", IOProbeScore=30000)


def describe_audio(reg, pci, bus):
    """HDMI audio of the graphics: the PCH's HDA function with an IOAudioFamily driver."""
    hdef = pci.function(bus, "HDEF", 0x1F, 3, 0x8086, 0xA348, 0x040300, revision=0x10,
                        extra={"layout-id": le32(7), "hda-gfx": cstrings("onboard-1")})
    controller = power_managed(reg.add(hdef, "AppleGFXHDA8086_A348Controller", "AppleGFXHDA8086_A348Controller",
                                       location="1F,3", props=kext(
                                           "com.apple.driver.AppleGFXHDA", "IOPCIDevice",
                                           "AppleGFXHDA8086_A348Controller")))
    device = power_managed(reg.add(controller, "AppleGFXHDAA348Driver", "AppleGFXHDAA348Driver",
                                   location="1F,3,2", props={
                                       "IOAudioDeviceName": "Display Audio",
                                       "IOAudioDeviceShortName": "HDMI",
                                       "IOAudioDeviceManufacturerName": "Intel",
                                       "IOAudioDeviceLocalizedBundle": "AppleGFXHDA.kext",
                                       "IOAudioDeviceTransportType": 0x68646D69,
                                       "IOAudioDeviceCanBeDefaults": 1,
                                   }))
    engine = reg.add(device, "AppleGFXHDAEngineOutputDP", "AppleGFXHDAEngineOutputDP", props={
        "IOAudioEngineDescription": "HDMI Output",
        "IOAudioEngineGlobalUniqueID": "AppleGFXHDAEngineOutputDP:10001:0:{DELL P2419H}",
        "IOAudioEngineNumChannels": 2,
        "IOAudioEngineSampleRate": {"IOAudioSampleRateWholeNumber": 48000,
                                    "IOAudioSampleRateFraction": 0},
        "IOAudioEngineState": 0,
        "IOAudioEngineNumSampleFramesPerBuffer": 8192,
    })
    reg.add(engine, "IOAudioStream", "IOAudioStream", props={
        "IOAudioStreamDirection": 0, "IOAudioStreamID": 1, "IOAudioStreamStartingChannelID": 1,
        "IOAudioStreamNumClients": 0})
    controls = (
        ("IOAudioLevelControl", 0x6C766C20, 0x6F757470, {"IOAudioLevelControlMinValue": 0,
                                                         "IOAudioLevelControlMaxValue": 64}, 48),
        ("IOAudioToggleControl", 0x746F676C, 0x6D757465, {}, 0),
        ("IOAudioSelectorControl", 0x736C6374, 0x6F64736E, {"IOAudioSelectorControlAvailableSelections": [
            {"IOAudioSelectorControlSelectionValue": 0x68646D69,
             "IOAudioSelectorControlSelectionDescription": "HDMI"}]}, 0x68646D69),
    )
    for cls, control_type, sub_type, extra, value in controls:
        reg.add(engine, cls, cls, props={
            "IOAudioControlType": control_type,
            "IOAudioControlSubType": sub_type,
            "IOAudioControlChannelID": 0,
            "IOAudioControlChannelName": "All Channels",
            "IOAudioControlUsage": 0x6F757470,
            "IOAudioControlValue": value,
            "IOAudioControlID": 0,
            **extra,
        })


# --------------------------------------------------------------------------
# USB
# --------------------------------------------------------------------------

class UsbSpec:
    """What a USB device says about itself."""

    def __init__(self, product, manufacturer, serial, vendor, product_id, bcd_device, *,
                 device_class=0, subclass=0, protocol=0, max_packet=64, speed="high",
                 bcd_usb=0x0200, interfaces=(), built_in=False, composite="AppleUSBHostCompositeDevice"):
        self.product = product
        self.manufacturer = manufacturer
        self.serial = serial
        self.vendor = vendor
        self.product_id = product_id
        self.bcd_device = bcd_device
        self.device_class = device_class
        self.subclass = subclass
        self.protocol = protocol
        self.max_packet = max_packet
        self.speed = speed
        self.bcd_usb = bcd_usb
        self.interfaces = interfaces  # (number, class, subclass, protocol, endpoints, name)
        self.built_in = built_in
        self.composite = composite


# Legacy "Device Speed" values, IOUSBHostFamily "USBSpeed" values, and link bit rates.
SPEEDS = {"low": (0, 1, 1500000), "full": (1, 2, 12000000), "high": (2, 3, 480000000),
          "super": (3, 4, 5000000000)}


class UsbBus:
    """One host controller with its legacy mirror, which carries the IOUSB plane."""

    def __init__(self, reg, controller, number, legacy_root, legacy_name, session_base):
        self.reg = reg
        self.controller = controller
        self.number = number
        self.next_address = 1
        self.session = session_base
        location = f"{number << 24:08x}"
        self.legacy_controller = power_managed(reg.add(
            legacy_root, legacy_name, "AppleUSBController", location=location,
            props={"locationID": number << 24}), current=4, maximum=4)
        self.root_hub = power_managed(reg.add(
            self.legacy_controller, f"{legacy_name} Root Hub Simulation", "AppleUSBRootHubDevice",
            location=location, props={
                "IOClassNameOverride": "IOUSBRootHubDevice",
                "idVendor": 0x05AC, "idProduct": 0x8007, "bcdUSB": 0x0300,
                "bDeviceClass": 9, "bDeviceSubClass": 255, "bDeviceProtocol": 3,
                "bMaxPacketSize0": 9, "bNumConfigurations": 1,
                "iManufacturer": 0, "iProduct": 0, "iSerialNumber": 0,
                "USB Product Name": f"{legacy_name} Root Hub Simulation",
                "USB Vendor Name": "Apple Inc.",
                "Device Speed": 3, "locationID": number << 24, "Built-In": True,
                "IOUserClientClass": "AppleUSBLegacyDeviceUserClient",
                "non-removable": "yes",
            }), current=4, maximum=4)
        reg.attach(self.root_hub, reg.root, "IOUSB")


class UsbDevice:
    def __init__(self, entry, mirror, location_id, interfaces):
        self.entry = entry
        self.mirror = mirror
        self.location_id = location_id
        self.interfaces = interfaces


def usb_port(reg, parent, name, cls, location_id, port, *, connector=3, extra=None):
    props = {
        "port": le32(port),
        "locationID": location_id,
        "UsbConnector": connector,
        "port-status": 0,
        "kUSBBusCurrentAllocation": 0,
        "kUSBWakePortCurrentLimit": 2100,
        "kUSBSleepPortCurrentLimit": 2100,
    }
    props.update(extra or {})
    return power_managed(reg.add(parent, name, cls, location=f"{location_id:08x}", props=props))


def child_location(location_id, port):
    """The location ID of the device on `port` of the hub at `location_id`."""
    shift = 20
    while shift >= 0 and (location_id >> shift) & 0xF:
        shift -= 4
    return location_id | port << shift


def port_index(location_id):
    """The port number that the legacy hub driver published: the location ID's
    last port nibble, which is Apple's port index and not the XHCI port number."""
    shift = 20
    while shift > 0 and (location_id >> (shift - 4)) & 0xF:
        shift -= 4
    return location_id >> shift & 0xF


def device_signature(usb):
    triples = []
    for _, cls, sub, proto, _, _ in usb.interfaces:
        if (cls, sub, proto) not in triples:
            triples.append((cls, sub, proto))
    body = (usb.vendor.to_bytes(2, "little") + usb.product_id.to_bytes(2, "little")
            + usb.bcd_device.to_bytes(2, "little") + usb.serial.encode()
            + bytes((usb.device_class, usb.subclass, usb.protocol)))
    return body + b"".join(bytes(t) for t in triples)


def usb_device(bus, port, usb, mirror_parent=None):
    """A device on a port: the IOUSBHostDevice, its interfaces and its legacy mirror."""
    reg = bus.reg
    location_id = port.props["locationID"]
    address = bus.next_address
    bus.next_address += 1
    bus.session += 81_234_567
    legacy_speed, host_speed, link_speed = SPEEDS[usb.speed]
    descriptor = {
        "idVendor": usb.vendor,
        "idProduct": usb.product_id,
        "bcdDevice": usb.bcd_device,
        "bcdUSB": usb.bcd_usb,
        "bDeviceClass": usb.device_class,
        "bDeviceSubClass": usb.subclass,
        "bDeviceProtocol": usb.protocol,
        "bMaxPacketSize0": usb.max_packet,
        "bNumConfigurations": 1,
        "iManufacturer": 1,
        "iProduct": 2,
        "iSerialNumber": 3,
        "USB Vendor Name": usb.manufacturer,
        "USB Product Name": usb.product,
        "USB Serial Number": usb.serial,
        "kUSBVendorString": usb.manufacturer,
        "kUSBProductString": usb.product,
        "kUSBSerialNumberString": usb.serial,
        "USB Address": address,
        "kUSBAddress": address,
        "locationID": location_id,
        "sessionID": bus.session,
        "Device Speed": legacy_speed,
        "kUSBCurrentConfiguration": 1,
        "IOCFPlugInTypes": USB_PLUGIN,
        "IOClassNameOverride": "IOUSBDevice",
    }
    if usb.built_in:
        descriptor.update({"Built-In": True, "non-removable": "yes"})
    name = f"{usb.product}"
    entry = power_managed(reg.add(port, name, "IOUSBHostDevice", location=f"{location_id:08x}", props={
        **descriptor,
        "USBSpeed": host_speed,
        "UsbLinkSpeed": link_speed,
        "USBPortType": 2 if usb.built_in else 0,
        "UsbDeviceSignature": device_signature(usb),
        "UsbPowerSinkAllocation": 100,
    }), current=2, maximum=2)
    reg.add(entry, "AppleUSBHostLegacyClient", "AppleUSBHostLegacyClient", registered=False)
    if usb.composite:
        reg.client(entry, usb.composite, usb.composite, props=kext(
            "com.apple.driver.usb.AppleUSBHostCompositeDevice", "IOUSBHostDevice", usb.composite,
            bDeviceClass=usb.device_class, bDeviceSubClass=usb.subclass, IOProbeScore=50000))
    mirror = power_managed(reg.add(bus.legacy_controller, name, "AppleUSBDevice",
                                   location=f"{location_id:08x}", props={
                                       **descriptor,
                                       "PortNum": port_index(location_id),
                                       "Bus Power Available": 250,
                                       "AppleUSBAlternateServiceRegistryID": entry.id,
                                   }), current=3, maximum=4)
    reg.attach(mirror, mirror_parent or bus.root_hub, "IOUSB")
    entry.props["IOServiceLegacyMatchingRegistryID"] = mirror.id
    interfaces = []
    for number, cls, sub, proto, endpoints, interface_name in usb.interfaces:
        props = {
            "bInterfaceNumber": number,
            "bInterfaceClass": cls,
            "bInterfaceSubClass": sub,
            "bInterfaceProtocol": proto,
            "bAlternateSetting": 0,
            "bNumEndpoints": endpoints,
            "bConfigurationValue": 1,
            "iInterface": 4 + number if interface_name else 0,
            "idVendor": usb.vendor,
            "idProduct": usb.product_id,
            "bcdDevice": usb.bcd_device,
            "locationID": location_id,
            "IOCFPlugInTypes": USB_INTERFACE_PLUGIN,
            "IOClassNameOverride": "IOUSBInterface",
        }
        if interface_name:
            props.update({"USB Interface Name": interface_name, "kUSBString": interface_name})
        modern = reg.add(entry, interface_name or "IOUSBHostInterface", "IOUSBHostInterface",
                         location=str(number), props={
                             **props, "USBSpeed": host_speed, "USBPortType": 2 if usb.built_in else 0,
                             "USB Product Name": usb.product, "USB Vendor Name": usb.manufacturer,
                             "USB Serial Number": usb.serial})
        legacy = reg.add(mirror, interface_name or "AppleUSBInterface", "AppleUSBInterface",
                         location=str(number), props={**props, "AppleUSBAlternateServiceRegistryID": modern.id})
        modern.props["IOServiceLegacyMatchingRegistryID"] = legacy.id
        interfaces.append(modern)
    return UsbDevice(entry, mirror, location_id, interfaces)


def usb_hub(bus, port, usb, port_count, *, driver_cls="AppleUSB20Hub", port_cls="AppleUSB20HubPort"):
    """A hub device, its hub driver and the hub's downstream ports."""
    reg = bus.reg
    hub = usb_device(bus, port, usb)
    # The hub driver takes the device itself, so it comes before the hub's interface.
    driver = power_managed(reg.add(hub.entry, driver_cls, driver_cls, location=f"{hub.location_id:08x}", props=kext(
        "com.apple.driver.usb.AppleUSBHub", "IOUSBHostDevice", driver_cls,
        **{"kUSBHubPortCount": port_count, "bDeviceClass": 9, "IOProbeScore": 50000}), before=hub.interfaces[0]))
    ports = [usb_port(reg, driver, port_cls, port_cls, child_location(hub.location_id, number), number,
                      connector=255)
             for number in range(1, port_count + 1)]
    return hub, ports


def hid_properties(transport, vendor, product_id, version, manufacturer, product, serial, location_id,
                   usage_page, usage, descriptor, max_input, max_output, max_feature=0, *, country=0):
    return {
        "Transport": transport,
        "VendorID": vendor,
        "ProductID": product_id,
        "VersionNumber": version,
        "Manufacturer": manufacturer,
        "Product": product,
        "SerialNumber": serial,
        "LocationID": location_id,
        "CountryCode": country,
        "PrimaryUsagePage": usage_page,
        "PrimaryUsage": usage,
        "DeviceUsagePage": usage_page,
        "DeviceUsage": usage,
        "DeviceUsagePairs": [{"DeviceUsagePage": usage_page, "DeviceUsage": usage}],
        "MaxInputReportSize": max_input,
        "MaxOutputReportSize": max_output,
        "MaxFeatureReportSize": max_feature,
        "ReportInterval": 8000,
        "ReportDescriptor": descriptor,
        "HIDDefaultBehavior": "",
    }


# Report descriptors: the boot-protocol keyboard and mouse that every USB HID host knows,
# a consumer-control collection, a vendor-defined board with numbered 64-byte reports and
# a gamepad. Each device's Max...ReportSize properties are its descriptor's largest report
# of that type in bytes, report ID byte included, as IOKit computes them.
KEYBOARD_DESCRIPTOR = bytes.fromhex(
    "05010906a101050719e029e71500250175019508810295017508810195057501"
    "050819012905910295017503910195067508150025650507190029658100c0")
MOUSE_DESCRIPTOR = bytes.fromhex(
    "05010902a1010901a100050919012903150025019503750181029501750581"
    "0105010930093109381581257f750895038106c0c0")
CONSUMER_DESCRIPTOR = bytes.fromhex("050c0901a101150026ff0319002aff03751095018100c0")
# The board's firmware numbers its reports, each 64 bytes on the wire with its ID first:
# input 1 and output 2 carry 63 bytes of data, feature 3 a 7-byte configuration.
VENDOR_DESCRIPTOR = bytes.fromhex(
    "0600ff0901a101150026ff007508"
    "8501953f09018102"
    "8502953f09019102"
    "850395070902b102"
    "c0")
# Two sticks (X, Y, Z, Rz: 8 bits each), a hat switch (4 bits, eight directions 45 degrees
# apart, outside 0..7 when released) with 4 bits of padding, and twelve buttons with 4
# bits of padding: a 7-byte input report, and no output or feature report.
GAMEPAD_DESCRIPTOR = bytes.fromhex(
    "05010905a101"
    "0901a100"
    "0930093109320935150026ff0075089504" "8102"
    "c0"
    "0939150025073500463b01651475049501" "8142"
    "6500450075049501" "8103"
    "05091901290c150025017501950c" "8102"
    "75049501" "8103"
    "c0")


def hid_driverkit_device(reg, interface, props):
    """A HID interface served by the DriverKit HID driver, with its event driver."""
    device = power_managed(reg.add(interface, "AppleUserUSBHostHIDDevice", "AppleUserHIDDevice", props={
        **props,
        "IOUserClass": "AppleUserUSBHostHIDDevice",
        "IOUserServerName": "com.apple.driverkit.AppleUserHIDDrivers",
        "CFBundleIdentifier": "com.apple.driverkit.AppleUserHIDDrivers",
        "IOProviderClass": "IOUSBHostInterface",
        "IOClass": "AppleUserHIDDevice",
    }), current=1, maximum=1)
    hid_interface = reg.add(device, "IOHIDInterface", "IOHIDInterface", props={
        key: props[key] for key in ("Transport", "VendorID", "ProductID", "PrimaryUsagePage", "PrimaryUsage",
                                    "LocationID", "Product", "Manufacturer", "SerialNumber")})
    event_driver = reg.add(hid_interface, "AppleUserHIDEventDriver", "AppleUserHIDEventService", props={
        "IOUserClass": "AppleUserHIDEventDriver",
        "PrimaryUsagePage": props["PrimaryUsagePage"],
        "PrimaryUsage": props["PrimaryUsage"],
        "DeviceUsagePairs": props["DeviceUsagePairs"],
    })
    reg.client(event_driver, "IOHIDEventServiceUserClient", "IOHIDEventServiceUserClient")
    return device


def hid_kernel_device(reg, interface, location_id, number, props):
    """A HID interface served by the in-kernel USB HID driver."""
    device = power_managed(reg.add(interface, "IOUSBHostHIDDevice", "IOUSBHostHIDDevice",
                                   location=f"{location_id:08x},{number}", props={
                                       **props,
                                       **kext("com.apple.iokit.IOUSBHostFamily", "IOUSBHostInterface",
                                              "IOUSBHostHIDDevice", bInterfaceClass=3),
                                   }), current=1, maximum=1)
    reg.add(device, "IOHIDInterface", "IOHIDInterface", props={
        key: props[key] for key in ("Transport", "VendorID", "ProductID", "PrimaryUsagePage", "PrimaryUsage",
                                    "LocationID", "Product", "Manufacturer", "SerialNumber")})
    reg.client(device, "IOHIDLibUserClient", "IOHIDLibUserClient")
    return device


def serial_client(reg, parent, base, suffix, stream_type):
    """The BSD client that publishes a serial port as /dev/cu.* and /dev/tty.*."""
    device = base + suffix
    return reg.add(parent, "IOSerialBSDClient", "IOSerialBSDClient", props={
        **kext("com.apple.iokit.IOSerialFamily", "IOSerialStreamSync", "IOSerialBSDClient",
               IOProbeScore=1000, IOResourceMatch="IOBSD"),
        "IOTTYBaseName": base,
        "IOTTYSuffix": suffix,
        "IOTTYDevice": device,
        "IOCalloutDevice": f"/dev/cu.{device}",
        "IODialinDevice": f"/dev/tty.{device}",
        "IOSerialBSDClientType": stream_type,
    })


def describe_internal_usb(reg, pci, bus, legacy_root):
    """The PCH's XHCI controller: a hub with HID devices and a CDC modem, and a flash drive."""
    function = pci.function(bus, "XHC1", 0x14, 0, 0x8086, 0xA36D, 0x0C0330, revision=0x10,
                            extra={"AAPL,current-available": le32(2100), "AAPL,current-extra": le32(2700)})
    controller = power_managed(reg.add(function, "XHC1", "AppleIntelCNLUSBXHCI", location="14000000", props={
        **kext("com.apple.driver.usb.AppleUSBXHCIPCI", "IOPCIDevice", "AppleIntelCNLUSBXHCI",
               IOPCIClassMatch="0x0c033000", IOProbeScore=2000),
        "locationID": 0x14000000,
        "name": cstrings("XHC1"),
        "kUSBSleepSupported": True,
        "UsbHostControllerSoftRetryPolicy": 0,
        "Revision": b"\x01\x00",
        "port-count": le32(21),
    }), current=3, maximum=3)
    usb = UsbBus(reg, controller, 0x14, legacy_root, "AppleUSBXHCI", 0x1_6A3C_5E21)
    ports = [
        usb_port(reg, controller, "HS01", "AppleUSB20XHCIPort", 0x14100000, 1),
        usb_port(reg, controller, "HS02", "AppleUSB20XHCIPort", 0x14200000, 2),
        usb_port(reg, controller, "SS01", "AppleUSB30XHCIPort", 0x14300000, 0x0D),
        usb_port(reg, controller, "SS02", "AppleUSB30XHCIPort", 0x14400000, 0x0E),
    ]

    hub_spec = UsbSpec("USB2.0 Hub", "GenesysLogic", "GL850G-0001", 0x05E3, 0x0610, 0x9226,
                       device_class=9, protocol=2, interfaces=((0, 9, 0, 2, 1, None),), composite=None)
    hub, hub_ports = usb_hub(usb, ports[0], hub_spec, 4)

    keyboard_spec = UsbSpec("USB Keyboard", "Logitech", "LGK120-5839201", 0x046D, 0xC31C, 0x6400,
                            max_packet=8, speed="low", bcd_usb=0x0110,
                            interfaces=((0, 3, 1, 1, 1, None), (1, 3, 0, 0, 1, None)))
    keyboard = usb_device(usb, hub_ports[0], keyboard_spec, hub.mirror)
    hid_driverkit_device(reg, keyboard.interfaces[0], hid_properties(
        "USB", 0x046D, 0xC31C, 0x6400, "Logitech", "USB Keyboard", "LGK120-5839201", keyboard.location_id,
        1, 6, KEYBOARD_DESCRIPTOR, 8, 1))
    hid_driverkit_device(reg, keyboard.interfaces[1], hid_properties(
        "USB", 0x046D, 0xC31C, 0x6400, "Logitech", "USB Keyboard", "LGK120-5839201", keyboard.location_id,
        0x0C, 1, CONSUMER_DESCRIPTOR, 2, 0))

    mouse_spec = UsbSpec("USB Optical Mouse", "Logitech", "LGM105-2291776", 0x046D, 0xC077, 0x7200,
                         max_packet=8, speed="low", bcd_usb=0x0200, interfaces=((0, 3, 1, 2, 1, None),))
    mouse = usb_device(usb, hub_ports[1], mouse_spec, hub.mirror)
    hid_driverkit_device(reg, mouse.interfaces[0], hid_properties(
        "USB", 0x046D, 0xC077, 0x7200, "Logitech", "USB Optical Mouse", "LGM105-2291776", mouse.location_id,
        1, 2, MOUSE_DESCRIPTOR, 4, 0))

    vendor_spec = UsbSpec("Custom HID", "STMicroelectronics", "207A38A45253", 0x0483, 0x5750, 0x0200,
                          speed="full", interfaces=((0, 3, 0, 0, 2, "Custom HID Interface"),))
    vendor = usb_device(usb, hub_ports[2], vendor_spec, hub.mirror)
    hid_kernel_device(reg, vendor.interfaces[0], vendor.location_id, 0, hid_properties(
        "USB", 0x0483, 0x5750, 0x0200, "STMicroelectronics", "Custom HID", "207A38A45253", vendor.location_id,
        0xFF00, 1, VENDOR_DESCRIPTOR, 64, 64, 8))

    modem_spec = UsbSpec("Arduino Uno", "Arduino (www.arduino.cc)", "85735313932351E0A1C1", 0x2341, 0x0043,
                         0x0001, device_class=2, speed="full", bcd_usb=0x0110,
                         composite="AppleUSBCDCCompositeDevice",
                         interfaces=((0, 2, 2, 1, 1, None), (1, 10, 0, 0, 2, None)))
    modem = usb_device(usb, hub_ports[3], modem_spec, hub.mirror)
    reg.add(modem.interfaces[0], "AppleUSBACMControl", "AppleUSBACMControl", props=kext(
        "com.apple.driver.usb.cdc.acm", "IOUSBHostInterface", "AppleUSBACMControl"))
    acm_data = reg.add(modem.interfaces[1], "AppleUSBACMData", "AppleUSBACMData", props=kext(
        "com.apple.driver.usb.cdc.acm", "IOUSBHostInterface", "AppleUSBACMData"))
    stream = reg.add(acm_data, "IOModemSerialStreamSync", "IOModemSerialStreamSync", props={
        "IOTTYBaseName": "usbmodem", "IOTTYSuffix": "14141"})
    serial_client(reg, stream, "usbmodem", "14141", "IOModemSerialStream")

    flash_spec = UsbSpec("Ultra", "SanDisk", "4C530001230517115341", 0x0781, 0x5581, 0x0100,
                         speed="super", max_packet=9, bcd_usb=0x0320, interfaces=((0, 8, 6, 0x50, 2, None),))
    flash = usb_device(usb, ports[3], flash_spec)
    describe_usb_mass_storage(reg, flash.interfaces[0])
    return usb


def describe_gamepad(reg, usb):
    """A gamepad on the internal controller's free USB 2 port. It is described after
    everything else because it was plugged in after boot: its entries take the newest
    registry IDs, and every entry before it keeps its own."""
    port = next(entry for entry in usb.controller.children["IOService"] if entry.name == "HS02")
    described = UsbSpec("Dual Action", "Logitech", "LGDA-7730415", 0x046D, 0xC216, 0x0410, max_packet=8, speed="low",
                        bcd_usb=0x0110, interfaces=((0, 3, 0, 0, 1, None),))
    gamepad = usb_device(usb, port, described)
    hid_driverkit_device(reg, gamepad.interfaces[0], hid_properties(
        "USB", 0x046D, 0xC216, 0x0410, "Logitech", "Dual Action", "LGDA-7730415", gamepad.location_id,
        1, 5, GAMEPAD_DESCRIPTOR, 7, 0))


def describe_usb_mass_storage(reg, interface):
    nub = reg.add(interface, "IOUSBMassStorageInterfaceNub", "IOUSBMassStorageInterfaceNub")
    driver_nub = reg.add(nub, "IOUSBMassStorageDriverNub", "IOUSBMassStorageDriverNub")
    driver = reg.add(driver_nub, "IOUSBMassStorageDriver", "IOUSBMassStorageDriver", props={
        "Protocol Characteristics": {"Physical Interconnect": "USB", "Physical Interconnect Location": "External",
                                     "Read Time Out Duration": 30000, "Write Time Out Duration": 30000}})
    unit = reg.add(driver, "IOSCSILogicalUnitNub", "IOSCSILogicalUnitNub", location="0", props={
        "Peripheral Device Type": 0, "Vendor Identification": "SanDisk", "Product Identification": "Ultra",
        "Product Revision Level": "1.00"})
    peripheral = reg.add(unit, "IOSCSIPeripheralDeviceType00", "IOSCSIPeripheralDeviceType00")
    services = reg.add(peripheral, "IOBlockStorageServices", "IOBlockStorageServices", props={
        "Device Characteristics": {"Vendor Name": "SanDisk", "Product Name": "Ultra",
                                   "Product Revision Level": "1.00", "Serial Number": "4C530001230517115341"}})
    block_driver = reg.add(services, "IOBlockStorageDriver", "IOBlockStorageDriver", props=kext(
        "com.apple.iokit.IOStorageFamily", "IOBlockStorageDevice", "IOBlockStorageDriver"))
    disk = media(reg, block_driver, "SanDisk Ultra Media", None, 61530439680, 2, 0,
                 content="FDisk_partition_scheme", whole=True, removable=True)
    reg.add(disk, "IOMediaBSDClient", "IOMediaBSDClient", props=bsd_client())
    scheme = reg.client(disk, "IOFDiskPartitionScheme", "IOFDiskPartitionScheme", props={
        "Content Mask": "FDisk_partition_scheme"})
    volume = media(reg, scheme, "Untitled 1", "1", 61529391104, 2, 1, content="DOS_FAT_32", removable=True)
    reg.add(volume, "IOMediaBSDClient", "IOMediaBSDClient", props=bsd_client())


def describe_thunderbolt(reg, pci, bus, legacy_root):
    """A Titan Ridge Thunderbolt 3 controller: bridges, NHI and its USB-C XHCI, where a
    USB-serial adapter is plugged in."""
    _, upstream_bus = pci.bridge(bus, "RP01", 0x1C, 0, 0x8086, 0xA338, revision=0xF0)
    _, switch_bus = pci.bridge(upstream_bus, "UPSB", 0, 0, 0x8086, 0x15EA, revision=6)
    _, nhi_bus = pci.bridge(switch_bus, "DSB0", 0, 0, 0x8086, 0x15EA, revision=6)
    pci.function(nhi_bus, "NHI0", 0, 0, 0x8086, 0x15EB, 0x088000, revision=6,
                 extra={"ThunderboltDROM": b"\x00" * 16})
    pci.bridge(switch_bus, "DSB1", 1, 0, 0x8086, 0x15EA, revision=6)
    _, usb_bus = pci.bridge(switch_bus, "DSB2", 2, 0, 0x8086, 0x15EA, revision=6)
    pci.bridge(switch_bus, "DSB4", 4, 0, 0x8086, 0x15EA, revision=6)
    function = pci.function(usb_bus, "XHC2", 0, 0, 0x8086, 0x15EC, 0x0C0330, revision=6)
    controller = power_managed(reg.add(function, "XHC2", "AppleUSBXHCITR", location="01000000", props={
        **kext("com.apple.driver.usb.AppleUSBXHCIPCI", "IOPCIDevice", "AppleUSBXHCITR", IOProbeScore=5000),
        "locationID": 0x01000000,
        "name": cstrings("XHC2"),
        "port-count": le32(4),
    }), current=3, maximum=3)
    usb = UsbBus(reg, controller, 0x01, legacy_root, "AppleUSBXHCI", 0x2_9D1E_77A0)
    ports = [
        usb_port(reg, controller, "SS01", "AppleUSB30XHCITypeCPort", 0x01100000, 1, connector=9),
        usb_port(reg, controller, "SS02", "AppleUSB30XHCITypeCPort", 0x01200000, 2, connector=9),
        usb_port(reg, controller, "HS01", "AppleUSB20XHCITypeCPort", 0x01300000, 3, connector=9),
        usb_port(reg, controller, "HS02", "AppleUSB20XHCITypeCPort", 0x01400000, 4, connector=9),
    ]
    ftdi_spec = UsbSpec("FT232R USB UART", "FTDI", "A50285BI", 0x0403, 0x6001, 0x0600, speed="full",
                        max_packet=8, interfaces=((0, 255, 255, 255, 2, "FT232R USB UART"),))
    ftdi = usb_device(usb, ports[2], ftdi_spec)
    port = reg.add(ftdi.interfaces[0], "AppleUSBFTDI", "IOUserSerial", props={
        "IOUserClass": "AppleUSBFTDI",
        "IOUserServerName": "com.apple.DriverKit-AppleUSBFTDI",
        "CFBundleIdentifier": "com.apple.DriverKit-AppleUSBFTDI",
        "IOProviderClass": "IOUSBHostInterface",
        "IOTTYBaseName": "usbserial-",
        "IOTTYSuffix": "A50285BI",
    })
    serial_client(reg, port, "usbserial-", "A50285BI", "IOSerialStream")
    reg.client(port, "IOUserSerialUserClient", "IOUserSerialUserClient")


def describe_t2(reg, pci, bus, legacy_root):
    """The T2 behind a root port: SSD, buffer copy engine with the virtual USB host
    controller, secure enclave and the speaker's audio bridge."""
    _, t2_bus = pci.bridge(bus, "RP05", 0x1C, 4, 0x8086, 0xA33C, revision=0xF0)
    ans = pci.function(t2_bus, "ANS2", 0, 0, 0x106B, 0x2005, 0x010802, revision=1)
    describe_storage(reg, ans)
    iobc = pci.function(t2_bus, "IOBC", 0, 1, 0x106B, 0x1801, 0x088000, revision=1)
    copy = reg.add(iobc, "IOBufferCopyController", "IOBufferCopyController")
    vhci = power_managed(reg.add(copy, "AppleUSBVHCIBCE", "AppleUSBVHCIBCE", location="80000000", props={
        **kext("com.apple.driver.usb.AppleUSBVHCIBCE", "IOBufferCopyController", "AppleUSBVHCIBCE"),
        "locationID": 0x80000000,
    }), current=3, maximum=3)
    usb = UsbBus(reg, vhci, 0x80, legacy_root, "AppleUSBVHCIBCE", 0x0_4C2F_1A00)
    ports = [usb_port(reg, vhci, "AppleUSBVHCIPort", "AppleUSBVHCIPort", 0x80000000 | n << 20, n, connector=255)
             for n in (1, 2, 3)]
    bridge_spec = UsbSpec("Apple T2 Controller", "Apple Inc.", "C07842500QHJM2U1A", 0x05AC, 0x8233, 0x0001,
                          device_class=0xEF, subclass=2, protocol=1, built_in=True,
                          composite="AppleUSBCDCCompositeDevice",
                          interfaces=((0, 2, 13, 0, 1, "NCM Control"), (1, 10, 0, 1, 2, "NCM Data")))
    bridge = usb_device(usb, ports[0], bridge_spec)
    reg.add(bridge.interfaces[0], "AppleUSBNCMControl", "AppleUSBNCMControl")
    ncm = reg.add(bridge.interfaces[1], "AppleUSBNCMData", "AppleUSBNCMData")
    reg.add(ncm, "en2", "IOEthernetInterface", props={"BSD Name": "en2", "IOInterfaceName": "en",
                                                      "IOInterfaceUnit": 2, "IOBuiltin": True})
    headset_spec = UsbSpec("Headset", "Apple Inc.", "C07842500R5JM2U1B", 0x05AC, 0x8103, 0x0001, built_in=True,
                           interfaces=((0, 3, 0, 0, 1, "HID Relay"),))
    headset = usb_device(usb, ports[1], headset_spec)
    hid_driverkit_device(reg, headset.interfaces[0], hid_properties(
        "USB", 0x05AC, 0x8103, 0x0001, "Apple Inc.", "Headset", "C07842500R5JM2U1B", headset.location_id,
        0x0C, 1, CONSUMER_DESCRIPTOR, 2, 0))
    reg.add(iobc, "BridgeAudioCommunicationService", "BridgeAudioCommunicationService")
    sepm = pci.function(t2_bus, "SEPM", 0, 2, 0x106B, 0x1802, 0x108000, revision=1)
    iop = reg.add(sepm, "AppleSEPIntelIOP", "AppleSEPIntelIOP")
    nub = reg.add(iop, "iop-nub,sep", "AppleSEPIntelIOPNub")
    reg.add(nub, "AppleSEPManager", "AppleSEPManager")
    adio = pci.function(t2_bus, "ADIO", 0, 3, 0x106B, 0x1803, 0x040300, revision=1)
    reg.add(adio, "BridgeAudioControllerPCI", "BridgeAudioControllerPCI")
    return usb


def describe_network(reg, pci, bus, expert):
    _, wifi_bus = pci.bridge(bus, "RP09", 0x1D, 0, 0x8086, 0xA330, revision=0xF0)
    pci.function(wifi_bus, "ARPT", 0, 0, 0x14E4, 0x4464, 0x028000, revision=4, subsystem=(0x106B, 0x07BF))
    _, ethernet_bus = pci.bridge(bus, "RP13", 0x1D, 4, 0x8086, 0xA334, revision=0xF0)
    ethernet = pci.function(ethernet_bus, None, 0, 0, 0x14E4, 0x1686, 0x020000, revision=1, name="ethernet",
                            subsystem=(0x106B, 0x0192),
                            extra={"local-mac-address": bytes.fromhex("f0189856a1b2")})
    driver = power_managed(reg.add(ethernet, "AppleBCM5701Ethernet", "AppleBCM5701Ethernet", props={
        **kext("com.apple.iokit.AppleBCM5701Ethernet", "IOPCIDevice", "AppleBCM5701Ethernet"),
        "IOMACAddress": bytes.fromhex("f0189856a1b2"),
        "IOLinkSpeed": 1000000000, "IOLinkStatus": 3, "IOMaxPacketSize": 1518}))
    interface = reg.add(driver, "en0", "IOEthernetInterface", props={
        "BSD Name": "en0", "IOInterfaceName": "en", "IOInterfaceUnit": 0, "IOBuiltin": True,
        "IOPrimaryInterface": True, "IOMACAddress": bytes.fromhex("f0189856a1b2")})
    reg.add(interface, "IONetworkStack", "IONetworkStack")
    wlan = reg.add(expert, "WLAN", "IOACPIPlatformDevice", props={"name": cstrings("WLAN")})
    bus_interface = reg.add(wlan, "AppleBCMWLANBusInterfacePCIe", "AppleBCMWLANBusInterfacePCIe")
    core = power_managed(reg.add(bus_interface, "AppleBCMWLANCore", "AppleBCMWLANCore", props={
        "IOMACAddress": bytes.fromhex("f0189856a1b3"), "ModuleDictionary": {"Chip": "4364"}}))
    reg.add(core, "en1", "IO80211Interface", props={"BSD Name": "en1", "IOInterfaceName": "en",
                                                    "IOInterfaceUnit": 1, "IOBuiltin": True})


def describe_pci(reg, expert, platform, legacy_root):
    pci = Pci(reg)
    bus = describe_pci_root(reg, expert, platform)
    pci.function(bus, "MCHC", 0, 0, 0x8086, 0x3EC4, 0x060000, revision=7)
    describe_graphics(reg, pci, bus)
    internal = describe_internal_usb(reg, pci, bus, legacy_root)
    pci.function(bus, None, 0x14, 2, 0x8086, 0xA36F, 0x050000, revision=0x10)
    imei = pci.function(bus, "IMEI", 0x16, 0, 0x8086, 0xA360, 0x078000, revision=0x10)
    reg.add(imei, "AppleIntelMEIDriver", "AppleIntelMEIDriver")
    thunderbolt = describe_thunderbolt(reg, pci, bus, legacy_root)
    t2 = describe_t2(reg, pci, bus, legacy_root)
    describe_network(reg, pci, bus, expert)
    pci.function(bus, "LPCB", 0x1F, 0, 0x8086, 0xA30E, 0x060100, revision=0x10)
    describe_audio(reg, pci, bus)
    pci.function(bus, "SBUS", 0x1F, 4, 0x8086, 0xA323, 0x0C0500, revision=0x10)
    pci.function(bus, "XSPI", 0x1F, 5, 0x8086, 0xA324, 0x0C8000, revision=0x10)
    return internal, thunderbolt, t2


# --------------------------------------------------------------------------
# Resources, Bluetooth and DriverKit servers
# --------------------------------------------------------------------------

def describe_bluetooth(reg, resources):
    controller = reg.add(resources, "IOBluetoothHCIController", "IOBluetoothHCIController")
    host = reg.add(controller, "AppleBroadcomBluetoothHostController", "AppleBroadcomBluetoothHostController",
                   props={"BluetoothVendor": "Broadcom", "FirmwareVersion": "v96 c4405"})
    device = reg.add(host, "IOBluetoothDevice", "IOBluetoothDevice", props={
        "Name": "Magic Keyboard", "Address": "7c-04-d0-a1-22-f3", "ClassOfDevice": 0x2540})
    reg.add(device, "IOBluetoothL2CAPChannel", "IOBluetoothL2CAPChannel", props={"PSM": 17})
    interrupt_channel = reg.add(device, "IOBluetoothL2CAPChannel", "IOBluetoothL2CAPChannel", props={"PSM": 19})
    keyboard_descriptor = KEYBOARD_DESCRIPTOR[:4] + b"\x85\x01" + KEYBOARD_DESCRIPTOR[4:]
    hid = power_managed(reg.add(interrupt_channel, "IOBluetoothHIDDriver", "IOBluetoothHIDDriver", props={
        **hid_properties("Bluetooth", 0x05AC, 0x0267, 0x0110, "Apple Inc.", "Magic Keyboard",
                         "7c-04-d0-a1-22-f3", 0x7CA122F3, 1, 6, keyboard_descriptor, 9, 2),
        "BD_ADDR": bytes.fromhex("7c04d0a122f3"),
    }), current=1, maximum=1)
    hid_interface = reg.add(hid, "IOHIDInterface", "IOHIDInterface", props={"Transport": "Bluetooth"})
    reg.add(hid_interface, "AppleHIDKeyboardEventDriver", "AppleHIDKeyboardEventDriver", props={
        "PrimaryUsagePage": 1, "PrimaryUsage": 6})
    reg.client(controller, "IOBluetoothHCIUserClient", "IOBluetoothHCIUserClient")

    manager = reg.add(resources, "IOBluetoothSerialManager", "IOBluetoothSerialManager")
    client = reg.add(manager, "IOBluetoothSerialClient", "IOBluetoothSerialClient")
    stream = reg.add(client, "IOBluetoothSerialClientSerialStreamSync", "IOBluetoothSerialClientSerialStreamSync",
                     props={"BTTTYName": "Bluetooth-Incoming-Port"})
    serial_client(reg, stream, "Bluetooth-Incoming-Port", "", "IORS232SerialStream")


def describe_resources(reg, platform):
    resources = reg.add(platform, "IOResources", "IOResources", props={
        "IOKit": "IOService", "IOBSD": "IOService", "IORTC": "AppleSMCRTC",
        "IOConsoleUsers": "IOService", "IOResourceMatched": ["IOKit", "IOBSD"]})
    credentials = reg.add(resources, "AppleCredentialManager", "AppleCredentialManager")
    reg.client(credentials, "AppleCredentialManagerUserClient", "AppleCredentialManagerUserClient")
    reg.add(resources, "AppleFDEKeyStore", "AppleFDEKeyStore")
    keystore = reg.add(resources, "AppleKeyStore", "AppleKeyStore")
    for _ in range(3):
        reg.client(keystore, "AppleKeyStoreUserClient", "AppleKeyStoreUserClient")
    reg.add(resources, "AppleSSE", "AppleSSE")
    analytics = reg.add(resources, "CoreAnalyticsHub", "CoreAnalyticsHub")
    reg.client(analytics, "CoreAnalyticsUserClient", "CoreAnalyticsUserClient")
    reg.add(resources, "EndpointSecurityDriver", "EndpointSecurityDriver")
    describe_bluetooth(reg, resources)
    reg.add(resources, "IOHDIXController", "IOHDIXController")
    compatibility = reg.add(resources, "IOKitRegistryCompatibility", "IOKitRegistryCompatibility")
    display = reg.add(compatibility, "display", "IOServiceCompatibility")
    reg.add(display, "IOFB", "IOServiceCompatibility")
    report_hub = reg.add(resources, "IOReportHub", "IOReportHub")
    reg.client(report_hub, "IOReportUserClient", "IOReportUserClient")
    clock = reg.add(resources, "IOTimeSyncClockManager", "IOTimeSyncClockManager")
    reg.add(clock, "IOTimeSyncgPTPManager", "IOTimeSyncgPTPManager")
    reg.add(resources, "IOUSBMassStorageResource", "IOUSBMassStorageResource")
    usb_resources = reg.add(resources, "AppleUSBHostResources", "AppleUSBHostResources", props=kext(
        "com.apple.iokit.IOUSBHostFamily", "IOResources", "AppleUSBHostResources",
        IOResourceMatch="IORTC", kUSBWakePortCurrentLimit=2100, kUSBSleepPortCurrentLimit=2100))
    legacy_root = power_managed(reg.add(usb_resources, "AppleUSBLegacyRoot", "AppleUSBLegacyRoot", props=kext(
        "com.apple.iokit.IOUSBFamily", "AppleUSBHostResources", "AppleUSBLegacyRoot", IOProbeScore=100)),
        current=4, maximum=4)
    hid_system = power_managed(reg.add(resources, "IOHIDSystem", "IOHIDSystem", props={
        "HIDIdleTime": 1843000000, "HIDKeyboardModifierMappingPairs": []}))
    reg.client(hid_system, "IOHIDUserClient", "IOHIDUserClient")
    reg.client(hid_system, "IOHIDEventSystemUserClient", "IOHIDEventSystemUserClient")
    for _ in range(2):
        reg.client(hid_system, "IOHIDParamUserClient", "IOHIDParamUserClient")
    power_managed(reg.add(resources, "IODisplayWrangler", "IODisplayWrangler"), current=4, maximum=4)
    surfaces = reg.add(resources, "IOSurfaceRoot", "IOSurfaceRoot")
    for _ in range(2):
        reg.client(surfaces, "IOSurfaceRootUserClient", "IOSurfaceRootUserClient")
    for name in ("AppleSystemPolicy", "AppleMobileFileIntegrity", "AppleImage4", "com_apple_filesystems_apfs",
                 "com_apple_BootCache"):
        reg.add(resources, name, name)
    return legacy_root


def describe_driverkit(reg, platform):
    reg.add(platform, "IOUserResources", "IOUserResources")
    for bundle in ("com.apple.driverkit.AppleUserHIDDrivers", "com.apple.DriverKit-AppleUSBFTDI"):
        server = reg.client(platform, "IOUserServer", "IOUserServer", props={
            "IOUserServerName": bundle, "IOUserServerCDHash": "9c2d1f0a7b3e5d4c6a8b0f1e2d3c4b5a69788796"})
        server.name = f"IOUserServer({bundle}-0x{server.id:x})"


def describe_machine(reg):
    describe_root(reg)
    platform = describe_platform(reg)
    expert, root_domain = describe_platform_expert(reg, platform)
    reg.attach(describe_cpus(reg, expert), platform, "IODeviceTree")
    describe_acpi_devices(reg, expert)
    legacy_root = describe_resources(reg, platform)
    internal_usb, _, _ = describe_pci(reg, expert, platform, legacy_root)
    describe_efi(reg, expert, platform)
    describe_driverkit(reg, platform)
    describe_gamepad(reg, internal_usb)
    derive_power_plane(reg, root_domain)


def derive_power_plane(reg, root_domain):
    """Hangs every power-managed entry under its nearest power-managed ancestor in
    the service plane, or under the root domain when it has none."""
    def walk(entry, power_parent):
        for child in entry.children["IOService"]:
            if child.power_managed:
                reg.attach(child, power_parent, "IOPower")
                walk(child, child)
            else:
                walk(child, power_parent)
    walk(reg.root, root_domain)


# --------------------------------------------------------------------------
# Output in the `ioreg -a` form
# --------------------------------------------------------------------------

def busy_time_ns(entry):
    return (entry.id * 7919 % 900 + 1) * 1_000_000


def archive(entry, plane):
    name, location = entry.plane_names.get(plane, (entry.name, entry.location))
    node = dict(entry.props)
    node["IORegistryEntryID"] = entry.id
    node["IORegistryEntryName"] = name
    if location is not None:
        node["IORegistryEntryLocation"] = location
    node["IOObjectClass"] = entry.cls
    links = sum(len(children) for children in entry.children.values())
    node["IOObjectRetainCount"] = 5 + 2 * links + len(entry.props) // 4
    if entry.id != ROOT_ID:
        node["IOServiceState"] = REGISTERED_STATE if entry.registered else 0
        node["IOServiceBusyState"] = 0
        node["IOServiceBusyTime"] = busy_time_ns(entry) if entry.registered else 0
    children = entry.children[plane]
    if children:
        node["IORegistryEntryChildren"] = [archive(child, plane) for child in children]
    return node


def write_dumps(reg, folder):
    for plane in PLANES:
        text = plistlib.dumps(archive(reg.root, plane), fmt=plistlib.FMT_XML, sort_keys=True)
        (folder / f"{plane}.xml").write_bytes(text)


def check(reg):
    """Refuses to write a registry that breaks the rules its users rely on."""
    for entry in reg.entries[1:]:
        assert entry.parents["IOService"], f"{entry.name} is not in the service plane"
        for plane in PLANES[1:]:
            for parent in entry.parents[plane]:
                assert parent is reg.root or parent.parents[plane], f"{entry.name} dangles in {plane}"
    ids = [entry.id for entry in reg.entries]
    assert len(ids) == len(set(ids)), "duplicate registry entry IDs"


def main():
    reg = Registry()
    describe_machine(reg)
    check(reg)
    folder = pathlib.Path(__file__).resolve().parent
    write_dumps(reg, folder)
    print(f"{len(reg.entries)} entries written to {folder}")


if __name__ == "__main__":
    main()
