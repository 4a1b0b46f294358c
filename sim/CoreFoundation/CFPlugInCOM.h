// CFPlugInCOM as Apple declares it: the COM binary conventions that CF plug-in interfaces follow.
#ifndef __COREFOUNDATION_CFPLUGINCOM__
#define __COREFOUNDATION_CFPLUGINCOM__ 1

// A plug-in interface is a pointer to a pointer to a table of functions that starts
// with IUnknown's three: QueryInterface, AddRef and Release. Results are COM
// HRESULTs: negative for failure.

#include <CoreFoundation/CFPlugIn.h>

CF_EXTERN_C_BEGIN

typedef SInt32 HRESULT;
typedef UInt32 ULONG;
typedef void* LPVOID;
typedef CFUUIDBytes REFIID;

#define SUCCEEDED(Status) ((HRESULT)(Status) >= 0)
#define FAILED(Status) ((HRESULT)(Status) < 0)

// The parts of an HRESULT: severity (bit 31), facility (bits 16 to 28), code.
#define SEVERITY_SUCCESS 0
#define SEVERITY_ERROR 1
#define IS_ERROR(Status) ((unsigned long)(Status) >> 31 == SEVERITY_ERROR)
#define HRESULT_CODE(hr) ((hr)&0xFFFF)
#define HRESULT_FACILITY(hr) (((hr) >> 16) & 0x1fff)
#define HRESULT_SEVERITY(hr) (((hr) >> 31) & 0x1)
#define MAKE_HRESULT(sev, fac, code)                                                                                   \
    ((HRESULT)(((unsigned long)(sev) << 31) | ((unsigned long)(fac) << 16) | ((unsigned long)(code))))

#define S_OK ((HRESULT)0x00000000L)
#define S_FALSE ((HRESULT)0x00000001L)
#define E_UNEXPECTED ((HRESULT)0x8000FFFFL)
#define E_NOTIMPL ((HRESULT)0x80000001L)
#define E_OUTOFMEMORY ((HRESULT)0x80000002L)
#define E_INVALIDARG ((HRESULT)0x80000003L)
#define E_NOINTERFACE ((HRESULT)0x80000004L)
#define E_POINTER ((HRESULT)0x80000005L)
#define E_HANDLE ((HRESULT)0x80000006L)
#define E_ABORT ((HRESULT)0x80000007L)
#define E_FAIL ((HRESULT)0x80000008L)
#define E_ACCESSDENIED ((HRESULT)0x80000009L)

// Calling conventions of COM on other systems; nothing on a Mac.
#define STDMETHODCALLTYPE
#define __RPC_FAR

// 00000000-0000-0000-C000-000000000046
#define IUnknownUUID                                                                                                   \
    CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xC0,    \
                                   0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46)

#define __PRAGMA_PUSH_NO_NULLABILITY_COMPLETENESS_WARNINGS
#define __PRAGMA_POP_NO_NULLABILITY_COMPLETENESS_WARNINGS

// The first members of every interface's function table.
#define IUNKNOWN_C_GUTS                                                                                                \
    void* _reserved;                                                                                                   \
    HRESULT(STDMETHODCALLTYPE* QueryInterface)(void* thisPointer, REFIID iid, LPVOID* ppv);                            \
    ULONG(STDMETHODCALLTYPE* AddRef)(void* thisPointer);                                                               \
    ULONG(STDMETHODCALLTYPE* Release)(void* thisPointer)

typedef struct IUnknownVTbl
{
    IUNKNOWN_C_GUTS;
} IUnknownVTbl;

CF_EXTERN_C_END

#if defined(__cplusplus)
// IUnknown as a C++ abstract class, for compilers whose vtables have COM's layout.
class IUnknown
{
public:
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, LPVOID* ppv) = 0;
    virtual ULONG STDMETHODCALLTYPE AddRef(void) = 0;
    virtual ULONG STDMETHODCALLTYPE Release(void) = 0;
};
#endif

#endif
