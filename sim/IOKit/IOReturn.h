// <IOKit/IOReturn.h>: IOReturn and the kIOReturn codes.
#ifndef __IOKIT_IORETURN_H
#define __IOKIT_IORETURN_H

// Return codes of the I/O Kit: a system field, a subsystem field and a 14-bit code,
// laid out as Mach error values so that they stay distinct from kern_return_t codes.

#include <mach/kern_return.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef kern_return_t IOReturn;

#ifndef err_system
#define err_system(x) ((signed)((((unsigned)(x)) & 0x3f) << 26))
#define err_sub(x) (((x)&0xfff) << 14)
#endif

#define sys_iokit err_system(0x38)
#define sub_iokit_common err_sub(0)
#define sub_iokit_usb err_sub(1)
#define sub_iokit_firewire err_sub(2)
#define sub_iokit_block_storage err_sub(4)
#define sub_iokit_graphics err_sub(5)
#define sub_iokit_networking err_sub(6)
#define sub_iokit_bluetooth err_sub(8)
#define sub_iokit_pmu err_sub(9)
#define sub_iokit_acpi err_sub(10)
#define sub_iokit_smbus err_sub(11)
#define sub_iokit_ahci err_sub(12)
#define sub_iokit_powermanagement err_sub(13)
#define sub_iokit_hidsystem err_sub(14)
#define sub_iokit_scsi err_sub(16)
#define sub_iokit_usbaudio err_sub(17)
#define sub_iokit_thunderbolt err_sub(29)
#define sub_iokit_platform err_sub(0x2A)
#define sub_iokit_audio_video err_sub(0x45)
#define sub_iokit_hsic err_sub(0x147)
#define sub_iokit_sdio err_sub(0x174)
#define sub_iokit_wlan err_sub(0x208)
#define sub_iokit_vendor_specific err_sub(-2)
#define sub_iokit_reserved err_sub(-1)

#define iokit_common_err(return ) (sys_iokit | sub_iokit_common | return )
#define iokit_family_err(sub, return ) (sys_iokit | sub | return )
#define iokit_vendor_specific_err(return ) (sys_iokit | sub_iokit_vendor_specific | return )

#define kIOReturnSuccess KERN_SUCCESS
#define kIOReturnError iokit_common_err(0x2bc)
#define kIOReturnNoMemory iokit_common_err(0x2bd)
#define kIOReturnNoResources iokit_common_err(0x2be)
#define kIOReturnIPCError iokit_common_err(0x2bf)
#define kIOReturnNoDevice iokit_common_err(0x2c0)
#define kIOReturnNotPrivileged iokit_common_err(0x2c1)
#define kIOReturnBadArgument iokit_common_err(0x2c2)
#define kIOReturnLockedRead iokit_common_err(0x2c3)
#define kIOReturnLockedWrite iokit_common_err(0x2c4)
#define kIOReturnExclusiveAccess iokit_common_err(0x2c5)
#define kIOReturnBadMessageID iokit_common_err(0x2c6)
#define kIOReturnUnsupported iokit_common_err(0x2c7)
#define kIOReturnVMError iokit_common_err(0x2c8)
#define kIOReturnInternalError iokit_common_err(0x2c9)
#define kIOReturnIOError iokit_common_err(0x2ca)
#define kIOReturnCannotLock iokit_common_err(0x2cc)
#define kIOReturnNotOpen iokit_common_err(0x2cd)
#define kIOReturnNotReadable iokit_common_err(0x2ce)
#define kIOReturnNotWritable iokit_common_err(0x2cf)
#define kIOReturnNotAligned iokit_common_err(0x2d0)
#define kIOReturnBadMedia iokit_common_err(0x2d1)
#define kIOReturnStillOpen iokit_common_err(0x2d2)
#define kIOReturnRLDError iokit_common_err(0x2d3)
#define kIOReturnDMAError iokit_common_err(0x2d4)
#define kIOReturnBusy iokit_common_err(0x2d5)
#define kIOReturnTimeout iokit_common_err(0x2d6)
#define kIOReturnOffline iokit_common_err(0x2d7)
#define kIOReturnNotReady iokit_common_err(0x2d8)
#define kIOReturnNotAttached iokit_common_err(0x2d9)
#define kIOReturnNoChannels iokit_common_err(0x2da)
#define kIOReturnNoSpace iokit_common_err(0x2db)
#define kIOReturnPortExists iokit_common_err(0x2dd)
#define kIOReturnCannotWire iokit_common_err(0x2de)
#define kIOReturnNoInterrupt iokit_common_err(0x2df)
#define kIOReturnNoFrames iokit_common_err(0x2e0)
#define kIOReturnMessageTooLarge iokit_common_err(0x2e1)
#define kIOReturnNotPermitted iokit_common_err(0x2e2)
#define kIOReturnNoPower iokit_common_err(0x2e3)
#define kIOReturnNoMedia iokit_common_err(0x2e4)
#define kIOReturnUnformattedMedia iokit_common_err(0x2e5)
#define kIOReturnUnsupportedMode iokit_common_err(0x2e6)
#define kIOReturnUnderrun iokit_common_err(0x2e7)
#define kIOReturnOverrun iokit_common_err(0x2e8)
#define kIOReturnDeviceError iokit_common_err(0x2e9)
#define kIOReturnNoCompletion iokit_common_err(0x2ea)
#define kIOReturnAborted iokit_common_err(0x2eb)
#define kIOReturnNoBandwidth iokit_common_err(0x2ec)
#define kIOReturnNotResponding iokit_common_err(0x2ed)
#define kIOReturnIsoTooOld iokit_common_err(0x2ee)
#define kIOReturnIsoTooNew iokit_common_err(0x2ef)
#define kIOReturnNotFound iokit_common_err(0x2f0)
#define kIOReturnInvalid iokit_common_err(0x1)

#ifdef __cplusplus
}
#endif

#endif
