#pragma once

// TODO: header comment.

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

CF_EXPORT CFIndex PXCFGetLiveObjectCount(CFTypeID type);
CF_EXPORT UInt32 PXCFGetVersion(void);
CF_EXPORT Boolean PXCFNumberGetUInt64(CFNumberRef number, UInt64* value);
CF_EXPORT CFNumberRef PXCFNumberCreateUInt64(CFAllocatorRef allocator, UInt64 value);

#ifdef __cplusplus
}
#endif
