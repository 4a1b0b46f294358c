// CFError as Apple declares it: the type that CF functions hand errors back in.
#ifndef __COREFOUNDATION_CFERROR__
#define __COREFOUNDATION_CFERROR__

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef struct __CFError* CFErrorRef;

CF_EXTERN_C_END

#endif
