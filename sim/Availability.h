// <Availability.h>: which macOS a program is built for, and the availability annotations, as Apple's names them.
#ifndef __AVAILABILITY__
#define __AVAILABILITY__

// A program built against the simulated I/O Kit is built as one for macOS 13
// (the release whose CoreFoundation the simulation reports), to run on 13 and
// later; the annotations mark nothing, as nothing here is missing on 13.
// A program may set either bound on its command line, as on a Mac.

#include <AvailabilityVersions.h>

#ifndef __MAC_OS_X_VERSION_MIN_REQUIRED
#define __MAC_OS_X_VERSION_MIN_REQUIRED __MAC_13_0
#endif
#ifndef __MAC_OS_X_VERSION_MAX_ALLOWED
#define __MAC_OS_X_VERSION_MAX_ALLOWED __MAC_13_0
#endif

#define __OSX_AVAILABLE_STARTING(_osx, _ios)
#define __OSX_AVAILABLE_BUT_DEPRECATED(_osxIntro, _osxDep, _iosIntro, _iosDep)
#define __OSX_AVAILABLE_BUT_DEPRECATED_MSG(_osxIntro, _osxDep, _iosIntro, _iosDep, _msg)
#define __OSX_AVAILABLE(_vers)
#define __OSX_DEPRECATED(_start, _dep, _msg)
#define __OSX_UNAVAILABLE
#define __IOS_AVAILABLE(_vers)
#define __IOS_DEPRECATED(_start, _dep, _msg)
#define __IOS_PROHIBITED
#define __IOS_UNAVAILABLE
#define __TVOS_AVAILABLE(_vers)
#define __TVOS_PROHIBITED
#define __TVOS_UNAVAILABLE
#define __WATCHOS_AVAILABLE(_vers)
#define __WATCHOS_PROHIBITED
#define __WATCHOS_UNAVAILABLE
#define __API_AVAILABLE(...)
#define __API_DEPRECATED(...)
#define __API_DEPRECATED_WITH_REPLACEMENT(...)
#define __API_UNAVAILABLE(...)

#endif
