// <mach/error.h>: mach_error_t and the layout of Mach error values.
#ifndef _MACH_ERROR_H_
#define _MACH_ERROR_H_

// A Mach error value packs three fields, high bits to low: the error system (6 bits),
// its subsystem (12 bits) and the code (14 bits). kern_return_t codes are system 0,
// subsystem 0; IOReturn codes are system 0x38.

#include <mach/kern_return.h>

typedef kern_return_t mach_error_t;
typedef mach_error_t (*mach_error_fn_t)(void);

#define err_none (mach_error_t)0
#define ERR_SUCCESS (mach_error_t)0
#define ERR_ROUTINE_NIL (mach_error_fn_t)0

// <IOKit/IOReturn.h> defines these two as well, for callers that include it alone.
#ifndef err_system
#define err_system(x) ((signed)((((unsigned)(x)) & 0x3f) << 26))
#define err_sub(x) (((x)&0xfff) << 14)
#endif

#define err_get_system(err) (((err) >> 26) & 0x3f)
#define err_get_sub(err) (((err) >> 14) & 0xfff)
#define err_get_code(err) ((err)&0x3fff)

#define system_emask (err_system(0x3f))
#define sub_emask (err_sub(0xfff))
#define code_emask (0x3fff)

#define err_kern err_system(0x0)
#define err_us err_system(0x1)
#define err_server err_system(0x2)
#define err_ipc err_system(0x3)
#define err_mach_ipc err_system(0x4)
#define err_dipc err_system(0x7)
#define err_local err_system(0x3e)
#define err_ipc_compat err_system(0x3f)

#define err_max_system 0x3f

// errno values, lumped into one kernel subsystem.
#define unix_err(errno) (err_kern | err_sub(3) | errno)

#endif
