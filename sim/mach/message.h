// <mach/message.h>: mach_msg_return_t and the MACH_SEND and MACH_RCV codes.
#ifndef _MACH_MESSAGE_H_
#define _MACH_MESSAGE_H_

#include <mach/kern_return.h>
#include <mach/port.h>

typedef kern_return_t mach_msg_return_t;

#define MACH_MSG_SUCCESS 0x00000000
#define MACH_SEND_INVALID_DATA 0x10000002
#define MACH_SEND_INVALID_DEST 0x10000003
#define MACH_SEND_TIMED_OUT 0x10000004
#define MACH_SEND_INVALID_RIGHT 0x10000007
#define MACH_RCV_INVALID_NAME 0x10004002
#define MACH_RCV_TIMED_OUT 0x10004003

#endif
