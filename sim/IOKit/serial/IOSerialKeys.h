// <IOKit/serial/IOSerialKeys.h> as Apple declares it: the names by which serial ports are matched and opened.
#ifndef _IOKIT_IOSERIALKEYS_H
#define _IOKIT_IOSERIALKEYS_H

// A serial port is an IOSerialBSDClient service; its type key tells modems from
// RS-232 ports (today both are plain streams), and the device keys name the
// /dev nodes a program opens: the callout device (cu.*) and the dial-in one (tty.*).

#define kIOSerialBSDServiceValue "IOSerialBSDClient"
#define kIOSerialBSDTypeKey "IOSerialBSDClientType"

#define kIOSerialBSDAllTypes "IOSerialStream"
#define kIOSerialBSDModemType "IOSerialStream"
#define kIOSerialBSDRS232Type "IOSerialStream"

#define kIOTTYDeviceKey "IOTTYDevice"
#define kIOTTYBaseNameKey "IOTTYBaseName"
#define kIOTTYSuffixKey "IOTTYSuffix"

#define kIOCalloutDeviceKey "IOCalloutDevice"
#define kIODialinDeviceKey "IODialinDevice"

#define kIOTTYWaitForIdleKey "IOTTYWaitForIdle"

#endif
