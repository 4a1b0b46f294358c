// The umbrella header <CoreFoundation/CoreFoundation.h>.
#ifndef __COREFOUNDATION_COREFOUNDATION__
#define __COREFOUNDATION_COREFOUNDATION__

// The CoreFoundation subset that the simulated I/O Kit provides.

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFError.h>
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFPropertyList.h>
#include <CoreFoundation/CFRunLoop.h>
#include <CoreFoundation/CFSet.h>
#include <CoreFoundation/CFString.h>

#endif
