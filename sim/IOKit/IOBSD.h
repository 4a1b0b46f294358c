// <IOKit/IOBSD.h>: the BSD name keys.
#ifndef _IOBSD_H
#define _IOBSD_H

// Keys that tie a registry entry to the BSD device node it publishes.
#define kIOBSDNameKey "BSD Name"
#define kIOBSDNamesKey "BSD Names"
#define kIOBSDMajorKey "BSD Major"
#define kIOBSDMinorKey "BSD Minor"
#define kIOBSDUnitKey "BSD Unit"

#endif
