// CFAbsoluteTimeGetCurrent: the time of day, counted from the start of 2001 as CoreFoundation counts it.
#include <CoreFoundation/CFDate.h>

#include <chrono>

extern "C" {

CFTimeInterval const kCFAbsoluteTimeIntervalSince1970 = 978307200.0;
CFTimeInterval const kCFAbsoluteTimeIntervalSince1904 = 3061152000.0;

CFAbsoluteTime CFAbsoluteTimeGetCurrent(void)
{
    auto const since_1970 = std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch());
    return since_1970.count() - kCFAbsoluteTimeIntervalSince1970;
}

} // extern "C"
