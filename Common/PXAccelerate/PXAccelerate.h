#pragma once

/* PXAccelerate: what the processor can do, memory for vector code, and dot products.
 *
 * PXAccelerateInit is called once at start-up, before any blitter is made; until then nothing is
 * detected, the alignment is 16 and the dot products are the scalar ones. Sizes are in bytes.
 *
 * Threads: PXAccelerateInit, PXAccelerateShutdown and PXAccelerateDSPInit run while no other thread
 * uses this header; everything else may be called from any thread. */

#include "PXCore/PXExport.h"

#include <stdint.h>

PX_EXTERN_C_BEGIN

/* Bits of PXAccelerateCPUCapabilities: what the processor's identification leaves report. Whether
 * the system saves the registers of a set is another question. */
typedef uint64_t PXCPUCapabilities;
#define kPXCPUMMX UINT64_C(0x1)
#define kPXCPUSSE UINT64_C(0x2)
#define kPXCPUSSE2 UINT64_C(0x4)
#define kPXCPUSSE3 UINT64_C(0x8)
#define kPXCPUSSSE3 UINT64_C(0x10)
#define kPXCPUSSE41 UINT64_C(0x20)
#define kPXCPUSSE42 UINT64_C(0x40)
#define kPXCPUSSE4a UINT64_C(0x80)
#define kPXCPUAVX UINT64_C(0x100)
#define kPXCPUAVX2 UINT64_C(0x200)
#define kPXCPUAVX512F UINT64_C(0x400)
#define kPXCPUAVX512CD UINT64_C(0x800)
#define kPXCPUAVX512PF UINT64_C(0x1000)
#define kPXCPUAVX512ER UINT64_C(0x2000)
#define kPXCPUAVX512VL UINT64_C(0x4000)
#define kPXCPUAVX512BW UINT64_C(0x8000)
#define kPXCPUAVX512DQ UINT64_C(0x10000)
#define kPXCPUAVX512IFMA UINT64_C(0x20000)
#define kPXCPUAVX512VBMI UINT64_C(0x40000)
#define kPXCPUFMA UINT64_C(0x80000)
#define kPXCPUFMA4 UINT64_C(0x100000)
#define kPXCPUXOP UINT64_C(0x200000)
#define kPXCPULZCNT UINT64_C(0x400000)
#define kPXCPUAES UINT64_C(0x800000)
#define kPXCPURDRAND UINT64_C(0x1000000)
#define kPXCPUBMI1 UINT64_C(0x2000000)
#define kPXCPUBMI2 UINT64_C(0x4000000)
#define kPXCPUADX UINT64_C(0x8000000)
#define kPXCPUSHA UINT64_C(0x10000000)
#define kPXCPUPREFETCHWT1 UINT64_C(0x20000000)
#define kPXCPULongMode UINT64_C(0x40000000)

/* Detects the processor, sets the alignment (32 with AVX, else 16), installs the vector dot
 * products where there is SSE2, fills the dispatch table of the accelerated blitter and switches
 * acceleration on. Returns 0. */
PX_API int PXAccelerateInit(void) PX_NOEXCEPT;

/* Switches acceleration off: blitters made from now on use the library's own engine, those that
 * exist keep theirs. What Init detected stays. Returns 0. */
PX_API int PXAccelerateShutdown(void) PX_NOEXCEPT;

/* The capability bits; 0 before PXAccelerateInit. */
PX_API PXCPUCapabilities PXAccelerateCPUCapabilities(void) PX_NOEXCEPT;

/* Steps of the work that have kernels for each instruction set. */
enum PXAccelerateStep {
    kPXAccelerateBlit = 0,     /* blitters without acceleration */
    kPXAccelerateResize = 1,   /* accelerated blitters */
    kPXAccelerateTransform = 2 /* affine transforms of images */
};
/* The kernels that a step uses on this processor: the name of their instruction set, such as
 * "AVX2"; static ASCII. Null for a step that there is not. Needs no PXAccelerateInit. */
PX_API const char* PXAccelerateGetKernelName(uint32_t step) PX_NOEXCEPT;

/* The alignment of vector buffers: 16 or 32. */
PX_API uint64_t PXAccelerateAlignment(void) PX_NOEXCEPT;

/* `size` rounded up to a multiple of the alignment; the largest multiple where that has no 64-bit
 * number. */
PX_API uint64_t PXAccelerateAlignBytes(uint64_t size) PX_NOEXCEPT;

/* A zeroed block of `size` bytes, rounded up, at a multiple of the alignment; null when there is no
 * memory. Given back with PXAccelerateFree, which ignores null. */
PX_API void* PXAccelerateAlloc(uint64_t size) PX_NOEXCEPT;
PX_API void PXAccelerateFree(void* block) PX_NOEXCEPT;

/* Installs the vector dot products if SSE2 was detected. Returns 0. */
PX_API int PXAccelerateDSPInit(void) PX_NOEXCEPT;

/* The dot products in use; no alignment is asked of any pointer, and n <= 0 gives 0.
 *
 * The scalar versions add the products in index order. The vector versions keep four sums, of the
 * indices that leave 0, 1, 2 and 3 when divided by 4, add these as (0 + 1) + (2 + 3), and then the
 * up to three last products, in order. */
typedef float (*PXAccelerateDotProc)(const float* a, const float* b, int n);
typedef void (*PXAccelerateDot4Proc)(const float* x, const float* const rows[4], float out[4],
                                     int n);
/* The sum of a[i] * b[i]. */
PX_API extern PXAccelerateDotProc PXAccelerateDot;
/* out[k] = the sum of x[i] * rows[k][i]; out is zeroed first. */
PX_API extern PXAccelerateDot4Proc PXAccelerateDot4;

PX_EXTERN_C_END
