// <os/availability.h>: the API_AVAILABLE family of annotations, as Apple names them.
#ifndef __OS_AVAILABILITY__
#define __OS_AVAILABILITY__

// Programs mark their own declarations with these too (`API_AVAILABLE(macos(10.15))`);
// built for macOS 13, none of them restricts anything.

#include <Availability.h>

#define API_AVAILABLE(...)
#define API_AVAILABLE_BEGIN(...)
#define API_AVAILABLE_END
#define API_DEPRECATED(...)
#define API_DEPRECATED_WITH_REPLACEMENT(...)
#define API_DEPRECATED_BEGIN(...)
#define API_DEPRECATED_END
#define API_UNAVAILABLE(...)
#define API_UNAVAILABLE_BEGIN(...)
#define API_UNAVAILABLE_END
#define SPI_AVAILABLE(...)

#endif
