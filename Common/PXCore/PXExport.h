#pragma once

/* PXExport: linkage and language glue of the exported headers. */

#if defined(_WIN32)
#if defined(PXCORE_BUILDING)
#define PX_API __declspec(dllexport)
#else
#define PX_API __declspec(dllimport)
#endif
#else
#define PX_API __attribute__((visibility("default")))
#endif

#if defined(__cplusplus)
#define PX_NOEXCEPT noexcept
#define PX_EXTERN_C_BEGIN extern "C" {
#define PX_EXTERN_C_END }
#else
#define PX_NOEXCEPT
#define PX_EXTERN_C_BEGIN
#define PX_EXTERN_C_END
#endif
