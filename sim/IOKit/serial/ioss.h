// <IOKit/serial/ioss.h> as Apple declares it: the serial driver's own ioctls (any baud rate, data latency).
#ifndef _SYS_IOSS_H
#define _SYS_IOSS_H

// The request numbers are a Mac's: they are encoded with the Mac's argument
// sizes (speed_t and unsigned long are 64 bits there), so that code comparing or
// logging them sees the same values. Only a Mac's serial driver answers them; on
// this host's ttys the ioctl fails as for any request the driver does not know.

// A Mac leaves them out of a strictly POSIX build; glibc defines _POSIX_SOURCE in
// every default build, so the test is left out here.
#include <sys/ioctl.h>
#include <termios.h>

#define _MAKE_EXT(x) (((x) << 1) | 1)
#define BEXT1 _MAKE_EXT(1)
#define BEXT2 _MAKE_EXT(2)
#define BEXT4 _MAKE_EXT(4)
#define BEXT8 _MAKE_EXT(8)
#define BEXT16 _MAKE_EXT(16)
#define BEXT32 _MAKE_EXT(32)
#define BEXT64 _MAKE_EXT(64)
#define BEXT128 _MAKE_EXT(128)
#define BEXT256 _MAKE_EXT(256)

typedef __uint64_t user_ul_t;
typedef __uint64_t user_speed_t;
typedef __uint32_t user_us_t;
typedef __uint32_t user_shspeed_t;

// A Mac's ioctl encoding: direction in the top three bits, the argument's size
// in the next thirteen, then the group letter and the number.
#define _IOSS_MAC_IOW(group, number, type)                                                                             \
    ((unsigned long)(0x80000000u | ((sizeof(type) & 0x1fffu) << 16) | ((unsigned)(group) << 8) | (number)))

#define IOSSDATALAT _IOSS_MAC_IOW('T', 0, user_ul_t)
#define IOSSDATALAT_32 _IOSS_MAC_IOW('T', 0, user_us_t)
#define IOSSDATALAT_64 _IOSS_MAC_IOW('T', 0, user_ul_t)
#define IOSSPREEMPT _IOSS_MAC_IOW('T', 1, int)
#define IOSSIOSPEED _IOSS_MAC_IOW('T', 2, user_speed_t)
#define IOSSIOSPEED_32 _IOSS_MAC_IOW('T', 2, user_shspeed_t)
#define IOSSIOSPEED_64 _IOSS_MAC_IOW('T', 2, user_speed_t)

#endif
