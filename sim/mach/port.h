// <mach/port.h>: mach_port_t and MACH_PORT_NULL.
#ifndef _MACH_PORT_H_
#define _MACH_PORT_H_

#include <mach/boolean.h>

// A Mach port name: a task-local number that denotes a right to a kernel object.
typedef unsigned int natural_t;
typedef natural_t mach_port_name_t;
typedef mach_port_name_t mach_port_t;

#define MACH_PORT_NULL 0
#define MACH_PORT_DEAD ((mach_port_t)~0u)
#define MACH_PORT_VALID(name) (((name) != MACH_PORT_NULL) && ((name) != MACH_PORT_DEAD))

#endif
